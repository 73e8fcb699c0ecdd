#include "core/cstatusboard.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "logspy.h"
#include "programcore.h"
#include "server/cserverhandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QRegularExpression>
#include <QtEndian>
#include <QtTest>

#include <memory>

namespace {

const QString kClimateTemplate = QStringLiteral("F1A7C0DE00000101");
const QString kFirst = QStringLiteral("70B3D5000000C001");      // gets its uplinks while running
const QString kSecond = QStringLiteral("70B3D5000000C002");     // had one stored before the start
const QString kSilent = QStringLiteral("70B3D5000000C003");     // never had one
const QString kGateway = QStringLiteral("70B3D5000000D001");    // TCP, on a port another program holds
const QString kClimatePayload = QStringLiteral("0100eb0202f63e0c");
// A device's first register starts a 64-bit value: its next word comes along.
const QByteArray kTwoWordAnswerHead = hex("0007 0000 0007 11 03 04");
constexpr qint64 kSecond_ms = 1000;
constexpr qint64 kHour_ms = 3600 * kSecond_ms;

using Words = QList<quint16>;

} // namespace

class TestStatusBlock : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    FakeNetworkServer *m_server = nullptr;
    CAllDeviceHandler *m_registry = nullptr;
    LogSpy *m_log = nullptr;
    QTcpServer m_otherProgram;
    QStringList m_startLines;
    qint64 m_now = 0;
    quint16 m_devicePort = 0;
    quint16 m_statusPort = 0;

    static QByteArray request(quint8 function, quint16 start, quint16 count)
    {
        return modbusRequest(7, 0x11, function, start, count);
    }

    // The words of a read of the status port, empty if the answer is not one.
    Words readStatus(quint16 start, quint16 count)
    {
        const QByteArray answer = exchange(m_statusPort, request(4, start, count), 9 + 2 * count);
        Words words;
        if (answer.size() != 9 + 2 * count || answer.at(7) != 4)
            return words;
        for (int at = 9; at < answer.size(); at += 2)
            words.append(qFromBigEndian<quint16>(answer.constData() + at));
        return words;
    }

    quint32 statusValue(quint16 address)
    {
        const Words words = readStatus(address, 2);
        return words.size() == 2 ? quint32(words.at(0)) << 16 | words.at(1) : 0xDEADBEEF;
    }

    void readFirstDevice()
    {
        QCOMPARE(exchange(m_devicePort, request(3, 1000, 1), 13).left(9), kTwoWordAnswerHead);
    }

    void publish(const QString &devEui, quint32 startAddr, quint16 port, ProtocolOption protocol)
    {
        const QString appEui = protocol == ProtocolOption::TCP ? QStringLiteral("F1A7C0DE00000303") : kClimateTemplate;
        QVERIFY(ProgramCore::publishDevice(ProgramCore::deviceOf(devEui, appEui, devEui, startAddr, port, protocol),
                                           protocol));
    }

private slots:
    void initTestCase()
    {
        m_log = new LogSpy;
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        m_registry = CAllDeviceHandler::getInstance();
        CDataBaseHandler *store = CDataBaseHandler::getInstance();
        QVERIFY(m_otherProgram.listen(QHostAddress::Any, 0));

        m_devicePort = freePort();
        publish(kFirst, 1000, m_devicePort, ProtocolOption::ModBus);
        publish(kSecond, 2000, m_devicePort, ProtocolOption::ModBus);
        publish(kSilent, 3000, m_devicePort, ProtocolOption::ModBus);
        publish(kGateway, 0, m_otherProgram.serverPort(), ProtocolOption::TCP);
        QVERIFY(QMetaObject::invokeMethod(store, "saveRegisterData", Qt::BlockingQueuedConnection,
                                          Q_ARG(DB::SDbDeviceRegDataSet,
                                                DB::SDbDeviceRegDataSet({kSecond, 2000, {{"1234", "1234", 0}}}))));

        // An hour after the second device's last uplink, as after a restart.
        const QList<DB::SDeviceLastStored> stored = store->lastStoredTimes();
        QCOMPARE(stored.size(), 3);
        m_now = stored.at(1).time + kHour_ms;
        CStatusBoard::getInstance()->setClock([this] { return m_now; });
        m_statusPort = freePort();
        m_registry->openStatusPort(int(m_statusPort));

        m_server = new FakeNetworkServer(this);
        CServerHandler *session = CServerHandler::getInstance();
        QSignalSpy status(session, &CServerHandler::changeServerStatus);
        session->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);

        // One stored, one refused for its size, one of a device that is not published.
        m_now += 60 * kSecond_ms;
        ProgramCore::pushUplink(*m_server, kFirst, kClimatePayload);
        ProgramCore::pushUplink(*m_server, kFirst, QStringLiteral("0100eb02"));
        ProgramCore::pushUplink(*m_server, QStringLiteral("70B3D50000009999"), kClimatePayload);
        QTRY_COMPARE(statusValue(StatusBlock::UplinksReceived), 3u);
        m_now += 30 * kSecond_ms;
        readFirstDevice();
        readFirstDevice();
        m_startLines = m_log->takeLines();
    }

    void cleanupTestCase()
    {
        m_core.reset();
    }

    void layout_data()
    {
        QTest::addColumn<quint16>("start");
        QTest::addColumn<Words>("words");

        QTest::newRow("layout version") << quint16(0) << Words{1};
        QTest::newRow("session state: logged in") << quint16(1) << Words{0};
        QTest::newRow("since the last uplink") << quint16(2) << Words{0, 30};
        QTest::newRow("since the start") << quint16(4) << Words{0, 90};
        QTest::newRow("uplinks received") << quint16(6) << Words{0, 3};
        QTest::newRow("uplinks stored") << quint16(8) << Words{0, 1};
        QTest::newRow("device requests answered") << quint16(10) << Words{0, 2};
        QTest::newRow("ModBus and TCP devices") << quint16(12) << Words{3, 1};
        QTest::newRow("listeners not open") << quint16(14) << Words{1};
        QTest::newRow("connections lost, then nothing") << quint16(15) << Words{0, 0, 0, 0};
        QTest::newRow("up to the device ages") << quint16(98) << Words{0, 0, 0, 30};
        QTest::newRow("ages: fresh, from the store, never")
                << quint16(100) << Words{0, 30, 0, 3690, 0xFFFF, 0xFFFF, 0, 0};
        QTest::newRow("the last addresses") << quint16(65534) << Words{0, 0};
    }

    void layout()
    {
        QFETCH(quint16, start);
        QFETCH(Words, words);
        QCOMPARE(readStatus(start, quint16(words.size())), words);
    }

    void notOpenListenerIsLogged()
    {
        const QString line = QStringLiteral("ERROR: [CDeviceHandler] Cannot listen on port %1: The bound address is "
                                            "already in use").arg(m_otherProgram.serverPort());
        QVERIFY2(m_startLines.contains(line), qPrintable(m_startLines.join('\n')));
        QVERIFY(m_startLines.contains(QStringLiteral("INFO: [CAllDeviceHandler] Status registers on port [%1].")
                                              .arg(m_statusPort)));
    }

    void deviceAgeFollowsTheClockAndItsUplinks()
    {
        m_now += 10 * kSecond_ms;
        QCOMPARE(readStatus(100, 6), (Words{0, 40, 0, 3700, 0xFFFF, 0xFFFF}));
        ProgramCore::pushUplink(*m_server, kSecond, kClimatePayload);
        QTRY_COMPARE(readStatus(100, 6), (Words{0, 40, 0, 0, 0xFFFF, 0xFFFF}));
        QCOMPARE(statusValue(StatusBlock::SecondsSinceUplink), 0u);
        QCOMPARE(statusValue(StatusBlock::UplinksStored), 2u);
    }

    void sessionStateFollowsTheLink()
    {
        m_server->dropClients();
        QTRY_COMPARE(readStatus(StatusBlock::SessionState, 1), Words{5});
        QCOMPARE(statusValue(StatusBlock::ConnectionsLost), 1u);

        // An opening that fails loses no connection.
        CServerHandler *session = CServerHandler::getInstance();
        m_log->forget();
        session->connectSlot(QStringLiteral("ws://127.0.0.1:%1").arg(freePort()), QStringLiteral("user"),
                             QStringLiteral("secret"));
        QTRY_VERIFY(!m_log->lines().filter(QStringLiteral("Connection failed")).isEmpty());
        QTest::qWait(50);
        QCOMPARE(statusValue(StatusBlock::ConnectionsLost), 1u);

        session->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_COMPARE(readStatus(StatusBlock::SessionState, 1), Words{0});
        QCOMPARE(statusValue(StatusBlock::ConnectionsLost), 1u);
    }

    void statusReadsStayOutOfTheLog()
    {
        m_log->forget();
        // Pipelined, with a function that is refused.
        const QByteArray answers = hex("0007 0000 0005 11 04 02 0001"
                                       "0007 0000 0003 11 86 01"
                                       "0007 0000 0005 11 03 02 0001");
        QCOMPARE(exchange(m_statusPort, request(4, 0, 1) + request(6, 0, 1) + request(3, 0, 1), answers.size()),
                 answers);
        readFirstDevice();
        QTest::qWait(50);
        const QStringList journal = m_log->takeLines().filter(QRegularExpression(QStringLiteral("REQ|ANS")));
        QCOMPARE(journal.size(), 2);
        QCOMPARE(journal.at(0), QStringLiteral("INFO: [CConnectionHandler] REQ: < 000700000006110303e80001 >"));
        QVERIFY(journal.at(1).startsWith(QStringLiteral("INFO: [CConnectionHandler] ANS: < 000700000007110304")));
    }

    void refusedStatusPorts_data()
    {
        QTest::addColumn<QVariant>("setting");
        QTest::addColumn<QString>("line");

        const QString used = QStringLiteral("ERROR: [CAllDeviceHandler] Status port [%1] is used by a device. "
                                            "The status registers are off.");
        const QString range = QStringLiteral("ERROR: [CAllDeviceHandler] Status port [%1] is not a port from 1 to "
                                             "65535. The status registers are off.");
        QTest::newRow("a device's port") << QVariant(int(m_devicePort)) << used.arg(m_devicePort);
        QTest::newRow("a TCP device's port") << QVariant(int(m_otherProgram.serverPort()))
                                             << used.arg(m_otherProgram.serverPort());
        QTest::newRow("past 65535") << QVariant(QStringLiteral("65536")) << range.arg(65536);
        QTest::newRow("not a number") << QVariant(QStringLiteral("502x")) << range.arg(QStringLiteral("502x"));
    }

    void refusedStatusPorts()
    {
        QFETCH(QVariant, setting);
        QFETCH(QString, line);
        m_log->forget();
        m_registry->openStatusPort(setting);
        QCOMPARE(m_log->takeLines(), QStringList(line));
        QVERIFY(!m_registry->isStatusPort(quint16(setting.toUInt())));
    }

    // Opt-in: a read that meets a device past its data age answers exception 0B.
    void staleDevicesAnswerCommFailure()
    {
        const QByteArray commFailure = hex("0007 0000 0003 11 83 0b");
        const auto answerHead = [this](quint16 start) {
            return exchange(m_devicePort, request(3, start, 1), 9).left(9);
        };
        const QString staleLine = QStringLiteral("WARNING: [CAllDeviceHandler] Device DevEUI[%1] has stored no uplink "
                                                 "for more than 60 s: its reads answer exception 0B.");
        m_registry->setMaxDataAge(kSecond, 60);
        m_registry->setMaxDataAge(kSilent, 60);
        QCOMPARE(CAllDeviceHandler::maxDataAge(kSecond.toLower()), 60u);
        m_log->forget();

        // Fresh, unwatched and never stored; a read past the silent device's registers meets none of them.
        QCOMPARE(answerHead(2000), kTwoWordAnswerHead);
        QCOMPARE(answerHead(1000), kTwoWordAnswerHead);
        QCOMPARE(answerHead(3000), commFailure);
        QCOMPARE(answerHead(3000), commFailure);
        QCOMPARE(answerHead(3500), hex("0007 0000 0005 11 03 02"));

        m_now += 61 * kSecond_ms;
        QCOMPARE(answerHead(2000), commFailure);
        ProgramCore::pushUplink(*m_server, kSecond, kClimatePayload);
        QTRY_COMPARE(answerHead(2000), kTwoWordAnswerHead);

        // The setting drops the check, and outlives a restart in settings.conf.
        m_registry->setMaxDataAge(kSilent, 0);
        QCOMPARE(answerHead(3000), kTwoWordAnswerHead);
        QCOMPARE(CAllDeviceHandler::maxDataAge(kSilent), 0u);
        QSettings file(FileName::settings, QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("max_age/%1").arg(kSecond)).toUInt(), 60u);
        QVERIFY(!file.contains(QStringLiteral("max_age/%1").arg(kSilent)));

        const QStringList lines = m_log->takeLines().filter(QStringLiteral("[CAllDeviceHandler] Device"));
        QCOMPARE(lines, QStringList({staleLine.arg(kSilent), staleLine.arg(kSecond),
                                     QStringLiteral("INFO: [CAllDeviceHandler] Device DevEUI[%1] has fresh data "
                                                    "again: its reads are answered.").arg(kSecond)}));
    }
};

QTEST_GUILESS_MAIN(TestStatusBlock)
#include "tst_statusblock.moc"
