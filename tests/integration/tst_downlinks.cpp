#include "core/constants.h"
#include "core/csettings.h"
#include "core/cstatusboard.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "logspy.h"
#include "programcore.h"
#include "server/cserverhandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtEndian>
#include <QtTest>

#include <memory>

namespace {

const QString kActuatorEui = QStringLiteral("F1A7C0DE000000D1");
const QString kClimateEui = QStringLiteral("F1A7C0DE00000101");
const QString kActuator = QStringLiteral("70B3D50000000AC1");       // on the port that takes writes
const QString kSensor = QStringLiteral("70B3D50000000AC2");         // no downlinks, same port
const QString kReadOnly = QStringLiteral("70B3D50000000AC3");       // an actuator on a read-only port

// Set-point (register 0, 0.5 a step), mode (1, uplink only), on and off hour
// (2, 3) and a 32-bit limit (4, 5); three downlinks with their status registers.
const QByteArray kActuatorTemplate = R"({
    "app_eui": "F1A7C0DE000000D1", "dev_type": "Test actuator", "signed_words": "twos_complement",
    "device_packets": [{"packet_type": 1, "packet_size": 10, "packet_fields": [
        {"data_name": "Set-point", "packet_bias": 1, "data_bit_bias": 0, "data_bit_size": 16, "data_type": "integer",
         "endianness": "be", "reg_map_bias": 0, "reg_bit_bias": 0, "reg_bit_size": 16},
        {"data_name": "Mode", "packet_bias": 3, "data_bit_bias": 0, "data_bit_size": 8, "data_type": "uinteger",
         "reg_map_bias": 1, "reg_bit_bias": 0, "reg_bit_size": 16},
        {"data_name": "On hour", "packet_bias": 4, "data_bit_bias": 0, "data_bit_size": 8, "data_type": "uinteger",
         "reg_map_bias": 2, "reg_bit_bias": 0, "reg_bit_size": 16},
        {"data_name": "Off hour", "packet_bias": 5, "data_bit_bias": 0, "data_bit_size": 8, "data_type": "uinteger",
         "reg_map_bias": 3, "reg_bit_bias": 0, "reg_bit_size": 16},
        {"data_name": "Limit", "packet_bias": 6, "data_bit_bias": 0, "data_bit_size": 32, "data_type": "uinteger",
         "endianness": "be", "reg_map_bias": 4, "reg_bit_bias": 0, "reg_bit_size": 32}]}],
    "downlinks": [
        {"name": "Set-point", "port": 11, "confirmed": true, "packet_type": 17, "deadline": 2,
         "status_reg": 10, "status_time_reg": 11, "packet_fields": [
            {"data_name": "Set-point", "reg_map_bias": 0, "packet_bias": 1, "data_bit_size": 16,
             "data_type": "integer", "endianness": "be", "multiplier": 0.5, "min": -100, "max": 300}]},
        {"name": "Schedule", "port": 12, "packet_type": 18, "status_reg": 13, "status_time_reg": 14,
         "packet_fields": [
            {"data_name": "On hour", "reg_map_bias": 2, "packet_bias": 1, "data_bit_size": 8,
             "data_type": "uinteger", "max": 23},
            {"data_name": "Off hour", "reg_map_bias": 3, "packet_bias": 2, "data_bit_size": 8,
             "data_type": "uinteger", "max": 23}]},
        {"name": "Limit", "port": 13, "packet_type": 19, "status_reg": 16, "status_time_reg": 17,
         "packet_fields": [
            {"data_name": "Limit", "reg_map_bias": 4, "reg_bit_size": 32, "packet_bias": 1, "data_bit_size": 32,
             "data_type": "uinteger", "max": 4000000000}]}
    ]})";

constexpr quint16 kStart = 1000;
constexpr quint16 kStatusOffset = 10;   // of the set-point

using Words = QList<quint16>;

QByteArray writeSingle(quint16 address, quint16 value)
{
    return modbusRequest(0x0102, 0x11, 6, address, value);
}

QByteArray writeMultiple(quint16 address, const Words &words, int byteCount = -1)
{
    QByteArray frame = modbusRequest(0x0103, 0x11, 16, address, quint16(words.size()));
    frame += char(byteCount < 0 ? 2 * words.size() : byteCount);
    for (quint16 word : words) {
        frame += char(word >> 8);
        frame += char(word & 0xFF);
    }
    qToBigEndian(quint16(frame.size() - 6), frame.data() + 4);
    return frame;
}

QString downlinkRequest(const QString &payload, int port, bool confirmed)
{
    const QJsonObject element{{"ack", confirmed}, {"data", payload}, {"devEui", kActuator}, {"port", port}};
    return QString::fromUtf8(QJsonDocument(QJsonObject{{"cmd", "send_data_req"}, {"data_list", QJsonArray{element}}})
                                     .toJson(QJsonDocument::Compact));
}

const QJsonObject kAccepted{{"cmd", "send_data_resp"}, {"status", true}};

// The set-point downlink of the actuator as the queue's log lines name it.
const QString kSetPoint = QStringLiteral("\"Set-point\" of DevEUI[%1]").arg(kActuator);
const QString kDownlink = "[CDownlinkQueue] Downlink " + kSetPoint;

} // namespace

class TestDownlinks : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    FakeNetworkServer *m_server = nullptr;
    LogSpy *m_log = nullptr;
    quint16 m_writablePort = 0;
    quint16 m_readOnlyPort = 0;

    void publish(const QString &devEui, const QString &appEui, quint16 port)
    {
        const quint32 startAddr = appEui == kClimateEui ? 2000 : kStart;
        QVERIFY(ProgramCore::publishDevice(
                ProgramCore::deviceOf(devEui, appEui, devEui, startAddr, port, ProtocolOption::ModBus),
                ProtocolOption::ModBus));
    }

    void logIn()
    {
        CServerHandler *session = CServerHandler::getInstance();
        session->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_VERIFY(session->isLoggedIn());
    }

    void logOut()
    {
        m_server->dropClients();
        QTRY_VERIFY(!CServerHandler::getInstance()->isLoggedIn());
    }

    // The status register of an entry and the seconds of its time registers.
    std::pair<quint16, quint32> outcome(quint16 statusOffset)
    {
        const QByteArray answer = exchange(m_writablePort, modbusRequest(9, 1, 3, kStart + statusOffset, 3), 15);
        if (answer.size() != 15)
            return {0xFFFF, 0};
        return {qFromBigEndian<quint16>(answer.constData() + 9), qFromBigEndian<quint32>(answer.constData() + 11)};
    }

    quint32 counter(quint16 field)
    {
        const QMap<quint16, quint16> words = CStatusBoard::getInstance()->read(field, 2);
        return quint32(words.value(field)) << 16 | words.value(quint16(field + 1));
    }

    QStringList queueLines()
    {
        return m_log->takeLines().filter(QStringLiteral("[CDownlinkQueue]"));
    }

    QStringList downlinksSent() const { return m_server->receivedWithCmd(QStringLiteral("send_data_req")); }

private slots:
    void initTestCase()
    {
        QVERIFY(QDir().mkpath(FileName::deviceFolder));
        QFile file(QDir(FileName::deviceFolder).filePath(QStringLiteral("TestActuator.json")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kActuatorTemplate) > 0);
        file.close();

        m_log = new LogSpy;
        m_writablePort = freePort();
        m_readOnlyPort = freePort();
        CSettings::writeValue(QStringLiteral("writable_ports/%1").arg(m_writablePort), true);
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        QCOMPARE(CAllDeviceHandler::getInstance()->templateInfo(kActuatorEui).devType, QStringLiteral("Test actuator"));
        publish(kActuator, kActuatorEui, m_writablePort);
        publish(kSensor, kClimateEui, m_writablePort);
        publish(kReadOnly, kActuatorEui, m_readOnlyPort);

        m_server = new FakeNetworkServer(this);
        m_server->setReply(QStringLiteral("send_data_req"), kAccepted);
        logIn();
        // What the device reports: set-point 215, mode 2, on 7, off 19, limit 100000.
        ProgramCore::pushUplink(*m_server, kActuator, QStringLiteral("0100d7020713000186a0"));
        QTRY_COMPARE(exchange(m_writablePort, modbusRequest(1, 1, 3, kStart + 3, 1), 11).right(2), hex("0013"));
    }

    void cleanupTestCase()
    {
        m_core.reset();
    }

    void writeAnswers_data()
    {
        QTest::addColumn<bool>("writablePort");
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QStringList>("sent");

        const auto row = [](const char *name, const QByteArray &request, const QByteArray &answer,
                            const QStringList &sent = {}, bool writablePort = true) {
            QTest::newRow(name) << writablePort << request << hex(answer) << sent;
        };
        const QByteArray echo6 = "0102 0000 0006 11 06";
        const QByteArray echo16 = "0103 0000 0006 11 10";
        // Exception answers, their code follows.
        const QByteArray exception6 = "0102 0000 0003 11 86 ";
        const QByteArray exception16 = "0103 0000 0003 11 90 ";
        row("6: on hour alone, the off hour as the device reported it", writeSingle(1002, 6), echo6 + "03ea 0006",
            {downlinkRequest("120613", 12, false)});
        row("6: set-point 215, scaled back by its step of 0.5", writeSingle(1000, 215), echo6 + "03e8 00d7",
            {downlinkRequest("1101ae", 11, true)});
        row("6: a negative set-point in two's complement", writeSingle(1000, 0xFFF6), echo6 + "03e8 fff6",
            {downlinkRequest("11ffec", 11, true)});
        row("16: both hours", writeMultiple(1002, {8, 22}), echo16 + "03ea 0002",
            {downlinkRequest("120816", 12, false)});
        row("6: off hour alone keeps the on hour written last", writeSingle(1003, 20), echo6 + "03eb 0014",
            {downlinkRequest("120814", 12, false)});
        row("16: 32-bit limit, high word first, sent little-endian", writeMultiple(1004, {0x0001, 0x86A1}),
            echo16 + "03ec 0002", {downlinkRequest("13a1860100", 13, false)});
        row("6: the low word of the limit keeps its high word", writeSingle(1005, 2), echo6 + "03ed 0002",
            {downlinkRequest("1302000100", 13, false)});
        row("16: hours and limit at once, two downlinks", writeMultiple(1002, {9, 21, 0, 500}), echo16 + "03ea 0004",
            {downlinkRequest("120915", 12, false), downlinkRequest("13f4010000", 13, false)});
        row("16: a limit above its max refuses the hours beside it", writeMultiple(1002, {1, 2, 0xFFFF, 0xFFFF}),
            exception16 + "03");
        row("6: off hour alone keeps the on hour of the last write taken", writeSingle(1003, 22), echo6 + "03eb 0016",
            {downlinkRequest("120916", 12, false)});
        row("6: above the set-point's max", writeSingle(1000, 301), exception6 + "03");
        row("6: hour of 24", writeSingle(1002, 24), exception6 + "03");
        row("16: a register without a downlink refuses the whole write", writeMultiple(1000, {100, 2}),
            exception16 + "02");
        row("6: a status register is not written", writeSingle(kStart + kStatusOffset, 1), exception6 + "02");
        row("6: a device without downlinks on the same port", writeSingle(2010, 1), exception6 + "01");
        row("6: no device at the address", writeSingle(5000, 1), exception6 + "01");
        row("6: a port that does not take writes", writeSingle(1000, 215), exception6 + "01", {}, false);
        row("16: byte count that disagrees with the count", writeMultiple(1002, {8, 22}, 3), exception16 + "03");
        row("16: count 0", writeMultiple(1002, {}), exception16 + "03");
    }

    void writeAnswers()
    {
        QFETCH(bool, writablePort);
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, answer);
        QFETCH(QStringList, sent);

        const int before = int(downlinksSent().size());
        QCOMPARE(exchange(writablePort ? m_writablePort : m_readOnlyPort, request, int(answer.size())).toHex(),
                 answer.toHex());
        QTRY_COMPARE(downlinksSent().mid(before), sent);
        QTest::qWait(100);
        QCOMPARE(downlinksSent().mid(before), sent);
    }

    void outcomeRegistersFollowTheServer()
    {
        m_log->forget();
        m_server->setReply(QStringLiteral("send_data_req"), QJsonObject());
        const quint32 sentBefore = counter(StatusBlock::DownlinksSent);
        const quint32 refusedBefore = counter(StatusBlock::DownlinksRefused);
        const quint32 now = quint32(QDateTime::currentSecsSinceEpoch());

        exchange(m_writablePort, writeSingle(1000, 150), 12);
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(2));
        QVERIFY(outcome(kStatusOffset).second >= now && outcome(kStatusOffset).second <= now + 5);
        m_server->push(kAccepted);
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(3));

        m_server->setReply(QStringLiteral("send_data_req"), {{"cmd", "send_data_resp"}, {"status", false},
                                                             {"err_string", "device_queue_full"}});
        exchange(m_writablePort, writeSingle(1000, 160), 12);
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(4));
        QCOMPARE(counter(StatusBlock::DownlinksSent), sentBefore + 2);
        QCOMPARE(counter(StatusBlock::DownlinksRefused), refusedBefore + 1);

        const QString waits = QStringLiteral("INFO: [CDownlinkQueue] Write on port %1 at 1000: %2 for %3: payload %4 "
                                             "waits to be sent.");
        QCOMPARE(queueLines(),
                 (QStringList{waits.arg(m_writablePort).arg(150).arg(kSetPoint, "11012c"),
                              "INFO: " + kDownlink + " accepted by the server: payload 11012c on LoRaWAN port 11.",
                              waits.arg(m_writablePort).arg(160).arg(kSetPoint, "110140"),
                              "WARNING: " + kDownlink + " refused by the server (device_queue_full): payload 110140 "
                                                        "is not sent again."}));
        m_server->setReply(QStringLiteral("send_data_req"), kAccepted);
    }

    // Two writes while the session is down: one downlink, the newer, once it is back.
    void pendingWriteWaitsForTheSessionAndMerges()
    {
        logOut();
        const int before = int(downlinksSent().size());
        m_log->forget();
        exchange(m_writablePort, writeSingle(1000, 100), 12);
        exchange(m_writablePort, writeSingle(1000, 120), 12);
        QCOMPARE(outcome(kStatusOffset).first, quint16(1));
        QVERIFY(queueLines().last().endsWith("payload 1100f0 waits to be sent, replacing the unsent 1100c8."));
        logIn();
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(3));
        QCOMPARE(downlinksSent().mid(before), QStringList{downlinkRequest("1100f0", 11, true)});
    }

    void unsentWriteExpires()
    {
        logOut();
        const int before = int(downlinksSent().size());
        const quint32 expiredBefore = counter(StatusBlock::DownlinksExpired);
        m_log->forget();
        exchange(m_writablePort, writeSingle(1000, 90), 12);
        QTRY_COMPARE_WITH_TIMEOUT(outcome(kStatusOffset).first, quint16(5), 5000);
        QCOMPARE(counter(StatusBlock::DownlinksExpired), expiredBefore + 1);
        QVERIFY(queueLines().contains("WARNING: " + kDownlink
                                      + " expired unsent after 2 s: payload 1100b4 is dropped."));
        logIn();
        QTest::qWait(300);
        QCOMPARE(downlinksSent().mid(before), QStringList());
    }

    // No answer within the bound: reported once, never sent again, and the next write goes on.
    void unansweredDownlinkIsNotRepeated()
    {
        m_server->setReply(QStringLiteral("send_data_req"), QJsonObject());
        const int before = int(downlinksSent().size());
        m_log->forget();
        exchange(m_writablePort, writeSingle(1000, 110), 12);
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(2));
        const QString unanswered = "WARNING: " + kDownlink + " sent, but the server gave no answer within 10 s: "
                                                             "payload 1100dc is not sent again.";
        QStringList seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += queueLines(), seen.contains(unanswered)), 15000);
        QCOMPARE(outcome(kStatusOffset).first, quint16(2));
        m_server->setReply(QStringLiteral("send_data_req"), kAccepted);
        exchange(m_writablePort, writeSingle(1000, 111), 12);
        QTRY_COMPARE(outcome(kStatusOffset).first, quint16(3));
        QCOMPARE(downlinksSent().mid(before), (QStringList{downlinkRequest("1100dc", 11, true),
                                                           downlinkRequest("1100de", 11, true)}));
    }
};

QTEST_GUILESS_MAIN(TestDownlinks)
#include "tst_downlinks.moc"
