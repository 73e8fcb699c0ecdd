#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "logspy.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QDir>
#include <QSqlQuery>
#include <QThread>
#include <QtTest>

namespace {

const QString kFieldsApp = QStringLiteral("F1A7C0DE0000D001");
const QString kFieldsDevice = QStringLiteral("00000000000000F1");
constexpr quint32 kStartAddr = 100;
constexpr int kRssiBias = 0;
constexpr int kRegistersPerCase = 4;
constexpr qint32 kServerDataPacket = 0x2a;

struct SFieldCase
{
    const char *name;
    qint32 packetType;
    QByteArray dataType;
    int bits;
    QByteArray endianness;
    QByteArray bytes;       // the field, after the type byte
    double gratingPeriod;
    double startValue;
    QStringList registers;  // "value|full_value" from the field's first register on
};

// Each case is a packet of its own type with one field at 1, and its own registers.
const QList<SFieldCase> kFieldCases = {
    {"u16 be", 1, "uinteger", 16, "be", "0102", 1.0, 0.0, {"0102|0102"}},
    {"u16 le", 2, "uinteger", 16, "le", "0102", 1.0, 0.0, {"0201|0201"}},
    {"u32 be", 3, "uinteger", 32, "be", "12345678", 1.0, 0.0, {"1234|12345678", "5678|"}},
    {"u32 le", 4, "uinteger", 32, "le", "78563412", 1.0, 0.0, {"1234|12345678", "5678|"}},
    {"u32 at the top", 5, "uinteger", 32, "be", "ffffffff", 1.0, 0.0, {"ffff|ffffffff", "ffff|"}},
    {"i8 minus one", 6, "integer", 8, "", "ff", 1.0, 0.0, {"-001|-001"}},
    {"u8 255", 7, "uinteger", 8, "", "ff", 1.0, 0.0, {"00ff|00ff"}},
    {"i16 2.5 rounds up", 8, "integer", 16, "be", "0019", 0.1, 0.0, {"0003|0003"}},
    {"i16 -2.5 rounds down", 9, "integer", 16, "be", "ffe7", 0.1, 0.0, {"-003|-003"}},
    {"i16 wide negative loses its sign", 10, "integer", 16, "be", "edcc", 1.0, 0.0, {"1234|1234"}},
    {"u16 start value", 11, "uinteger", 16, "le", "0500", 1.0, 10.4, {"000f|000f"}},
    {"u8 overflow wraps", 12, "uinteger", 8, "", "c8", 1000.0, 0.0, {"0d40|0d40"}},
    {"i32 negative", 13, "integer", 32, "be", "ffffff9c", 1.0, 0.5, {"-000|-0000064", "0064|"}},
    {"u64 truncates", 14, "uinteger", 64, "be", "0000000000000019", 0.1, 0.0,
     {"0000|0000000000000002", "0000|", "0000|", "0002|"}},
    {"i64 rounds", 15, "integer", 64, "be", "0000000000000019", 0.1, 0.0,
     {"0000|0000000000000003", "0000|", "0000|", "0003|"}},
    {"i64 le minus one", 16, "integer", 64, "le", "ffffffffffffffff", 1.0, 0.0,
     {"-000|-000000000000001", "0000|", "0000|", "0001|"}},
    {"u64 above 2^63", 17, "uinteger", 64, "be", "8000000000000000", 1.0, 0.0,
     {"8000|8000000000000000", "0000|", "0000|", "0000|"}},
    {"text of 1 byte", 18, "text", 8, "", "41", 2.0, 5.0, {"A|A"}},
    {"text of 2 bytes", 19, "text", 16, "", "4869", 1.0, 0.0, {"Hi|Hi"}},
    {"text of 4 bytes", 20, "text", 32, "", "76312e32", 1.0, 0.0, {"v1.2|v1.2", "|"}},
    {"text of 8 bytes", 21, "text", 64, "", "4142434445464748", 1.0, 0.0, {"ABCD|ABCDEFGH", "EFGH|", "|", "|"}},
    {"negative packet type", -56, "uinteger", 8, "", "2a", 1.0, 0.0, {"002a|002a"}},
};

struct SRefusedCase
{
    const char *name;
    qint32 packetType;
    QByteArray dataType;
    int bits;
    int bitBias;
    const char *log;
};

// Each packet holds the refused field at 1 and a good byte at 4.
const QList<SRefusedCase> kRefusedCases = {
    {"three bytes", 40, "uinteger", 24, 0, "WARNING: [CAllDeviceHandler::processDataSlot] Unsupport size of data [3]"},
    {"sixteen bytes", 41, "uinteger", 128, 0,
     "WARNING: [CAllDeviceHandler::processDataSlot] Unsupport size of data [16]"},
    {"12 bits", 42, "uinteger", 12, 0, "ERROR: [CAllDeviceHandler::processDataSlot] Unsupport functional"},
    {"bit bias 4", 43, "integer", 8, 4, "ERROR: [CAllDeviceHandler::processDataSlot] Unsupport functional"},
    {"boolean", 44, "boolean", 8, 0,
     "WARNING: [CAllDeviceHandler::processDataSlot] Unsupport data type [boolean] for size [1]"},
    {"type word case", 45, "Integer", 16, 0,
     "WARNING: [CAllDeviceHandler::processDataSlot] Unsupport data type [Integer] for size [2]"},
};

int caseBias(int index)
{
    return 8 + kRegistersPerCase * index;
}

QJsonObject field(const QByteArray &dataType, int bits, int packetBias, int regMapBias,
                  const QByteArray &endianness = QByteArray(), int bitBias = 0)
{
    QJsonObject object{{"data_name", "f"}, {"packet_bias", packetBias}, {"data_bit_bias", bitBias},
                       {"data_bit_size", bits}, {"data_type", QString::fromLatin1(dataType)},
                       {"reg_map_bias", regMapBias}, {"reg_bit_bias", 0}, {"reg_bit_size", bits}};
    if (!endianness.isEmpty())
        object.insert("endianness", QString::fromLatin1(endianness));
    return object;
}

QJsonObject packet(qint32 type, int size, const QJsonArray &fields)
{
    return {{"packet_type", type}, {"packet_size", size}, {"packet_fields", fields}};
}

QJsonObject datum(const QString &code, int regMapBias, int regBitSize)
{
    return {{"data_code", code}, {"data_name", code}, {"reg_map_bias", regMapBias}, {"reg_bit_bias", 0},
            {"reg_bit_size", regBitSize}};
}

QJsonObject fieldsTemplate()
{
    QJsonArray packets;
    for (int i = 0; i < kFieldCases.size(); ++i) {
        const SFieldCase &c = kFieldCases.at(i);
        packets.append(packet(c.packetType, 1 + c.bits / 8,
                              {field(c.dataType, c.bits, 1, caseBias(i), c.endianness)}));
    }
    for (int i = 0; i < kRefusedCases.size(); ++i) {
        const SRefusedCase &c = kRefusedCases.at(i);
        const int bias = caseBias(kFieldCases.size() + i);
        packets.append(packet(c.packetType, 5,
                              {field(c.dataType, c.bits, 1, bias, "be", c.bitBias), field("uinteger", 8, 4, bias + 1)}));
    }
    packets.append(packet(201, 2, {field("uinteger", 8, 1, 1)}));
    return {{"app_eui", kFieldsApp}, {"dev_type", "Fields"}, {"device_packets", packets},
            {"server_data", QJsonArray{datum("rssi", kRssiBias, 16)}}};
}

// The server data at one register size: ts at 0, rssi 2, snr 3, fcnt 5, gatewayId 7, devEui 11.
QJsonObject serverDataTemplate(int regBitSize)
{
    const QJsonArray data = {datum("ts", 0, regBitSize), datum("rssi", 2, regBitSize), datum("snr", 3, regBitSize),
                             datum("fcnt", 5, regBitSize), datum("gatewayId", 7, regBitSize),
                             datum("devEui", 11, regBitSize)};
    return {{"app_eui", QStringLiteral("F1A7C0DE000050%1").arg(regBitSize)}, {"dev_type", "Server data"},
            {"device_packets", QJsonArray{packet(kServerDataPacket, 1, {field("uinteger", 8, 0, 15)})}},
            {"server_data", data}};
}

QString serverDataDevice(int regBitSize)
{
    return QStringLiteral("00112233445566%1").arg(regBitSize);
}

DB::SDeviceRegDescription plainRegister(quint32 offset, double grating = 1.0, double start = 0.0)
{
    DB::SDeviceRegDescription reg;
    reg.name = QStringLiteral("r%1").arg(offset);
    reg.regAddr = offset;
    reg.bitSize = 16;
    reg.gratingPeriod = grating;
    reg.startValue = start;
    return reg;
}

} // namespace

class TestUplinkDecoder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void fieldsBecomeRegisters_data();
    void fieldsBecomeRegisters();
    void refusedFieldKeepsTheRest_data();
    void refusedFieldKeepsTheRest();
    void rejectedPacketSavesNothing_data();
    void rejectedPacketSavesNothing();
    void serverDataByRegisterSize_data();
    void serverDataByRegisterSize();

private:
    void writeTemplate(const QString &name, const QJsonObject &object);
    void publish(const QString &devEui, const QString &appEui, const QList<DB::SDeviceRegDescription> &regs);
    void receive(const QString &devEui, const QByteArray &payload, qint16 rssi = -113);
    QStringList registers(const QString &devEui, int from, int count);

    TestWorkDir m_workDir;
    QThread m_thread;
    CDataBaseHandler *m_store = nullptr;
    CAllDeviceHandler *m_registry = nullptr;
    LogSpy *m_log = nullptr;
    QSqlDatabase m_inspect;
    quint16 m_port = 0;
};

void TestUplinkDecoder::initTestCase()
{
    registerApiMetaTypes();
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());
    m_log = new LogSpy;
    m_store = CDataBaseHandler::getInstance();
    QVERIFY(m_store);
    m_store->moveToThread(&m_thread);
    m_thread.start();

    QVERIFY(QDir().mkdir(QStringLiteral("deviceFolder")));
    writeTemplate(QStringLiteral("fields.json"), fieldsTemplate());
    for (int size : {16, 32, 48, 64})
        writeTemplate(QStringLiteral("server%1.json").arg(size), serverDataTemplate(size));
    m_registry = CAllDeviceHandler::getInstance();
    m_port = freePort();

    QList<DB::SDeviceRegDescription> regs = {plainRegister(kRssiBias)};
    for (int i = 0; i < kFieldCases.size(); ++i) {
        regs.append(plainRegister(caseBias(i), kFieldCases.at(i).gratingPeriod, kFieldCases.at(i).startValue));
        for (int word = 1; word < kRegistersPerCase; ++word)
            regs.append(plainRegister(caseBias(i) + word));
    }
    for (int i = 0; i < kRefusedCases.size(); ++i) {
        regs.append(plainRegister(caseBias(kFieldCases.size() + i)));
        regs.append(plainRegister(caseBias(kFieldCases.size() + i) + 1));
    }
    publish(kFieldsDevice, kFieldsApp, regs);

    QList<DB::SDeviceRegDescription> serverRegs;
    for (quint32 offset = 0; offset < 16; ++offset)
        serverRegs.append(plainRegister(offset));
    for (int size : {16, 32, 48, 64})
        publish(serverDataDevice(size), serverDataTemplate(size).value("app_eui").toString(), serverRegs);

    m_inspect = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("inspect"));
    m_inspect.setDatabaseName(m_workDir.filePath(QStringLiteral("server.db")));
    QVERIFY(m_inspect.open());
}

void TestUplinkDecoder::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

void TestUplinkDecoder::writeTemplate(const QString &name, const QJsonObject &object)
{
    QFile file(QDir(QStringLiteral("deviceFolder")).filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(object).toJson());
}

void TestUplinkDecoder::publish(const QString &devEui, const QString &appEui,
                                const QList<DB::SDeviceRegDescription> &regs)
{
    const DB::SDeviceRegMapDescription device{devEui, appEui, devEui, kStartAddr, regs, m_port};
    QVERIFY(m_store->registerNewDevice(device, ProtocolOption::ModBus));
    m_registry->addNewDevice(device, ProtocolOption::ModBus);
}

void TestUplinkDecoder::receive(const QString &devEui, const QByteArray &payload, qint16 rssi)
{
    API::SApiDeviceData uplink;
    uplink.devEui = devEui;
    uplink.ts = Q_UINT64_C(1700000000123);
    uplink.gatewayId = QStringLiteral("0011223344556677");
    uplink.fcnt = 0x12345;
    uplink.rssi = rssi;
    uplink.snr = -9.5;
    uplink.data = QByteArray::fromHex(payload);
    uplink.valid = true;
    m_registry->newPacketReceivedSlot(uplink);
}

QStringList TestUplinkDecoder::registers(const QString &devEui, int from, int count)
{
    QSqlQuery query(m_inspect);
    query.prepare(QStringLiteral("SELECT dev_data.value, dev_data.full_value FROM dev_data JOIN devices "
                                 "ON dev_data.device = devices.device WHERE devices.dev_eui = ? "
                                 "AND dev_data.reg_addr = ?;"));
    QStringList texts;
    for (int offset = from; offset < from + count; ++offset) {
        query.addBindValue(devEui);
        query.addBindValue(kStartAddr + offset);
        if (!query.exec() || !query.next())
            return {QStringLiteral("no row at %1").arg(offset)};
        texts.append(query.value(0).toString() + QLatin1Char('|') + query.value(1).toString());
    }
    return texts;
}

void TestUplinkDecoder::fieldsBecomeRegisters_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < kFieldCases.size(); ++i)
        QTest::newRow(kFieldCases.at(i).name) << i;
}

void TestUplinkDecoder::fieldsBecomeRegisters()
{
    QFETCH(int, index);
    const SFieldCase &c = kFieldCases.at(index);
    QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
    const QByteArray payload = QByteArray::number(quint8(c.packetType), 16).rightJustified(2, '0') + c.bytes;

    receive(kFieldsDevice, payload);

    QStringList expected = c.registers;
    while (expected.size() < kRegistersPerCase)
        expected.append(QStringLiteral("|"));
    QCOMPARE(registers(kFieldsDevice, caseBias(index), kRegistersPerCase), expected);
    QCOMPARE(registers(kFieldsDevice, kRssiBias, 1), QStringList({"-071|-071"}));
    QCOMPARE(newData.count(), 1);
    QCOMPARE(newData.at(0).at(0).toString(), kFieldsDevice);
    const QString received = QStringLiteral("INFO: [CAllDeviceHandler::processDataSlot] Recived data [%1] from device "
                                            "[%2].").arg(QString::fromLatin1(payload), kFieldsDevice);
    QTRY_COMPARE(m_log->lines().filter(received).size(), 1);
}

void TestUplinkDecoder::refusedFieldKeepsTheRest_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < kRefusedCases.size(); ++i)
        QTest::newRow(kRefusedCases.at(i).name) << i;
}

void TestUplinkDecoder::refusedFieldKeepsTheRest()
{
    QFETCH(int, index);
    const SRefusedCase &c = kRefusedCases.at(index);
    m_log->forget();

    receive(kFieldsDevice, QByteArray::number(c.packetType, 16) + "0102032a", -5);

    QCOMPARE(registers(kFieldsDevice, caseBias(kFieldCases.size() + index), 2), QStringList({"|", "002a|002a"}));
    QCOMPARE(registers(kFieldsDevice, kRssiBias, 1), QStringList({"-005|-005"}));
    QTRY_COMPARE(m_log->lines().filter(QString::fromLatin1(c.log)).size(), 1);
}

void TestUplinkDecoder::rejectedPacketSavesNothing_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("log");

    const QString unknown = QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Uncknown packet type [%1]");
    QTest::newRow("unknown type") << QByteArray("63aa") << unknown.arg("99");
    QTest::newRow("one digit") << QByteArray("1e") << unknown.arg("30");
    QTest::newRow("zero filled") << QByteArray("00") << unknown.arg("00");
    QTest::newRow("negative") << QByteArray("f6") << unknown.arg("-10");
    QTest::newRow("201 is not 0xc9") << QByteArray("c901") << unknown.arg("-55");
    const QString size = QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Invalid size of packet "
                                        "[%1][%2]. Expect [%3], real [%4]");
    QTest::newRow("too long") << QByteArray("01010203") << size.arg("01", "01010203", "3", "4");
    QTest::newRow("too short") << QByteArray("0301") << size.arg("03", "0301", "5", "2");
    QTest::newRow("negative type") << QByteArray("c8") << size.arg("-56", "c8", "2", "1");
}

void TestUplinkDecoder::rejectedPacketSavesNothing()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, log);
    receive(kFieldsDevice, "0702", -113);
    m_log->forget();
    QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);

    receive(kFieldsDevice, payload, -5);

    QCOMPARE(registers(kFieldsDevice, kRssiBias, 1), QStringList({"-071|-071"}));
    QCOMPARE(newData.count(), 0);
    QTRY_COMPARE(m_log->lines().filter(log).size(), 1);
}

void TestUplinkDecoder::serverDataByRegisterSize_data()
{
    QTest::addColumn<int>("regBitSize");
    QTest::addColumn<QStringList>("expected");

    const QStringList head = {"6553|6553f100", "f100|", "-071|-071"};
    QTest::newRow("64 bits") << 64
                             << head + QStringList{"-000|-000000a", "000a|", "0001|00012345", "2345|",
                                                   "0011|0011223344556677", "2233|", "4455|", "6677|",
                                                   "0011|0011223344556664", "2233|", "4455|", "6664|"};
    QTest::newRow("48 bits") << 48
                             << head + QStringList{"-000|-000000a", "000a|", "0001|00012345", "2345|",
                                                   "2233|223344556677", "4455|", "6677|", "|",
                                                   "2233|223344556648", "4455|", "6648|", "|"};
    QTest::newRow("32 bits") << 32
                             << head + QStringList{"-000|-000000a", "000a|", "0001|00012345", "2345|",
                                                   "4455|44556677", "6677|", "|", "|",
                                                   "4455|44556632", "6632|", "|", "|"};
    QTest::newRow("16 bits") << 16
                             << head + QStringList{"000a|000a", "|", "2345|2345", "|",
                                                   "6677|6677", "|", "|", "|",
                                                   "6616|6616", "|", "|", "|"};
}

void TestUplinkDecoder::serverDataByRegisterSize()
{
    QFETCH(int, regBitSize);
    QFETCH(QStringList, expected);

    receive(serverDataDevice(regBitSize), "2a");

    QCOMPARE(registers(serverDataDevice(regBitSize), 0, 15), expected);
}

QTEST_GUILESS_MAIN(TestUplinkDecoder)
#include "tst_uplinkdecoder.moc"
