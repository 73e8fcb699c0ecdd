#include "fakenetworkserver.h"
#include "logspy.h"
#include "server/cserverhandler.h"
#include "server/cserverlinkwatch.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QJsonDocument>
#include <QtTest>

using Status = COMM::EServerStatus;
using DeviceList = QList<API::SServerDeviceInfo>;

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

// The first argument of every signal that the spy caught.
template<typename T>
QList<T> firstArguments(const QSignalSpy &spy)
{
    QList<T> result;
    for (const QList<QVariant> &arguments : spy)
        result.append(arguments.at(0).value<T>());
    return result;
}

QString rx(const QString &type, const QString &rest = QStringLiteral(R"("data":"01","devEui":"aa")"))
{
    return QStringLiteral(R"({"cmd":"rx","type":"%1",%2})").arg(type, rest);
}

const QString kCredentials = QStringLiteral(R"({"cmd":"auth_req","login":"user","password":"secret"})");
const QString kSession = QStringLiteral("[CServerHandler] Session: ");

// A downlink as the server gets it.
QString downlink(const QString &devEui, const QString &data, int port = 2)
{
    return QStringLiteral(R"({"cmd":"send_data_req","data_list":[{"ack":true,"data":"%1","devEui":"%2","port":%3}]})")
            .arg(data, devEui, QString::number(port));
}

} // namespace

class TestCServerHandler : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    CServerHandler *m_handler = nullptr;
    FakeNetworkServer *m_server = nullptr;
    QSignalSpy *m_statusSpy = nullptr;
    QSignalSpy *m_packetSpy = nullptr;
    QSignalSpy *m_listSpy = nullptr;
    LogSpy *m_log = nullptr;

    void login()
    {
        m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_VERIFY(!statuses().isEmpty() && statuses().last() == COMM::Success);
        m_statusSpy->clear();
        m_listSpy->clear();
    }

    QList<Status> statuses() const { return firstArguments<Status>(*m_statusSpy); }
    QList<API::SApiDeviceData> packets() const { return firstArguments<API::SApiDeviceData>(*m_packetSpy); }
    // Whether each getDevicesListResp reported success.
    QList<bool> listResults() const { return firstArguments<bool>(*m_listSpy); }
    QTimer *timer(const char *name) const { return m_handler->findChild<QTimer *>(QLatin1String(name)); }
    QStringList requests(const char *cmd) const { return m_server->receivedWithCmd(QLatin1String(cmd)); }

    // The operator's line of a change of the session, for the fake server.
    QString session(const QString &text) const
    {
        return kSession + QString(text).replace("ORIGIN", m_server->origin());
    }

    // What the timer does when it runs out, without waiting for it.
    static void fire(QTimer *timer) { QVERIFY(QMetaObject::invokeMethod(timer, "timeout")); }
    // The interval of a running timer, 0 for a stopped one.
    static int runningInterval(const QTimer *timer) { return timer->isActive() ? timer->interval() : 0; }

private slots:
    void initTestCase()
    {
        registerApiMetaTypes();
        m_log = new LogSpy;
        m_handler = CServerHandler::getInstance();
        m_statusSpy = new QSignalSpy(m_handler, &CServerHandler::changeServerStatus);
        m_packetSpy = new QSignalSpy(m_handler, &CServerHandler::newPacketReceived);
        m_listSpy = new QSignalSpy(m_handler, qOverload<bool, DeviceList>(&CServerHandler::getDevicesListResp));
    }

    void init()
    {
        m_server = new FakeNetworkServer(this);
        m_statusSpy->clear();
        m_packetSpy->clear();
        m_listSpy->clear();
        m_log->forget();
    }

    void cleanup()
    {
        // Let a request still in flight end, so that the next test starts idle.
        m_handler->waitingServerResponseTimeoutSlot();
        m_statusSpy->clear();
        delete m_server;
        m_server = nullptr;
        QTRY_VERIFY(statuses().contains(COMM::Disconnected));
    }

    void loginSendsProbeThenCredentials()
    {
        m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_COMPARE(statuses(), QList({COMM::Disconnected, COMM::PingWaiting, COMM::AuthWaiting, COMM::Success}));
        QCOMPARE(m_server->received(), QStringList({QStringLiteral(R"({"cmd":"cmd"})"), kCredentials}));

        // The handshake guard fires once more, finds the session verified and stays quiet.
        QTest::qWait(2200);
        QCOMPARE(statuses().last(), COMM::Success);
    }

    void failedHandshake_data()
    {
        QTest::addColumn<QString>("cmd");   // of the request that gets the reply
        QTest::addColumn<QJsonObject>("reply");
        QTest::addColumn<Status>("status");
        QTest::addColumn<QString>("debugLine");   // empty when none is due
        QTest::addColumn<QStringList>("logged");  // the operator's log, ORIGIN for the server

        const QString unknown = QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=%1: unknown message");
        const auto refusedProbe = [](const char *name, const QJsonObject &reply, const QStringList &logged) {
            QTest::newRow(name) << "cmd" << reply << COMM::InvalidPing << QString() << logged;
        };
        const auto refusedLogin = [&unknown](const char *name, const char *reply, const char *debugTail,
                                             const char *reason) {
            QTest::newRow(name) << "auth_req" << json(reply) << COMM::InvalidAuth << unknown.arg("auth") + debugTail
                                << QStringList(kSession + "login to ORIGIN as user refused: " + reason);
        };
        const QString notServer = kSession + "ORIGIN does not answer as a network server: ";
        refusedProbe("wrong reply", json(R"({"cmd":"hello"})"),
                     {unknown.arg("ping"), notServer + "not the answer of a network server"});
        refusedProbe("no reply within 2000 ms", QJsonObject(), {notServer + "no answer"});
        const char *notAnAnswer = "not an answer to the login";
        refusedLogin("no cmd", R"({"status":true})", "[1]", notAnAnswer);
        refusedLogin("other cmd", R"({"cmd":"rx","status":true})", "[2]", notAnAnswer);
        refusedLogin("no status", R"({"cmd":"auth_resp"})", "[3]", notAnAnswer);
        refusedLogin("refused", R"({"cmd":"auth_resp","status":false,"err_string":"bad_password"})",
                     "[4], err[bad_password]", "bad_password");
        refusedLogin("status not a bool", R"({"cmd":"auth_resp","status":"true"})", "[4], err[]", "no reason given");
    }

    void failedHandshake()
    {
        QFETCH(QString, cmd);
        QFETCH(QJsonObject, reply);
        QFETCH(Status, status);
        QFETCH(QString, debugLine);
        QFETCH(QStringList, logged);

        m_server->setReply(cmd, reply);
        if (!debugLine.isEmpty())
            QTest::ignoreMessage(QtDebugMsg, qPrintable(debugLine));
        m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("wrong"));
        QTRY_COMPARE_WITH_TIMEOUT(statuses().last(), status, 4000);
        QCOMPARE(requests("auth_req").size(), status == COMM::InvalidPing ? 0 : 1);
        QCOMPARE(m_log->takeLines(), logged.replaceInStrings(QStringLiteral("ORIGIN"), m_server->origin()));

        // The socket stays open but the session is idle: pushes are ignored, downlinks still go.
        m_server->push(rx(QStringLiteral("UNCONF_UP")));
        m_handler->sendDeviceData(QStringLiteral("abCD"), "0401");
        QTRY_COMPARE(requests("send_data_req").size(), 1);
        QCOMPARE(m_server->clientCount(), 1);
        QCOMPARE(m_packetSpy->count(), 0);
    }

    void rxMessages_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("devEui");   // of the packet, empty when none is due

        QTest::newRow("unconfirmed") << rx("UNCONF_UP") << "AA";
        QTest::newRow("confirmed") << rx("CONF_UP") << "AA";
        QTest::newRow("with mac command") << rx("UNCONF_UP+MAC_LINKCHECK_REQ") << "AA";
        QTest::newRow("mac command first") << rx("MAC_LINKCHECK_REQ+CONF_UP") << "AA";
        QTest::newRow("empty parts kept") << rx("+CONF_UP+") << "AA";
        QTest::newRow("empty payload") << rx("CONF_UP", R"("data":"","devEui":"aa")") << "AA";
        QTest::newRow("downlink") << rx("UNCONF_DOWN") << "";
        QTest::newRow("lower case") << rx("unconf_up") << "";
        QTest::newRow("part of a word") << rx("UNCONF_UPX") << "";
        QTest::newRow("rx without data") << rx("CONF_UP", R"("devEui":"AA")") << "";
        QTest::newRow("rx without devEui") << rx("CONF_UP", R"("data":"01")") << "";
        QTest::newRow("not json") << "hello" << "";
        QTest::newRow("huge text") << QString(4 * 1024 * 1024, QLatin1Char('{')) << "";
        QTest::newRow("late auth_resp") << R"({"cmd":"auth_resp","status":false})" << "";
        const QString dataList = QStringLiteral(R"({"cmd":"get_data_resp","status":true,"devEui":"AA",)"
                                                R"("data_list":%1})");
        QTest::newRow("data list of junk") << dataList.arg(R"([1,"x",{}])") << "";
        QTest::newRow("data list not an array") << dataList.arg("{}") << "";
    }

    void rxMessages()
    {
        QFETCH(QString, text);
        QFETCH(QString, devEui);

        login();
        m_server->push(text);
        // A good uplink behind proves that the message has been read, and that the session still works.
        m_server->push(rx(QStringLiteral("UNCONF_UP"), QStringLiteral(R"("data":"0a","devEui":"BB")")));
        QTRY_VERIFY(!packets().isEmpty() && packets().last().devEui == QStringLiteral("BB"));
        QCOMPARE(packets().size(), devEui.isEmpty() ? 1 : 2);
        QCOMPARE(packets().first().devEui, devEui.isEmpty() ? QStringLiteral("BB") : devEui);
        QCOMPARE(m_listSpy->count(), 0);
        QCOMPARE(m_statusSpy->count(), 0);
    }

    void fieldsOfAnUplink()
    {
        login();
        m_server->push(R"({"cmd":"rx","type":"CONF_UP","devEui":"00aa11bb","ts":1700000000123,"gatewayId":"abc+def",)"
                       R"("ack":true,"fcnt":4000000000,"port":65539,"data":"01 02ff","freq":868100000,"dr":5,)"
                       R"("rssi":-113,"snr":-7.25})");
        QTRY_COMPARE(m_packetSpy->count(), 1);
        const API::SApiDeviceData p = packets().first();
        QVERIFY(p.valid);
        QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5").arg(p.devEui).arg(p.ts).arg(p.gatewayId).arg(p.ack).arg(p.fcnt),
                 QStringLiteral("00AA11BB 1700000000123 ABC 1 4000000000"));
        QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5 %6").arg(p.port).arg(QString::fromLatin1(p.data.toHex())).arg(p.freq)
                         .arg(p.dr).arg(p.rssi).arg(p.snr),
                 QStringLiteral("3 0102ff 868100000 5 -113 -7.25"));
    }

    void requestsWaitForASession()
    {
        QVERIFY(!m_handler->getDevicesList({QStringLiteral("A1")}));
        m_handler->getDeviceLastPackets(QStringLiteral("AA"));
        login();
        QVERIFY(!m_handler->getDevicesList({}));
        m_handler->getDeviceLastPackets(QString());
        const QString line = QStringLiteral("[CServerHandler::%1] %2! Return");
        QCOMPARE(m_log->takeLines(), QStringList({line.arg("getDevicesList", "Invalid connection to server"),
                                                  line.arg("getDeviceLastPackets", "Invalid connection to server"),
                                                  session("logged in to ORIGIN as user"),
                                                  line.arg("getDevicesList", "Empty input AppEUI list"),
                                                  line.arg("getDeviceLastPackets", "Empty input AppEUI list")}));
        QCOMPARE(m_server->received().size(), 2);
    }

    void devicesListFiltersAndReleasesQueue()
    {
        m_server->setReply(QStringLiteral("get_devices_req"), QJsonObject());
        login();
        QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
        QTest::ignoreMessage(QtDebugMsg, "[CServerHandler::newTaskSlot] Waiting mutex is locked! Return");
        QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
        // One request in flight at a time.
        QTest::qWait(100);
        QCOMPARE(requests("get_devices_req"), QStringList({QStringLiteral(R"({"cmd":"get_devices_req"})")}));

        m_server->push(json(R"({"cmd":"get_devices_resp","status":true,"devices_list":[
            {"devEui":"d1","devName":"Boiler","OTAA":{"appEui":"A1"}},
            {"devEui":"d2","devName":"No OTAA"},
            {"devEui":"d3","devName":"Empty AppEUI","OTAA":{}},
            {"devName":"No EUI","OTAA":{"appEui":"A1"}},
            {"devEui":"d5","devName":"Pump","OTAA":{"appEui":"b2"},"extra":1}]})"));
        QTRY_COMPARE(listResults(), QList<bool>{true});
        QStringList devices;
        for (const API::SServerDeviceInfo &device : m_listSpy->at(0).at(1).value<DeviceList>())
            devices.append(device.devEui + '/' + device.appEui + '/' + device.devName);
        QCOMPARE(devices, QStringList({"d1/A1/Boiler", "d5/b2/Pump"}));

        // The reply released the queue: the second request goes out now, and times out.
        QTRY_COMPARE(requests("get_devices_req").size(), 2);
        m_handler->waitingServerResponseTimeoutSlot();
        QCOMPARE(listResults(), QList<bool>({true, false}));

        // A reply after the time-out is no longer expected.
        m_server->push(json(R"({"cmd":"get_devices_resp","status":true,"devices_list":[]})"));
        QTRY_COMPARE(m_log->lines(), QStringList({session("logged in to ORIGIN as user"),
                                                  "[CServerHandler::textMessageReceivedSlot] State=verified: "
                                                  "unsheduled packet from server"}));
        QCOMPARE(m_listSpy->count(), 2);
    }

    void lastPacketsTakeFirstValidRecord()
    {
        login();
        m_handler->getDeviceLastPackets(QStringLiteral("00aa"));
        QTRY_COMPARE(requests("get_data_req"), QStringList({QStringLiteral(
                R"({"cmd":"get_data_req","devEui":"00AA","select":{"direction":"UPLINK","limit":10}})")}));

        m_server->push(json(R"({"cmd":"get_data_resp","status":true,"devEui":"00aa","data_list":[
            {"data":"01"},
            {"type":"UNCONF_DOWN","data":"02"},
            {"type":"CONF_UP","data":"0304","devEui":"FFFF","rssi":-90},
            {"type":"UNCONF_UP","data":"05"}]})"));
        QTRY_COMPARE(m_packetSpy->count(), 1);
        const API::SApiDeviceData packet = packets().first();
        QCOMPARE(packet.devEui, QStringLiteral("00AA"));
        QCOMPARE(packet.data, QByteArray("\x03\x04"));
        QCOMPARE(packet.rssi, qint16(-90));

        // The reply does not release the queue: a downlink waits for the timer.
        m_handler->sendDeviceData(QStringLiteral("00aa"), "0401");
        QTest::qWait(200);
        QCOMPARE(requests("send_data_req").size(), 0);
        m_handler->waitingServerResponseTimeoutSlot();
        QTRY_COMPARE(requests("send_data_req").size(), 1);
    }

    void downlinksLeaveOneAfterAnother()
    {
        login();
        m_handler->sendDeviceData(QStringLiteral("abCD"), "040102");
        m_handler->sendDeviceData(QStringLiteral("abCD"), "04ff");
        QTRY_COMPARE(requests("send_data_req"), QStringList({downlink("abCD", "040102"), downlink("abCD", "04ff")}));
    }

    // The late answer of the TCP bridge's downlink is not taken for the write's that follows it.
    void downlinkOfAWriteGetsItsOwnAnswer()
    {
        login();
        QList<API::SDownlinkFrame> frames{{QStringLiteral("00AA"), 11, true, QByteArray::fromHex("1100d7")}};
        m_handler->setDownlinkSource([&frames]() -> std::optional<API::SDownlinkFrame> {
            return frames.isEmpty() ? std::nullopt : std::optional(frames.takeFirst());
        });
        QSignalSpy steps(m_handler, &CServerHandler::downlinkStep);
        m_handler->sendDeviceData(QStringLiteral("abCD"), "0401");
        m_handler->downlinkWaiting();
        QTRY_COMPARE(requests("send_data_req").size(), 2);
        QCOMPARE(requests("send_data_req").last(), downlink("00AA", "1100d7", 11));
        m_server->push(QJsonObject{{"cmd", "send_data_resp"}, {"status", false}, {"err_string", "bridge"}});
        m_server->push(QJsonObject{{"cmd", "send_data_resp"}, {"status", true}});
        QTRY_COMPARE(firstArguments<CServerHandler::EDownlinkStep>(steps),
                     QList({CServerHandler::DownlinkSent, CServerHandler::DownlinkAccepted}));
        m_handler->setDownlinkSource({});
    }

    void reconnectUsesLastValidServer()
    {
        login();
        m_server->dropClients();
        QTRY_COMPARE(statuses(), QList<Status>({COMM::Disconnected}));

        m_handler->connectSlot(QStringLiteral("ws://host:port"), QStringLiteral("x"), QStringLiteral("y"));
        QTRY_COMPARE(m_log->lines(), QStringList({session("logged in to ORIGIN as user"),
                                                  session("link to ORIGIN lost"),
                                                  "[CServerHandler::connectSlot] Invalid input URL [ws://host:port]"}));
        QVERIFY(!statuses().contains(COMM::PingWaiting));

        // What the 60 s reconnection timer does when it fires: the last valid server, the last credentials.
        m_handler->reconnectLastAuthData();
        QTRY_COMPARE(statuses().last(), COMM::Success);
        QCOMPARE(requests("auth_req"), QStringList({kCredentials, kCredentials}));
        m_server->push(rx(QStringLiteral("UNCONF_UP")));
        QTRY_COMPARE(m_packetSpy->count(), 1);
    }
    void connectionFailureGivesItsReason_data()
    {
        QTest::addColumn<QString>("origin");
        QTest::addColumn<QString>("reason");   // its beginning

        QTest::newRow("refused port") << QStringLiteral("ws://127.0.0.1:%1").arg(freePort()) << "Connection refused";
        QTest::newRow("tls to a plain server") << QString() << "Error during SSL handshake";
    }

    void connectionFailureGivesItsReason()
    {
        QFETCH(QString, origin);
        QFETCH(QString, reason);
        // A server that answers the TLS greeting in plain text.
        QTcpServer plain;
        if (origin.isEmpty()) {
            QVERIFY(plain.listen(QHostAddress::LocalHost));
            connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
                plain.nextPendingConnection()->write("HTTP/1.1 400 Bad Request\r\n\r\n");
            });
            origin = QStringLiteral("wss://127.0.0.1:%1").arg(plain.serverPort());
        }

        QSignalSpy failures(m_handler->linkWatch(), &CServerLinkWatch::linkFailed);
        m_handler->connectSlot(origin, QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_COMPARE(failures.size(), 1);
        const QString text = failures.at(0).at(0).toString();
        QVERIFY2(text.startsWith(reason), qPrintable(text));
        QTRY_COMPARE(m_log->lines(), QStringList("ERROR: [CServerHandler] Connection failed: " + text));

        // Once per failure, and no other status than before.
        QTest::qWait(200);
        QCOMPARE(failures.size(), 1);
        QCOMPARE(m_log->lines().size(), 1);
        QVERIFY(!statuses().isEmpty());
        QCOMPARE(statuses(), QList<Status>(statuses().size(), COMM::Disconnected));
        // The first attempt is retried too.
        QCOMPARE(runningInterval(timer("reconnectTimer")), 60000);
        login();
    }

    void reconnectionTimerRepeatsUntilLogin()
    {
        QTimer *reconnect = timer("reconnectTimer");
        login();
        QVERIFY(!reconnect->isActive());
        m_server->dropClients();
        QTRY_COMPARE(statuses(), QList<Status>({COMM::Disconnected}));
        QCOMPARE(m_log->takeLines(), QStringList({session("logged in to ORIGIN as user"),
                                                  session("link to ORIGIN lost")}));
        QCOMPARE(runningInterval(reconnect), 60000);
        QVERIFY(!reconnect->isSingleShot());

        // Each firing is one more attempt at the stored server; a failed one leaves the timer running.
        const QString refused = QStringLiteral("ws://127.0.0.1:%1").arg(freePort());
        m_handler->connectSlot(refused, QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_COMPARE(m_log->lines().size(), 1);
        for (int attempt = 2; attempt <= 3; ++attempt) {
            fire(reconnect);
            QTRY_COMPARE(m_log->lines().size(), attempt);
            QCOMPARE(runningInterval(reconnect), 60000);
        }
        QCOMPARE(m_log->lines().last(),
                 QStringLiteral("ERROR: [CServerHandler] Connection failed: Connection refused"));

        login();
        QVERIFY(!reconnect->isActive());
    }

    void handshakeGuard_data()
    {
        QTest::addColumn<QString>("unanswered");
        QTest::addColumn<Status>("waiting");
        QTest::addColumn<QList<Status>>("afterTimeout");

        QTest::newRow("probe") << "cmd" << COMM::PingWaiting << QList<Status>{COMM::InvalidPing};
        QTest::newRow("login") << "auth_req" << COMM::AuthWaiting << QList<Status>{COMM::InvalidAuth};
        QTest::newRow("logged in") << "" << COMM::Success << QList<Status>();
    }

    void handshakeGuard()
    {
        QFETCH(QString, unanswered);
        QFETCH(Status, waiting);
        QFETCH(QList<Status>, afterTimeout);

        if (!unanswered.isEmpty())
            m_server->setReply(unanswered, QJsonObject());
        QTimer *guard = timer("handshakeTimer");
        m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_COMPARE(statuses().last(), waiting);
        QCOMPARE(runningInterval(guard), 2000);

        m_statusSpy->clear();
        fire(guard);
        QVERIFY(!guard->isActive());
        QCOMPARE(statuses(), afterTimeout);
    }

    void responseTimeouts_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<int>("interval");
        QTest::addColumn<int>("falseLists");   // getDevicesListResp(false) at the time-out

        QTest::newRow("get_devices_req") << "get_devices_req" << 60000 << 1;
        QTest::newRow("get_data_req") << "get_data_req" << 60000 << 0;
        QTest::newRow("send_data_req") << "send_data_req" << 100 << 0;
    }

    void responseTimeouts()
    {
        QFETCH(QString, request);
        QFETCH(int, interval);
        QFETCH(int, falseLists);

        m_server->setReply(request, QJsonObject());
        login();
        if (request == QLatin1String("get_devices_req"))
            QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
        else if (request == QLatin1String("get_data_req"))
            m_handler->getDeviceLastPackets(QStringLiteral("AA"));
        else
            m_handler->sendDeviceData(QStringLiteral("AA"), "01");
        m_handler->sendDeviceData(QStringLiteral("BB"), "02");
        QTRY_COMPARE(m_server->receivedWithCmd(request).size(), 1);

        QTimer *wait = timer("responseWaitTimer");
        QCOMPARE(runningInterval(wait), interval);
        QCOMPARE(m_server->received().size(), 3);

        fire(wait);
        QVERIFY(!wait->isActive());
        QCOMPARE(m_listSpy->size(), falseLists);
        for (const QList<QVariant> &arguments : *m_listSpy)
            QVERIFY(!arguments.at(0).toBool() && arguments.at(1).value<DeviceList>().isEmpty());
        // The queue goes on with the request behind.
        QTRY_COMPARE(m_server->received().size(), 4);
        QVERIFY(m_server->received().last().contains(QLatin1String(R"("devEui":"BB")")));
    }

    void refusedDeviceListReleasesQueue()
    {
        m_server->setReply(QStringLiteral("get_devices_req"), json(R"({"cmd":"get_devices_resp","status":false,
            "devices_list":[{"devEui":"d1","devName":"Boiler","OTAA":{"appEui":"A1"}}]})"));
        login();
        QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
        m_handler->sendDeviceData(QStringLiteral("BB"), "02");
        QTRY_COMPARE(requests("send_data_req").size(), 1);
        QCOMPARE(listResults(), QList<bool>{false});
        QVERIFY(m_listSpy->at(0).at(1).value<DeviceList>().isEmpty());
    }

    void queueSurvivesLostConnection()
    {
        m_server->setReply(QStringLiteral("get_devices_req"), QJsonObject());
        login();
        QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
        QTRY_COMPARE(requests("get_devices_req").size(), 1);
        m_handler->sendDeviceData(QStringLiteral("BB"), "02");

        m_server->dropClients();
        QTRY_VERIFY(statuses().contains(COMM::Disconnected));
        QVERIFY(timer("responseWaitTimer")->isActive());
        fire(timer("reconnectTimer"));
        QTRY_COMPARE(statuses().last(), COMM::Success);
        QTest::qWait(100);
        QCOMPARE(requests("send_data_req").size(), 0);

        // The request in flight ends by its timer, and the queued one goes on the new connection.
        fire(timer("responseWaitTimer"));
        QTRY_COMPARE(requests("send_data_req").size(), 1);
        QCOMPARE(m_listSpy->size(), 1);
        QCOMPARE(m_server->clientCount(), 1);
    }
};

QTEST_GUILESS_MAIN(TestCServerHandler)
#include "tst_cserverhandler.moc"
