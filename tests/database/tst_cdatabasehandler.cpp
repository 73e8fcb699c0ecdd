#include "core/clogfile.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "testworkdir.h"

#include <QSqlError>
#include <QSqlRecord>
#include <QThread>
#include <QtTest>

using Words = QMap<quint16, quint16>;

namespace {

DB::SDeviceRegDescription reg(quint32 offset, quint32 bits, const QString &name = QStringLiteral("r"))
{
    return {name, 0, offset, bits, QStringLiteral("integer"), 0.0, 1.0, QStringLiteral("u")};
}

DB::SDeviceRegMapDescription device(const QString &devEui, quint32 port, quint32 startAddr,
                                    const QList<DB::SDeviceRegDescription> &regs = {reg(0, 16)})
{
    return {devEui, QStringLiteral("APP1"), QStringLiteral("n-") + devEui, startAddr, regs, port};
}

DB::SDbDeviceRegDataSet dataSet(const QString &devEui, quint32 startAddr, const QList<DB::SDbRegValue> &regs)
{
    return {devEui, startAddr, regs};
}

} // namespace

class TestCDataBaseHandler : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void newFileGetsSchema();
    void registrationStoresRows();
    void duplicates_data();
    void duplicates();
    void deleteDevice_data();
    void deleteDevice();
    void getDevicesSearch_data();
    void getDevicesSearch();
    void registerListsAndEuis();
    void registerDataRoundTrip_data();
    void registerDataRoundTrip();
    void saveWritesValuesOnly();
    void saveForUnknownDeviceWritesNothing_data();
    void saveForUnknownDeviceWritesNothing();
    void registerParamAndEdits();

private:
    QStringList rows(const QString &sql) const;
    QStringList messages();
    void save(const DB::SDbDeviceRegDataSet &set);

    TestWorkDir m_workDir;
    QThread m_thread;
    CDataBaseHandler *m_handler = nullptr;
    QSignalSpy *m_logSpy = nullptr;
    QSqlDatabase m_inspect;
};

void TestCDataBaseHandler::initTestCase()
{
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(QStringLiteral("settings.conf"));
    m_logSpy = new QSignalSpy(CLogFile::getInstance(QStringLiteral("history"), QString()), &CLogFile::addLogSignal);
    m_handler = CDataBaseHandler::getInstance();
    QVERIFY(m_handler);
    m_handler->moveToThread(&m_thread);
    m_thread.start();
    m_inspect = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("inspect"));
    m_inspect.setDatabaseName(m_workDir.filePath(QStringLiteral("server.db")));
    QVERIFY(m_inspect.open());
}

void TestCDataBaseHandler::init()
{
    QSqlQuery query(m_inspect);
    for (const char *table : {"devices", "devicesTCP", "dev_data", "sqlite_sequence"})
        QVERIFY(query.exec(QStringLiteral("DELETE FROM %1;").arg(QLatin1String(table))));
    messages();
    m_logSpy->clear();
}

void TestCDataBaseHandler::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

// Each row as "col|col|...", NULL spelled out.
QStringList TestCDataBaseHandler::rows(const QString &sql) const
{
    QSqlQuery query(m_inspect);
    if (!query.exec(sql))
        return {QStringLiteral("failed: ") + query.lastError().text()};
    QStringList result;
    while (query.next()) {
        QStringList columns;
        for (int i = 0; i < query.record().count(); ++i)
            columns.append(query.isNull(i) ? QStringLiteral("NULL") : query.value(i).toString());
        result.append(columns.join('|'));
    }
    return result;
}

// Logged messages without their time stamps.
QStringList TestCDataBaseHandler::messages()
{
    QCoreApplication::processEvents();
    QStringList result;
    for (const QList<QVariant> &arguments : *m_logSpy) {
        const QString line = arguments.at(0).toString();
        result.append(line.mid(line.indexOf(']') + 1));
    }
    return result;
}

void TestCDataBaseHandler::save(const DB::SDbDeviceRegDataSet &set)
{
    QVERIFY(QMetaObject::invokeMethod(m_handler, "saveRegisterData", Qt::BlockingQueuedConnection,
                                      Q_ARG(DB::SDbDeviceRegDataSet, set)));
}

void TestCDataBaseHandler::newFileGetsSchema()
{
    QCOMPARE(rows(QStringLiteral("SELECT name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%';")), QStringList({
        "devices|CREATE TABLE devices ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, name TEXT, "
        "app_eui TEXT, dev_eui TEXT, port INTEGER, start_addr INTEGER )",
        "devicesTCP|CREATE TABLE devicesTCP ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, name TEXT, "
        "app_eui TEXT, dev_eui TEXT, port INTEGER )",
        "dev_data|CREATE TABLE dev_data ( device INTEGER NOT NULL, port INTEGER, reg_addr INTEGER, "
        "start_value INTEGER, grating_period REAL, bit_size REAL, data_type TEXT, value TEXT DEFAULT NULL, "
        "full_value TEXT DEFAULT NULL, time INTEGER DEFAULT NULL, name TEXT DEFAULT NULL, unit TEXT DEFAULT NULL, "
        "parent INTEGER, source INTEGER )",
        "idx_eui|CREATE INDEX idx_eui ON devices ( dev_eui )",
        "idx_device|CREATE INDEX idx_device ON devices ( device )",
        "idx_euiTCP|CREATE INDEX idx_euiTCP ON devicesTCP ( dev_eui )",
        "idx_deviceTCP|CREATE INDEX idx_deviceTCP ON devicesTCP ( device )",
        "idx_dev_parent|CREATE INDEX idx_dev_parent ON dev_data ( device, parent )",
        "idx_dev_regaddr|CREATE INDEX idx_dev_regaddr ON dev_data ( device, reg_addr )",
        "idx_port_regaddr|CREATE INDEX idx_port_regaddr ON dev_data ( port, reg_addr )",
    }));
}

void TestCDataBaseHandler::registrationStoresRows()
{
    const DB::SDeviceRegDescription temperature = {QStringLiteral("temp"), 1, 5, 16, QStringLiteral("integer"), 2.5, 0.1, QStringLiteral("C")};
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("70B3D5"), 5020, 100, {temperature, reg(0, 64, "ts"), reg(5, 32, "dup")}),
                                         ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("TCP1"), 5030, 7, {reg(0, 16)}), ProtocolOption::TCP));

    QCOMPARE(rows(QStringLiteral("SELECT * FROM devices;")), QStringList({"1|n-70B3D5|APP1|70B3D5|5020|100"}));
    QCOMPARE(rows(QStringLiteral("SELECT * FROM devicesTCP;")), QStringList({"1|n-TCP1|APP1|TCP1|5030"}));
    QCOMPARE(rows(QStringLiteral("SELECT * FROM dev_data;")), QStringList({
        "1|5020|105|2.5|0.1|16|integer|NULL|NULL|NULL|temp|C|1|1",
        "1|5020|100|0|1|64|integer|NULL|NULL|NULL|ts|u|1|0",
    }));
    QCOMPARE(messages(), QStringList({"WARNING: [CDataBaseHandler::registerNewDevice] Register [0x0069] for device [70B3D5] already exist!"}));
}

void TestCDataBaseHandler::duplicates_data()
{
    QTest::addColumn<ProtocolOption>("firstKind");
    QTest::addColumn<QString>("firstEui");
    QTest::addColumn<ProtocolOption>("secondKind");
    QTest::addColumn<QString>("secondEui");
    QTest::addColumn<QString>("logged");

    const auto modbus = ProtocolOption::ModBus;
    const auto tcp = ProtocolOption::TCP;
    const QString exists = QStringLiteral("ERROR: [CDataBaseHandler::registerNewDevice] Device [AA01] already exist!");
    QTest::newRow("same table, ModBus") << modbus << "AA01" << modbus << "AA01" << exists;
    QTest::newRow("same table, TCP") << tcp << "AA01" << tcp << "AA01" << exists;
    QTest::newRow("other letter case") << modbus << "aa01" << modbus << "AA01" << QString();
    QTest::newRow("ModBus, then TCP") << modbus << "AA01" << tcp << "AA01" << QString();
    QTest::newRow("TCP, then ModBus") << tcp << "AA01" << modbus << "AA01" << QString();
    QTest::newRow("quote in the EUI") << modbus << "AA01" << modbus << "A'1"
                                      << "[CDataBaseHandler::registerNewDevice] Invalid SQL request [1]";
}

void TestCDataBaseHandler::duplicates()
{
    QFETCH(ProtocolOption, firstKind);
    QFETCH(QString, firstEui);
    QFETCH(ProtocolOption, secondKind);
    QFETCH(QString, secondEui);
    QFETCH(QString, logged);

    QVERIFY(m_handler->registerNewDevice(device(firstEui, 5020, 0), firstKind));
    const bool stored = logged.isEmpty();
    QCOMPARE(m_handler->registerNewDevice(device(secondEui, 5021, 10), secondKind), stored);
    QCOMPARE(messages(), stored ? QStringList() : QStringList(logged));

    const int modbusDevices = (firstKind == ProtocolOption::ModBus) + (stored && secondKind == ProtocolOption::ModBus);
    QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM devices;")), QStringList(QString::number(modbusDevices)));
    QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM dev_data;")), QStringList(QString::number(modbusDevices)));
    QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM devicesTCP;")), QStringList(QString::number(1 + stored - modbusDevices)));
}

void TestCDataBaseHandler::deleteDevice_data()
{
    QTest::addColumn<quint32>("deviceId");
    QTest::addColumn<ProtocolOption>("kind");
    QTest::addColumn<QString>("remaining");

    QTest::newRow("ModBus device and its registers") << 1u << ProtocolOption::ModBus << "0|1|1";
    QTest::newRow("TCP device, same id") << 1u << ProtocolOption::TCP << "1|0|3";
    QTest::newRow("unknown id") << 9u << ProtocolOption::ModBus << "1|1|3";
}

void TestCDataBaseHandler::deleteDevice()
{
    QFETCH(quint32, deviceId);
    QFETCH(ProtocolOption, kind);
    QFETCH(QString, remaining);

    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("AA01"), 5020, 0, {reg(0, 16), reg(1, 16)}), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("BB02"), 5030, 0), ProtocolOption::TCP));
    // A register row of another id, which no delete of device 1 may touch.
    QVERIFY(QSqlQuery(m_inspect).exec(QStringLiteral("INSERT INTO dev_data (device, reg_addr) VALUES (2, 0);")));

    QVERIFY(m_handler->deleteDevice(deviceId, kind));
    QCOMPARE(rows(QStringLiteral("SELECT (SELECT COUNT(*) FROM devices), (SELECT COUNT(*) FROM devicesTCP), "
                                 "(SELECT COUNT(*) FROM dev_data);")),
             QStringList(remaining));
}

void TestCDataBaseHandler::getDevicesSearch_data()
{
    QTest::addColumn<QString>("search");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<bool>("failed");

    QTest::newRow("empty: all, binary order") << "" << QStringList({"Beta", "alpha", "beta2", "nameplate", "pump12"}) << false;
    QTest::newRow("LIKE ignores ASCII case") << "ET" << QStringList({"Beta", "beta2"}) << false;
    QTest::newRow("two leading digits") << "12" << QStringList({"pump12"}) << false;
    QTest::newRow("leading 1 takes a marker") << "1" << QStringList() << true;
    QTest::newRow("leading 2 takes a marker") << "2x" << QStringList() << true;
    QTest::newRow("leading 3 is the sort column") << "3" << QStringList({"nameplate"}) << false;
    QTest::newRow("double quote") << "a\"b" << QStringList() << true;
}

void TestCDataBaseHandler::getDevicesSearch()
{
    QFETCH(QString, search);
    QFETCH(QStringList, names);
    QFETCH(bool, failed);

    for (const char *name : {"pump12", "alpha", "nameplate", "beta2", "Beta"}) {
        DB::SDeviceRegMapDescription entry = device(QLatin1String(name), 5020, 0, {});
        entry.name = QLatin1String(name);
        QVERIFY(m_handler->registerNewDevice(entry, ProtocolOption::ModBus));
    }
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("T1"), 5030, 0), ProtocolOption::TCP));

    QSqlQuery query = m_handler->getDevices(search, ProtocolOption::ModBus);
    QStringList found;
    while (query.next())
        found.append(query.value(1).toString());
    QCOMPARE(found, names);
    QCOMPARE(messages(), failed ? QStringList("[CDataBaseHandler::getDevices] Invalid SQL request [1]") : QStringList());

    query = m_handler->getDevices(QString(), ProtocolOption::TCP);
    QVERIFY(query.next());
    QCOMPARE(query.record().count(), 5);
    QCOMPARE(query.value(1).toString(), QStringLiteral("n-T1"));
}

void TestCDataBaseHandler::registerListsAndEuis()
{
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("aa01"), 5020, 0, {reg(7, 16), reg(2, 16), reg(5, 32)}), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("Bb02"), 5020, 100), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("cC03"), 5030, 0), ProtocolOption::TCP));
    QVERIFY(QSqlQuery(m_inspect).exec(QStringLiteral("UPDATE dev_data SET parent=0 WHERE reg_addr=5;")));

    QSqlQuery query = m_handler->getRegisters(1);
    QList<int> addresses;
    while (query.next())
        addresses.append(query.value(2).toInt());
    QCOMPARE(addresses, QList<int>({2, 7}));
    QCOMPARE(query.record().count(), 14);

    QStringList modbusEuis = m_handler->getRegisteredDevices(ProtocolOption::ModBus);
    modbusEuis.sort();
    QCOMPARE(modbusEuis, QStringList({"AA01", "BB02"}));
    QCOMPARE(m_handler->getRegisteredDevices(ProtocolOption::TCP), QStringList({"CC03"}));
}

void TestCDataBaseHandler::registerDataRoundTrip_data()
{
    QTest::addColumn<quint32>("port");
    QTest::addColumn<quint32>("start");
    QTest::addColumn<quint32>("count");
    QTest::addColumn<Words>("words");

    QTest::newRow("16-bit rows, one byte is the high one") << 5020u << 100u << 2u << Words{{100, 255}, {101, 0xab00}};
    QTest::newRow("32-bit row") << 5020u << 102u << 2u << Words{{102, 258}, {103, 772}};
    QTest::newRow("wide row runs past the end") << 5020u << 102u << 1u << Words{{102, 258}, {103, 772}};
    QTest::newRow("start inside a wide row") << 5020u << 103u << 1u << Words{{103, 0}};
    QTest::newRow("short 64-bit value") << 5020u << 104u << 4u << Words{{104, 0x0102}, {105, 0x0304}, {106, 0}, {107, 0}};
    QTest::newRow("never written, and no row") << 5020u << 110u << 2u << Words{{110, 0}, {111, 0}};
    QTest::newRow("second device on the port") << 5020u << 200u << 1u << Words{{200, 0xbeef}};
    QTest::newRow("same address, other port") << 5021u << 100u << 1u << Words{{100, 7}};
    QTest::newRow("nothing asked") << 5020u << 100u << 0u << Words{};
}

void TestCDataBaseHandler::registerDataRoundTrip()
{
    QFETCH(quint32, port);
    QFETCH(quint32, start);
    QFETCH(quint32, count);
    QFETCH(Words, words);

    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("AA01"), 5020, 100, {reg(0, 16), reg(1, 16), reg(2, 32), reg(4, 64), reg(10, 16)}), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("BB02"), 5020, 200), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("CC03"), 5021, 100), ProtocolOption::ModBus));
    save(dataSet(QStringLiteral("AA01"), 100, {{"00ff", "00ff", 0}, {"ab00", "ab", 1}, {"0102", "01020304", 2}, {"0304", "", 3},
                                              {"0102", "0102030405", 4}, {"0304", "", 5}}));
    save(dataSet(QStringLiteral("BB02"), 200, {{"beef", "beef", 0}}));
    save(dataSet(QStringLiteral("CC03"), 100, {{"0007", "0007", 0}}));

    QCOMPARE(m_handler->getRegisterData(port, start, count), words);
    QCOMPARE(messages(), QStringList());
}

void TestCDataBaseHandler::saveWritesValuesOnly()
{
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("AA01"), 5020, 100, {reg(0, 32), reg(1, 16), reg(2, 16)}), ProtocolOption::ModBus));
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    save(dataSet(QStringLiteral("AA01"), 100, {{"0001", "00010002", 0}, {"0002", "", 1}}));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();

    // The later word of the wide value lands on the register that owns its address.
    QCOMPARE(rows(QStringLiteral("SELECT reg_addr, value, full_value, start_value, grating_period FROM dev_data;")),
             QStringList({"100|0001|00010002|0|1", "101|0002|NULL|0|1", "102|NULL|NULL|0|1"}));
    const QStringList times = rows(QStringLiteral("SELECT time FROM dev_data WHERE time IS NOT NULL;"));
    QCOMPARE(times.size(), 2);
    for (const QString &time : times)
        QVERIFY(time.toLongLong() >= before && time.toLongLong() <= after);
}

void TestCDataBaseHandler::saveForUnknownDeviceWritesNothing_data()
{
    QTest::addColumn<QString>("devEui");
    QTest::addColumn<bool>("empty");
    QTest::addColumn<QString>("logged");

    const QString unknown = QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [%1]");
    QTest::newRow("empty set") << "AA01" << true << "INFO: [CDataBaseHandler::saveRegisterData] Empty input data";
    QTest::newRow("unknown EUI") << "FF09" << false << unknown.arg("FF09");
    QTest::newRow("other letter case") << "aa01" << false << unknown.arg("aa01");
    QTest::newRow("a TCP device") << "TT01" << false << unknown.arg("TT01");
    QTest::newRow("device id 0") << "ZERO" << false
                                 << "ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [ID=0] [ZERO]";
}

void TestCDataBaseHandler::saveForUnknownDeviceWritesNothing()
{
    QFETCH(QString, devEui);
    QFETCH(bool, empty);
    QFETCH(QString, logged);

    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("AA01"), 5020, 0), ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("TT01"), 5030, 0), ProtocolOption::TCP));
    QVERIFY(QSqlQuery(m_inspect).exec(QStringLiteral("INSERT INTO devices (device, dev_eui) VALUES (0, 'ZERO');")));
    QVERIFY(QSqlQuery(m_inspect).exec(QStringLiteral("INSERT INTO dev_data (device, reg_addr) VALUES (0, 0);")));

    save(dataSet(devEui, 0, empty ? QList<DB::SDbRegValue>() : QList<DB::SDbRegValue>{{"0001", "0001", 0}}));
    QCOMPARE(messages(), QStringList(logged));
    QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM dev_data WHERE value IS NOT NULL;")), QStringList("0"));
}

void TestCDataBaseHandler::registerParamAndEdits()
{
    DB::SDeviceRegMapDescription entry = device(QStringLiteral("AA01"), 5020, 100, {reg(0, 16), reg(1, 16)});
    entry.regs[1] = {QStringLiteral("t"), 1, 1, 16, QStringLiteral("integer"), -40.0, 0.5, QStringLiteral("C")};
    QVERIFY(m_handler->registerNewDevice(entry, ProtocolOption::ModBus));
    QVERIFY(m_handler->registerNewDevice(device(QStringLiteral("TT01"), 5030, 0), ProtocolOption::TCP));

    DB::SRegisterParam param = m_handler->getRegisterParam(QStringLiteral("AA01"), 101);
    QCOMPARE(param.regAddr, 101u);
    QCOMPARE(param.startValue, -40.0);
    QCOMPARE(param.gratingPeriod, 0.5);
    QCOMPARE(param.unit, QStringLiteral("C"));
    QCOMPARE(messages(), QStringList());

    // Known address of an unknown EUI: defaults, and the statement in the log.
    param = m_handler->getRegisterParam(QStringLiteral("BB02"), 101);
    QCOMPARE(param.regAddr, 0u);
    QCOMPARE(param.startValue, 0.0);
    QCOMPARE(param.gratingPeriod, 1.0);
    QCOMPARE(param.unit, QString());
    QCOMPARE(messages(), QStringList({"ERROR: [CDataBaseHandler::getRegisterParam] Register is not exist!",
                                      "SELECT * FROM dev_data WHERE dev_data.device IN ( SELECT devices.device FROM devices "
                                      "WHERE devices.dev_eui=:dev_eui ) AND dev_data.reg_addr=:reg_addr;"}));
    m_logSpy->clear();

    m_handler->updateRegInfo({1, 0, {{100, 2.5, 10.0, QStringLiteral("kPa")}, {150, 1.0, 1.0, QStringLiteral("x")}}});
    m_handler->updateRegInfoTCP({1, 6000, {}});
    QCOMPARE(rows(QStringLiteral("SELECT reg_addr, start_value, grating_period, unit FROM dev_data;")),
             QStringList({"100|2.5|10|kPa", "101|-40|0.5|C"}));
    QCOMPARE(rows(QStringLiteral("SELECT port FROM devicesTCP UNION ALL SELECT port FROM devices;")), QStringList({"6000", "5020"}));
    QCOMPARE(messages(), QStringList());
}

QTEST_GUILESS_MAIN(TestCDataBaseHandler)
#include "tst_cdatabasehandler.moc"
