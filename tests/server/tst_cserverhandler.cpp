#include "core/clogfile.h"
#include "core/csettings.h"
#include "fakenetworkserver.h"
#include "server/cserverhandler.h"
#include "testworkdir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

using Status = COMM::EServerStatus;
Q_DECLARE_METATYPE(QList<COMM::EServerStatus>)

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

QList<Status> statuses(const QSignalSpy &spy)
{
    QList<Status> result;
    for (const QList<QVariant> &arguments : spy)
        result.append(arguments.at(0).value<Status>());
    return result;
}

} // namespace

class TestCServerHandler : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void loginSendsProbeThenCredentials();
    void refusedLogin_data();
    void refusedLogin();
    void failedProbe_data();
    void failedProbe();
    void invalidUrlStoresNothing();
    void rxBecomesOnePacket();
    void junkFromServerChangesNothing_data();
    void junkFromServerChangesNothing();
    void requestsWaitForASessionOrNot();
    void devicesListFiltersAndReleasesQueue();
    void devicesListTimesOut();
    void unscheduledDevicesListIsLogged();
    void lastPacketsTakeFirstValidRecord();
    void downlinkHoldsQueueBriefly();
    void downlinkNeedsNoSession();
    void reconnectUsesStoredCredentials();

private:
    void login();
    QStringList loggedLines() const;

    TestWorkDir m_workDir;
    CServerHandler *m_handler = nullptr;
    FakeNetworkServer *m_server = nullptr;
    QSignalSpy *m_statusSpy = nullptr;
    QSignalSpy *m_logSpy = nullptr;
};

void TestCServerHandler::initTestCase()
{
    registerApiMetaTypes();
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile *log = CLogFile::getInstance(QStringLiteral("history"), QString());
    m_handler = CServerHandler::getInstance();
    m_statusSpy = new QSignalSpy(m_handler, &CServerHandler::changeServerStatus);
    m_logSpy = new QSignalSpy(log, &CLogFile::addLogSignal);
}

void TestCServerHandler::init()
{
    m_server = new FakeNetworkServer(this);
    m_statusSpy->clear();
    m_logSpy->clear();
}

void TestCServerHandler::cleanup()
{
    // Let a request still in flight end, so that the next test starts idle.
    m_handler->waitingServerResponseTimeoutSlot();
    m_statusSpy->clear();
    delete m_server;
    m_server = nullptr;
    QTRY_VERIFY(statuses(*m_statusSpy).contains(COMM::Disconnected));
}

void TestCServerHandler::login()
{
    m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
    QTRY_VERIFY(!statuses(*m_statusSpy).isEmpty() && statuses(*m_statusSpy).last() == COMM::Success);
}

QStringList TestCServerHandler::loggedLines() const
{
    QStringList lines;
    for (const QList<QVariant> &arguments : *m_logSpy)
        lines.append(arguments.at(0).toString());
    return lines;
}

void TestCServerHandler::loginSendsProbeThenCredentials()
{
    login();
    QCOMPARE(m_server->received(),
             QStringList({QStringLiteral(R"({"cmd":"cmd"})"),
                          QStringLiteral(R"({"cmd":"auth_req","login":"user","password":"secret"})")}));
    QCOMPARE(statuses(*m_statusSpy), QList<Status>({COMM::Disconnected, COMM::PingWaiting,
                                                    COMM::AuthWaiting, COMM::Success}));

    // The handshake guard fires once more, finds the session verified and stays quiet.
    QTest::qWait(2200);
    QCOMPARE(statuses(*m_statusSpy).last(), COMM::Success);
}

void TestCServerHandler::refusedLogin_data()
{
    QTest::addColumn<QJsonObject>("reply");
    QTest::addColumn<QString>("debugLine");

    const QString prefix = QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=auth: unknown message");
    QTest::newRow("no cmd") << json(R"({"status":true})") << prefix + "[1]";
    QTest::newRow("other cmd") << json(R"({"cmd":"rx","status":true})") << prefix + "[2]";
    QTest::newRow("no status") << json(R"({"cmd":"auth_resp"})") << prefix + "[3]";
    QTest::newRow("refused") << json(R"({"cmd":"auth_resp","status":false,"err_string":"invalid_login_or_password"})")
                             << prefix + "[4], err[invalid_login_or_password]";
    QTest::newRow("status not a bool") << json(R"({"cmd":"auth_resp","status":"true"})")
                                       << prefix + "[4], err[]";
}

void TestCServerHandler::refusedLogin()
{
    QFETCH(QJsonObject, reply);
    QFETCH(QString, debugLine);

    m_server->setReply(QStringLiteral("auth_req"), reply);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(debugLine));
    m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("wrong"));
    QTRY_COMPARE(statuses(*m_statusSpy).last(), COMM::InvalidAuth);

    // The socket stays open, but the session is idle: pushes are ignored.
    QSignalSpy packets(m_handler, &CServerHandler::newPacketReceived);
    m_server->push(json(R"({"cmd":"rx","type":"UNCONF_UP","data":"01","devEui":"AA"})"));
    QTest::qWait(100);
    QCOMPARE(packets.count(), 0);
    QCOMPARE(m_server->clientCount(), 1);
}

void TestCServerHandler::failedProbe_data()
{
    QTest::addColumn<QJsonObject>("probeReply");
    QTest::addColumn<bool>("logged");

    QTest::newRow("wrong reply") << json(R"({"cmd":"hello"})") << true;
    QTest::newRow("no reply within 2000 ms") << QJsonObject() << false;
}

void TestCServerHandler::failedProbe()
{
    QFETCH(QJsonObject, probeReply);
    QFETCH(bool, logged);

    m_server->setReply(QStringLiteral("cmd"), probeReply);
    m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
    QTRY_COMPARE_WITH_TIMEOUT(statuses(*m_statusSpy).last(), COMM::InvalidPing, 4000);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("auth_req")).size(), 0);
    QCOMPARE(loggedLines().join('|').contains(
                     QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=ping: unknown message")),
             logged);
}

void TestCServerHandler::invalidUrlStoresNothing()
{
    login();
    m_statusSpy->clear();
    m_handler->connectSlot(QStringLiteral("ws://host:port"), QStringLiteral("x"), QStringLiteral("y"));
    QTRY_VERIFY(loggedLines().join('|').contains(
            QStringLiteral("[CServerHandler::connectSlot] Invalid input URL [ws://host:port]")));
    QTRY_VERIFY(!statuses(*m_statusSpy).isEmpty());
    QVERIFY(!statuses(*m_statusSpy).contains(COMM::PingWaiting));
    QCOMPARE(statuses(*m_statusSpy).first(), COMM::Disconnected);

    // A reconnection still goes to the last valid server with the last credentials.
    m_handler->reconnectLastAuthData();
    QTRY_COMPARE(statuses(*m_statusSpy).last(), COMM::Success);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("auth_req")).last(),
             QStringLiteral(R"({"cmd":"auth_req","login":"user","password":"secret"})"));
}

void TestCServerHandler::rxBecomesOnePacket()
{
    login();
    QSignalSpy packets(m_handler, &CServerHandler::newPacketReceived);
    m_server->push(json(R"({"cmd":"rx","type":"UNCONF_UP+MAC_LINKCHECK_REQ","devEui":"00aa","ts":1700000000123,
        "gatewayId":"abc+def","ack":false,"fcnt":7,"port":2,"data":"","freq":868300000,"dr":3,"rssi":-113,"snr":9.5})"));
    QTRY_COMPARE(packets.count(), 1);

    const auto packet = packets.at(0).at(0).value<API::SApiDeviceData>();
    QVERIFY(packet.valid);
    QCOMPARE(packet.devEui, QStringLiteral("00AA"));
    QCOMPARE(packet.gatewayId, QStringLiteral("ABC"));
    QCOMPARE(packet.rssi, qint16(-113));
    QCOMPARE(packet.ts, Q_UINT64_C(1700000000123));
    QCOMPARE(packet.fcnt, 7u);
    QVERIFY(packet.data.isEmpty());
}

void TestCServerHandler::junkFromServerChangesNothing_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("not json") << "hello";
    QTest::newRow("array") << "[1,2,3]";
    QTest::newRow("huge text") << QString(4 * 1024 * 1024, QLatin1Char('{'));
    QTest::newRow("no cmd") << R"({"type":"UNCONF_UP","data":"01","devEui":"AA"})";
    QTest::newRow("cmd not a string") << R"({"cmd":5})";
    QTest::newRow("downlink") << R"({"cmd":"rx","type":"UNCONF_DOWN","data":"01","devEui":"AA"})";
    QTest::newRow("rx without type") << R"({"cmd":"rx","data":"01","devEui":"AA"})";
    QTest::newRow("rx without data") << R"({"cmd":"rx","type":"CONF_UP","devEui":"AA"})";
    QTest::newRow("rx without devEui") << R"({"cmd":"rx","type":"CONF_UP","data":"01"})";
    QTest::newRow("late auth_resp") << R"({"cmd":"auth_resp","status":false})";
    QTest::newRow("send_data_resp") << R"({"cmd":"send_data_resp","status":true})";
    QTest::newRow("data list of junk") << R"({"cmd":"get_data_resp","status":true,"devEui":"AA","data_list":[1,"x",{}]})";
    QTest::newRow("data list not an array") << R"({"cmd":"get_data_resp","status":true,"devEui":"AA","data_list":{}})";
}

void TestCServerHandler::junkFromServerChangesNothing()
{
    QFETCH(QString, text);

    login();
    m_statusSpy->clear();
    QSignalSpy packets(m_handler, &CServerHandler::newPacketReceived);
    QSignalSpy lists(m_handler, qOverload<bool, QList<API::SServerDeviceInfo>>(&CServerHandler::getDevicesListResp));

    m_server->push(text);
    // A good uplink behind the junk proves that the junk has been read, and
    // that the session still works.
    m_server->push(json(R"({"cmd":"rx","type":"UNCONF_UP","data":"0a","devEui":"BB"})"));
    QTRY_COMPARE(packets.count(), 1);
    QCOMPARE(packets.at(0).at(0).value<API::SApiDeviceData>().devEui, QStringLiteral("BB"));
    QCOMPARE(lists.count(), 0);
    QCOMPARE(m_statusSpy->count(), 0);
}

void TestCServerHandler::requestsWaitForASessionOrNot()
{
    // Before a login the two list requests are refused...
    QVERIFY(!m_handler->getDevicesList({QStringLiteral("A1")}));
    m_handler->getDeviceLastPackets(QStringLiteral("AA"));
    login();
    QVERIFY(!m_handler->getDevicesList({}));
    m_handler->getDeviceLastPackets(QString());
    QTRY_COMPARE(m_logSpy->count(), 4);
    const QString lines = loggedLines().join('|');
    QVERIFY(lines.contains(QStringLiteral("[CServerHandler::getDevicesList] Invalid connection to server! Return")));
    QVERIFY(lines.contains(QStringLiteral("[CServerHandler::getDeviceLastPackets] Invalid connection to server! Return")));
    QVERIFY(lines.contains(QStringLiteral("[CServerHandler::getDevicesList] Empty input AppEUI list! Return")));
    QVERIFY(lines.contains(QStringLiteral("[CServerHandler::getDeviceLastPackets] Empty input AppEUI list! Return")));
    QCOMPARE(m_server->received().size(), 2);
}

void TestCServerHandler::devicesListFiltersAndReleasesQueue()
{
    m_server->setReply(QStringLiteral("get_devices_req"), QJsonObject());
    login();
    QSignalSpy lists(m_handler, qOverload<bool, QList<API::SServerDeviceInfo>>(&CServerHandler::getDevicesListResp));

    QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
    QTest::ignoreMessage(QtDebugMsg, "[CServerHandler::newTaskSlot] Waiting mutex is locked! Return");
    QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_devices_req")).size(), 1);
    QTest::qWait(100);
    // One request in flight at a time.
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("get_devices_req")),
             QStringList({QStringLiteral(R"({"cmd":"get_devices_req"})")}));

    m_server->push(json(R"({"cmd":"get_devices_resp","status":true,"devices_list":[
        {"devEui":"d1","devName":"Boiler","OTAA":{"appEui":"A1"}},
        {"devEui":"d2","devName":"No OTAA"},
        {"devEui":"d3","devName":"Empty AppEUI","OTAA":{}},
        {"devName":"No EUI","OTAA":{"appEui":"A1"}},
        {"devEui":"d5","devName":"Pump","OTAA":{"appEui":"b2"},"extra":1}]})"));
    QTRY_COMPARE(lists.count(), 1);
    QCOMPARE(lists.at(0).at(0).toBool(), true);
    const auto devices = lists.at(0).at(1).value<QList<API::SServerDeviceInfo>>();
    QCOMPARE(devices.size(), 2);
    QCOMPARE(devices.at(0).devEui, QStringLiteral("d1"));
    QCOMPARE(devices.at(0).appEui, QStringLiteral("A1"));
    QCOMPARE(devices.at(0).devName, QStringLiteral("Boiler"));
    QCOMPARE(devices.at(1).appEui, QStringLiteral("b2"));

    // The reply released the queue: the second request goes out now.
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_devices_req")).size(), 2);
    m_server->push(json(R"({"cmd":"get_devices_resp","status":false})"));
    QTRY_COMPARE(lists.count(), 2);
    QCOMPARE(lists.at(1).at(0).toBool(), false);
    QVERIFY(lists.at(1).at(1).value<QList<API::SServerDeviceInfo>>().isEmpty());
}

void TestCServerHandler::devicesListTimesOut()
{
    m_server->setReply(QStringLiteral("get_devices_req"), QJsonObject());
    login();
    QSignalSpy lists(m_handler, qOverload<bool, QList<API::SServerDeviceInfo>>(&CServerHandler::getDevicesListResp));
    QVERIFY(m_handler->getDevicesList({QStringLiteral("A1")}));
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_devices_req")).size(), 1);

    // What the 60 s response timer does when it runs out.
    m_handler->waitingServerResponseTimeoutSlot();
    QCOMPARE(lists.count(), 1);
    QCOMPARE(lists.at(0).at(0).toBool(), false);

    // A reply after the time-out is no longer expected.
    m_server->push(json(R"({"cmd":"get_devices_resp","status":true,"devices_list":[]})"));
    QTRY_VERIFY(loggedLines().join('|').contains(
            QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=verified: unsheduled packet from server")));
    QCOMPARE(lists.count(), 1);
}

void TestCServerHandler::unscheduledDevicesListIsLogged()
{
    login();
    QSignalSpy lists(m_handler, qOverload<bool, QList<API::SServerDeviceInfo>>(&CServerHandler::getDevicesListResp));
    m_server->push(json(R"({"cmd":"get_devices_resp","status":true,"devices_list":[]})"));
    QTRY_VERIFY(loggedLines().join('|').contains(QStringLiteral("unsheduled packet from server")));
    QCOMPARE(lists.count(), 0);
}

void TestCServerHandler::lastPacketsTakeFirstValidRecord()
{
    login();
    QSignalSpy packets(m_handler, &CServerHandler::newPacketReceived);
    m_handler->getDeviceLastPackets(QStringLiteral("00aa"));
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_data_req")),
                 QStringList({QStringLiteral(
                         R"({"cmd":"get_data_req","devEui":"00AA","select":{"direction":"UPLINK","limit":10}})")}));

    m_server->push(json(R"({"cmd":"get_data_resp","status":true,"devEui":"00aa","data_list":[
        {"data":"01"},
        {"type":"UNCONF_DOWN","data":"02"},
        {"type":"CONF_UP","data":"0304","devEui":"FFFF","rssi":-90},
        {"type":"UNCONF_UP","data":"05"}]})"));
    QTRY_COMPARE(packets.count(), 1);
    const auto packet = packets.at(0).at(0).value<API::SApiDeviceData>();
    QCOMPARE(packet.devEui, QStringLiteral("00AA"));
    QCOMPARE(packet.data, QByteArray("\x03\x04"));
    QCOMPARE(packet.rssi, qint16(-90));

    // The reply does not release the queue: a downlink waits for the timer.
    m_handler->sendDeviceData(QStringLiteral("00aa"), "0401");
    QTest::qWait(200);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 0);
    m_handler->waitingServerResponseTimeoutSlot();
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 1);
    QCOMPARE(packets.count(), 1);
}

void TestCServerHandler::downlinkHoldsQueueBriefly()
{
    login();
    m_handler->sendDeviceData(QStringLiteral("abCD"), "040102");
    m_handler->sendDeviceData(QStringLiteral("abCD"), "04ff");
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 2);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).first(),
             QStringLiteral(R"({"cmd":"send_data_req","data_list":[{"ack":true,"data":"040102","devEui":"abCD","port":2}]})"));
    QVERIFY(m_server->received().last().contains(QStringLiteral("\"04ff\"")));
}

void TestCServerHandler::downlinkNeedsNoSession()
{
    m_server->setReply(QStringLiteral("auth_req"), json(R"({"cmd":"auth_resp","status":false})"));
    m_handler->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("wrong"));
    QTRY_COMPARE(statuses(*m_statusSpy).last(), COMM::InvalidAuth);

    m_handler->sendDeviceData(QStringLiteral("abCD"), "0401");
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 1);
}

void TestCServerHandler::reconnectUsesStoredCredentials()
{
    login();
    m_statusSpy->clear();
    m_server->dropClients();
    QTRY_COMPARE(statuses(*m_statusSpy), QList<Status>({COMM::Disconnected}));

    // What the 60 s reconnection timer does when it fires.
    m_handler->reconnectLastAuthData();
    QTRY_COMPARE(statuses(*m_statusSpy).last(), COMM::Success);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("auth_req")).size(), 2);
    QCOMPARE(m_server->receivedWithCmd(QStringLiteral("auth_req")).last(),
             QStringLiteral(R"({"cmd":"auth_req","login":"user","password":"secret"})"));

    QSignalSpy packets(m_handler, &CServerHandler::newPacketReceived);
    m_server->push(json(R"({"cmd":"rx","type":"UNCONF_UP","data":"01","devEui":"AA"})"));
    QTRY_COMPARE(packets.count(), 1);
}

QTEST_GUILESS_MAIN(TestCServerHandler)
#include "tst_cserverhandler.moc"
