#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "logspy.h"
#include "server/cserverhandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>
#include <QtTest>

namespace {

QByteArray chunkData(int size, int index)
{
    return QByteArray(size, char('a' + index));
}

// No template and no registers.
DB::SDeviceRegMapDescription tcpDevice(const QString &devEui, quint16 port)
{
    return {devEui, QString(), devEui, 0, {}, port};
}

// An uplink as the server pushes it.
API::SApiDeviceData uplink(const QString &devEui, const QByteArray &payload)
{
    return API::SApiDeviceData(QJsonObject{{"type", "UNCONF_UP"}, {"devEui", devEui},
                                           {"data", QString::fromLatin1(payload.toHex())}});
}

const QString kDamaged = QStringLiteral("ERROR: [CDeviceHandler::sendTCPData] Package from device 00000000000000D1 "
                                        "has been damaged or lost! Total packet size is [%1], received packet size "
                                        "is [%2]. Data discarded.");
const QString kTimedOut = QStringLiteral("ERROR: [CDeviceHandler::waitingTimeout] Package from device "
                                         "00000000000000D1 has been damaged or lost! Waiting timeout. Data discarded.");

} // namespace

class TestTcpBridge : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    LogSpy *m_log = nullptr;
    FakeNetworkServer *m_server = nullptr;
    quint16 m_port = 0;
    CDeviceHandler *m_listener = nullptr;
    std::vector<std::unique_ptr<QTcpSocket>> m_clients;

    void connectClients(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_clients.push_back(connectClient(m_port));
            QVERIFY(m_clients.back());
        }
        QTRY_COMPARE(m_listener->connections().size(), count);
    }

    // Sends "size@current/total" chunks, each filled with its own letter.
    QByteArray send(const QString &chunks, quint16 statedSize)
    {
        QByteArray sent;
        const QStringList parts = chunks.split(QLatin1Char(' '));
        for (int i = 0; i < parts.size(); ++i) {
            const QStringList numbers = parts.at(i).split(QRegularExpression(QStringLiteral("[@/]")));
            const QByteArray chunk = chunkData(numbers.at(0).toInt(), i);
            const CDeviceHandler::SChunkInfo info{quint8(numbers.at(1).toUInt()), quint8(numbers.at(2).toUInt()),
                                                  statedSize};
            m_listener->sendTCPData(chunk, info);
            sent += chunk;
        }
        return sent;
    }

private slots:
    void initTestCase()
    {
        registerApiMetaTypes();
        m_log = new LogSpy;
        m_server = new FakeNetworkServer(this);
        QSignalSpy status(CServerHandler::getInstance(), &CServerHandler::changeServerStatus);
        CServerHandler::getInstance()->connectSlot(m_server->origin(), QStringLiteral("user"),
                                                   QStringLiteral("secret"));
        QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);
        // The program's wiring of the bridge's downlinks.
        connect(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::tcpDownlink, CServerHandler::getInstance(),
                &CServerHandler::sendDeviceData);
    }

    void init()
    {
        m_port = freePort();
        m_listener = new CDeviceHandler(m_port, ProtocolOption::TCP, QStringLiteral("00000000000000D1"), this);
        connect(m_listener, &CDeviceHandler::downlinkData, CServerHandler::getInstance(),
                &CServerHandler::sendDeviceData);
        QVERIFY(m_listener->isListening());
    }

    void cleanup()
    {
        m_clients.clear();
        delete m_listener;
    }

    void chunksAreJoined_data()
    {
        QTest::addColumn<QString>("chunks");
        QTest::addColumn<int>("statedSize");
        QTest::addColumn<QByteArray>("delivered");
        QTest::addColumn<QString>("error");

        const QString exceeded = QStringLiteral("ERROR: [CDeviceHandler::sendTCPData] Package size from device "
                                                "00000000000000D1 is exceeded! The maximum size should be no more than "
                                                "600 bytes.");
        QTest::newRow("two chunks") << "100@1/2 50@2/2" << 150 << chunkData(100, 0) + chunkData(50, 1) << "";
        QTest::newRow("one chunk") << "20@1/1" << 20 << chunkData(20, 0) << "";
        QTest::newRow("size bytes sum to 149") << "100@1/2 50@2/2" << 149 << QByteArray() << kDamaged.arg(149).arg(150);
        QTest::newRow("300 bytes never match") << "127@1/3 127@2/3 46@3/3" << 300 % 256 << QByteArray()
                                               << kDamaged.arg(44).arg(300);
        QTest::newRow("700 bytes, size agrees") << "127@1/6 127@2/6 127@3/6 127@4/6 127@5/6 65@6/6" << 700 % 256
                                                << QByteArray() << exceeded;
        QTest::newRow("chunk past the total dropped") << "10@1/2 5@3/2 10@2/2" << 20
                                                      << chunkData(10, 0) + chunkData(10, 2) << "";
        QTest::newRow("repeated chunk caught by size") << "10@1/2 10@1/2 10@2/2" << 20 << QByteArray()
                                                       << kDamaged.arg(20).arg(30);
    }

    void chunksAreJoined()
    {
        QFETCH(QString, chunks);
        QFETCH(int, statedSize);
        QFETCH(QByteArray, delivered);
        QFETCH(QString, error);
        connectClients(2);
        m_log->forget();

        send(chunks, quint16(statedSize));
        const QByteArray next = send(QStringLiteral("5@1/1"), 5);

        for (const auto &client : m_clients) {
            QTRY_COMPARE(client->bytesAvailable(), delivered.size() + next.size());
            QCOMPARE(client->readAll(), delivered + next);
        }
        const QString sent = QStringLiteral("INFO: [CDeviceHandler::sendTCPDataToSocket] Send data [%1] for a TCP "
                                            "socket in port %2.").arg(QString::fromLatin1(delivered)).arg(m_port);
        QCOMPARE(m_log->takeLines().value(0), error.isEmpty() ? sent : error);
    }

    void partialMessagesAreDropped()
    {
        // Without clients a chunk is not even kept, and no timer runs for it.
        send(QStringLiteral("10@1/2"), 20);
        const QTimer *timer = m_listener->findChild<QTimer *>();
        QVERIFY(!timer->isActive());
        connectClients(1);
        m_log->forget();

        send(QStringLiteral("10@2/2"), 20);
        send(QStringLiteral("10@1/2"), 20);
        QVERIFY(timer->isActive());
        // What the 90 s timer does when it runs out.
        m_listener->waitingTimeout();
        const QByteArray next = send(QStringLiteral("4@1/1"), 4);

        QTRY_COMPARE(m_clients.front()->bytesAvailable(), next.size());
        QCOMPARE(m_clients.front()->readAll(), next);
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("ERROR")),
                 QStringList({kDamaged.arg(20).arg(10), kTimedOut}));
    }

    void watchdogRestartsOnEachChunk()
    {
        connectClients(1);
        QTimer *timer = m_listener->findChild<QTimer *>();
        QCOMPARE(timer->interval(), 90000);
        m_log->forget();

        send(QStringLiteral("10@1/3"), 30);
        QTRY_VERIFY_WITH_TIMEOUT(timer->remainingTime() <= 89000, 5000);
        send(QStringLiteral("10@2/3"), 30);
        QVERIFY(timer->remainingTime() > 89000);
        send(QStringLiteral("10@3/3"), 30);
        QVERIFY(!timer->isActive());
        QTRY_COMPARE(m_clients.front()->bytesAvailable(), 30);

        // Run out the wait of a message in progress.
        send(QStringLiteral("10@1/2"), 20);
        timer->setInterval(1);
        QTRY_COMPARE(m_log->lines().filter(QStringLiteral("waitingTimeout")).size(), 1);
        QVERIFY(!timer->isActive());
        const QByteArray next = send(QStringLiteral("4@1/1"), 4);
        QTRY_COMPARE(m_clients.front()->bytesAvailable(), 30 + next.size());
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("ERROR")), QStringList(kTimedOut));
    }

    // Data are logged as they are, even where they look like placeholders.
    void placeholdersInDataAreLoggedAsTheyAre()
    {
        connectClients(1);
        m_log->forget();
        const QByteArray message("rate 50%1 ok %2");
        m_listener->sendTCPData(message, {1, 1, quint16(message.size())});
        QTRY_COMPARE(m_clients.front()->bytesAvailable(), message.size());
        QCOMPARE(m_log->takeLines(),
                 QStringList(QStringLiteral("INFO: [CDeviceHandler::sendTCPDataToSocket] Send data [rate 50%1 ok %2] "
                                            "for a TCP socket in port ") + QString::number(m_port) + "."));
    }

    // The first byte of an uplink as a signed number picks the frame; a
    // negative one is no chunk frame, whatever its low bits.
    void negativeFrameTypesNeverReachTheClients_data()
    {
        QTest::addColumn<QByteArray>("frameType");
        for (const char *type : {"83", "85", "a6", "ad", "ff"})
            QTest::addRow("0x%s", type) << hex(type);
    }

    void negativeFrameTypesNeverReachTheClients()
    {
        QFETCH(QByteArray, frameType);
        const QString devEui = QStringLiteral("00000000000000E1");
        const quint16 port = freePort();
        CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
        registry->addNewDevice(tcpDevice(devEui, port), ProtocolOption::TCP);
        const auto client = connectClient(port);
        QVERIFY(client);
        m_log->forget();

        // Size 5, chunk of 5 bytes, number 0 of 1: "hello" if read as a frame.
        const QByteArray rest = hex("00 0005 05 00 01") + "hello";
        registry->newPacketReceivedSlot(uplink(devEui, frameType + rest));
        registry->newPacketReceivedSlot(uplink(devEui, hex("03") + rest));
        QTRY_COMPARE(client->bytesAvailable(), 5);
        QTest::qWait(50);
        QCOMPARE(client->readAll(), QByteArray("hello"));
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("Parse_Data_from_Device")).size(), 1);
        registry->removeDevice(devEui, port);
    }

    // Every client of a shared port talks to the device the listener was made
    // for, in lower-case hexadecimal.
    void downlinksGoToTheFirstDevice()
    {
        const quint16 port = freePort();
        CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
        const QStringList devEuis = {QStringLiteral("00000000000000F1"), QStringLiteral("00000000000000F2")};
        for (const QString &devEui : devEuis)
            registry->addNewDevice(tcpDevice(devEui, port), ProtocolOption::TCP);
        const auto first = connectClient(port);
        const auto second = connectClient(port);
        QVERIFY(first && second);

        first->write(hex("abcdef"));
        QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 1);
        second->write(hex("0a"));
        QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 2);

        QJsonArray downlinks;
        for (const QString &text : m_server->receivedWithCmd(QStringLiteral("send_data_req")))
            downlinks += QJsonDocument::fromJson(text.toUtf8()).object().value("data_list").toArray().at(0);
        QCOMPARE(downlinks, QJsonArray({QJsonObject{{"devEui", devEuis.first()}, {"ack", true}, {"port", 2},
                                                    {"data", "04abcdef"}},
                                        QJsonObject{{"devEui", devEuis.first()}, {"ack", true}, {"port", 2},
                                                    {"data", "040a"}}}));
        for (const QString &devEui : devEuis)
            registry->removeDevice(devEui, port);
    }

    void samePortKeepsClients()
    {
        connectClients(2);
        const QString listening = QStringLiteral("[CDeviceHandler::appendDevice] Port [%1] is listening!");
        QTest::ignoreMessage(QtDebugMsg, qPrintable(listening.arg(m_port)));
        m_listener->changePort(m_port);
        QTest::qWait(50);
        QCOMPARE(m_listener->connections().size(), 2);
        QCOMPARE(m_clients.front()->state(), QAbstractSocket::ConnectedState);
    }

    void destroyedListenerClosesClients()
    {
        connectClients(2);
        delete m_listener;
        m_listener = nullptr;
        for (const auto &client : m_clients)
            QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
        QVERIFY(!connectClient(m_port));
    }
};

QTEST_GUILESS_MAIN(TestTcpBridge)
#include "tst_tcpbridge.moc"
