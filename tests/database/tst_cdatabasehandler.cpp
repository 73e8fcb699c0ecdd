#include "database/cdatabasehandler.h"
#include "logspy.h"
#include "testworkdir.h"

#include <QSqlError>
#include <QSqlRecord>
#include <QThread>
#include <QtTest>

using Words = QMap<quint16, quint16>;
using Values = QList<DB::SDbRegValue>;
constexpr auto ModBus = ProtocolOption::ModBus;
constexpr auto TCP = ProtocolOption::TCP;

namespace {
DB::SDeviceRegDescription reg(quint32 offset, quint32 bits, double start = 0.0, double grating = 1.0,
                              const QString &unit = "u")
{
    return {QStringLiteral("r%1").arg(offset), offset % 2, offset, bits, "integer", start, grating, unit};
}
} // namespace

class TestCDataBaseHandler : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    QThread m_thread;
    CDataBaseHandler *m_handler = nullptr;
    LogSpy *m_log = nullptr;
    QSqlDatabase m_inspect;

    bool add(const QString &devEui, ProtocolOption kind, quint32 startAddr = 0,
             const QList<DB::SDeviceRegDescription> &regs = {reg(0, 16)}, quint32 port = 5020)
    {
        return m_handler->registerNewDevice({devEui, "APP1", devEui.toLower(), startAddr, regs, port}, kind);
    }

    // Each row as "column|column|...", with NULL spelled out.
    QStringList rows(const QString &sql) const
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

    // A statement of the test's own, which must run and return no row.
    void exec(const QString &sql) const { QCOMPARE(rows(sql), QStringList()); }

    QStringList messages() { return m_log->takeLines(); }

    QStringList counts() const
    {
        return rows("SELECT (SELECT COUNT(*) FROM devices), (SELECT COUNT(*) FROM devicesTCP), "
                    "(SELECT COUNT(*) FROM dev_data);");
    }

    void save(const QString &devEui, quint32 startAddr, const Values &values)
    {
        const DB::SDbDeviceRegDataSet set{devEui, startAddr, values};
        QVERIFY(QMetaObject::invokeMethod(m_handler, "saveRegisterData", Qt::BlockingQueuedConnection,
                                          Q_ARG(DB::SDbDeviceRegDataSet, set)));
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
        m_log = new LogSpy;
        m_handler = CDataBaseHandler::getInstance();
        QVERIFY(m_handler);
        m_handler->moveToThread(&m_thread);
        m_thread.start();
        m_inspect = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("inspect"));
        m_inspect.setDatabaseName(m_workDir.filePath(QStringLiteral("server.db")));
        QVERIFY(m_inspect.open());
    }

    void init()
    {
        for (const char *table : {"devices", "devicesTCP", "dev_data", "sqlite_sequence"})
            exec(QStringLiteral("DELETE FROM %1;").arg(QLatin1String(table)));
        messages();
    }

    void cleanupTestCase()
    {
        m_thread.quit();
        m_thread.wait();
    }

    // Other tools read the file: the statements as SQLite keeps them, in the order they were made.
    void schemaOfANewFile()
    {
        const QStringList expected = {
            "devices|CREATE TABLE devices ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, name TEXT, "
            "app_eui TEXT, dev_eui TEXT, port INTEGER, start_addr INTEGER )",
            "devicesTCP|CREATE TABLE devicesTCP ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, "
            "name TEXT, app_eui TEXT, dev_eui TEXT, port INTEGER )",
            "dev_data|CREATE TABLE dev_data ( device INTEGER NOT NULL, port INTEGER, reg_addr INTEGER, "
            "start_value INTEGER, grating_period REAL, bit_size REAL, data_type TEXT, value TEXT DEFAULT NULL, "
            "full_value TEXT DEFAULT NULL, time INTEGER DEFAULT NULL, name TEXT DEFAULT NULL, "
            "unit TEXT DEFAULT NULL, parent INTEGER, source INTEGER )",
            "idx_eui|CREATE INDEX idx_eui ON devices ( dev_eui )",
            "idx_device|CREATE INDEX idx_device ON devices ( device )",
            "idx_euiTCP|CREATE INDEX idx_euiTCP ON devicesTCP ( dev_eui )",
            "idx_deviceTCP|CREATE INDEX idx_deviceTCP ON devicesTCP ( device )",
            "idx_dev_parent|CREATE INDEX idx_dev_parent ON dev_data ( device, parent )",
            "idx_dev_regaddr|CREATE INDEX idx_dev_regaddr ON dev_data ( device, reg_addr )",
            "idx_port_regaddr|CREATE INDEX idx_port_regaddr ON dev_data ( port, reg_addr )",
        };
        QCOMPARE(rows("SELECT name, sql FROM sqlite_master WHERE sql IS NOT NULL AND name <> 'sqlite_sequence' "
                      "ORDER BY rowid;"), expected);
    }

    void registrationStoresRows()
    {
        QVERIFY(add("70b3D5", ModBus, 100, {reg(5, 16, 2.5, 0.1, "C"), reg(0, 64), reg(5, 32), reg(3, 16)}));
        QVERIFY(add("tT01", TCP, 7, {reg(0, 16)}, 5030));
        QCOMPARE(rows("SELECT * FROM devices;"), QStringList("1|70b3d5|APP1|70b3D5|5020|100"));
        QCOMPARE(rows("SELECT * FROM devicesTCP;"), QStringList("1|tt01|APP1|tT01|5030"));
        QCOMPARE(rows("SELECT * FROM dev_data;"), QStringList({"1|5020|105|2.5|0.1|16|integer|NULL|NULL|NULL|r5|C|1|1",
                                                               "1|5020|100|0|1|64|integer|NULL|NULL|NULL|r0|u|1|0",
                                                               "1|5020|103|0|1|16|integer|NULL|NULL|NULL|r3|u|1|1"}));
        QCOMPARE(messages(), QStringList("WARNING: [CDataBaseHandler::registerNewDevice] "
                                         "Register [0x0069] for device [70b3D5] already exist!"));
        QCOMPARE(m_handler->getRegisteredDevices(ModBus) + m_handler->getRegisteredDevices(TCP),
                 QStringList({"70B3D5", "TT01"}));

        // The register list runs by address and leaves out rows that are not parents.
        exec("UPDATE dev_data SET parent=0 WHERE reg_addr=103;");
        QSqlQuery query = m_handler->getRegisters(1);
        QList<int> addresses;
        while (query.next())
            addresses.append(query.value(2).toInt());
        QCOMPARE(addresses, QList<int>({100, 105}));
    }

    void duplicates_data()
    {
        QTest::addColumn<ProtocolOption>("firstKind");
        QTest::addColumn<QString>("firstEui");
        QTest::addColumn<ProtocolOption>("secondKind");
        QTest::addColumn<QString>("secondEui");
        QTest::addColumn<QString>("logged");
        QTest::addColumn<QString>("afterwards"); // devices|devicesTCP|dev_data

        const QString exists = QStringLiteral("ERROR: [CDataBaseHandler::registerNewDevice] Device [AA01] "
                                              "already exist!");
        QTest::newRow("same table, ModBus") << ModBus << "AA01" << ModBus << "AA01" << exists << "1|0|1";
        QTest::newRow("same table, TCP") << TCP << "AA01" << TCP << "AA01" << exists << "0|1|0";
        QTest::newRow("other letter case") << ModBus << "aa01" << ModBus << "AA01" << "" << "2|0|2";
        QTest::newRow("ModBus, then TCP") << ModBus << "AA01" << TCP << "AA01" << "" << "1|1|1";
        QTest::newRow("quote in the EUI") << ModBus << "AA01" << ModBus << "A'1"
                                          << "[CDataBaseHandler::registerNewDevice] Invalid SQL request [1]" << "1|0|1";
    }

    void duplicates()
    {
        QFETCH(ProtocolOption, firstKind);
        QFETCH(QString, firstEui);
        QFETCH(ProtocolOption, secondKind);
        QFETCH(QString, secondEui);
        QFETCH(QString, logged);
        QFETCH(QString, afterwards);

        QVERIFY(add(firstEui, firstKind));
        QCOMPARE(add(secondEui, secondKind, 10), logged.isEmpty());
        QCOMPARE(messages(), logged.isEmpty() ? QStringList() : QStringList(logged));
        QCOMPARE(counts(), QStringList(afterwards));
    }

    void deleteDevice_data()
    {
        QTest::addColumn<quint32>("deviceId");
        QTest::addColumn<ProtocolOption>("kind");
        QTest::addColumn<bool>("registersRefused");
        QTest::addColumn<QString>("afterwards"); // devices|devicesTCP|dev_data

        QTest::newRow("ModBus device and its registers") << 1u << ModBus << false << "0|1|1";
        QTest::newRow("TCP device with the same id") << 1u << TCP << false << "1|0|3";
        QTest::newRow("unknown id") << 9u << ModBus << false << "1|1|3";
        // Registers left behind would still answer on the port: the device stays too.
        QTest::newRow("registers refused") << 1u << ModBus << true << "1|1|3";
    }

    void deleteDevice()
    {
        QFETCH(quint32, deviceId);
        QFETCH(ProtocolOption, kind);
        QFETCH(bool, registersRefused);
        QFETCH(QString, afterwards);

        QVERIFY(add("AA01", ModBus, 0, {reg(0, 16), reg(1, 16)}));
        QVERIFY(add("BB02", TCP));
        exec("INSERT INTO dev_data (device, reg_addr) VALUES (2, 0);");
        if (registersRefused)
            exec("CREATE TRIGGER keep BEFORE DELETE ON dev_data BEGIN SELECT RAISE(ABORT, 'kept'); END;");
        QCOMPARE(m_handler->deleteDevice(deviceId, kind), !registersRefused);
        if (registersRefused) {
            QCOMPARE(messages(), QStringList("[CDataBaseHandler::deleteDevice] Invalid SQL request [2]"));
            exec("DROP TRIGGER keep;");
        }
        QCOMPARE(counts(), QStringList(afterwards));
    }

    void getDevicesSearch_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("names");

        // A search text goes through QString::arg before the sort column, so a
        // leading 1 or 2 takes the sort column's marker and breaks the statement.
        QTest::newRow("empty: all, binary order") << ""
                                                  << QStringList({"Beta", "alpha", "beta2", "nameplate", "pump12"});
        QTest::newRow("LIKE ignores ASCII case") << "ET" << QStringList({"Beta", "beta2"});
        QTest::newRow("two leading digits") << "12" << QStringList("pump12");
        QTest::newRow("leading 1") << "1" << QStringList();
        QTest::newRow("leading 2") << "2x" << QStringList();
        QTest::newRow("leading 3 becomes the sort column") << "3" << QStringList("nameplate");
        QTest::newRow("double quote") << "a\"b" << QStringList();
    }

    void getDevicesSearch()
    {
        QFETCH(QString, search);
        QFETCH(QStringList, names);

        for (const char *name : {"pump12", "alpha", "nameplate", "beta2", "Beta"})
            QVERIFY(m_handler->registerNewDevice({name, "APP1", name, 0, {}, 5020}, ModBus));
        QVERIFY(add("nameTCP", TCP));
        QSqlQuery query = m_handler->getDevices(search, ModBus);
        QStringList found;
        while (query.next())
            found.append(query.value(1).toString());
        QCOMPARE(found, names);
        QCOMPARE(messages(), query.isActive() ? QStringList()
                                              : QStringList("[CDataBaseHandler::getDevices] Invalid SQL request [1]"));
        QCOMPARE(query.isActive(), !names.isEmpty());
    }

    void registerDataRoundTrip_data()
    {
        QTest::addColumn<quint32>("port");
        QTest::addColumn<quint32>("start");
        QTest::addColumn<quint32>("count");
        QTest::addColumn<Words>("words");

        QTest::newRow("16-bit rows, a lone byte is high") << 5020u << 100u << 2u << Words{{100, 255}, {101, 0xab00}};
        QTest::newRow("32-bit row") << 5020u << 102u << 2u << Words{{102, 258}, {103, 772}};
        QTest::newRow("wide row runs past the end") << 5020u << 102u << 1u << Words{{102, 258}, {103, 772}};
        QTest::newRow("start inside a wide row") << 5020u << 103u << 1u << Words{{103, 0}};
        QTest::newRow("short 64-bit value") << 5020u << 104u << 4u
                                            << Words{{104, 0x0102}, {105, 0x0304}, {106, 0}, {107, 0}};
        QTest::newRow("never written, and no row") << 5020u << 110u << 2u << Words{{110, 0}, {111, 0}};
        QTest::newRow("second device on the port") << 5020u << 200u << 1u << Words{{200, 0xbeef}};
        QTest::newRow("same address, other port") << 5021u << 100u << 1u << Words{{100, 7}};
        QTest::newRow("nothing asked") << 5020u << 100u << 0u << Words{};
    }

    void registerDataRoundTrip()
    {
        QFETCH(quint32, port);
        QFETCH(quint32, start);
        QFETCH(quint32, count);
        QFETCH(Words, words);

        QVERIFY(add("AA01", ModBus, 100, {reg(0, 16), reg(1, 16), reg(2, 32), reg(4, 64), reg(10, 16)}));
        QVERIFY(add("BB02", ModBus, 200));
        QVERIFY(add("CC03", ModBus, 100, {reg(0, 16)}, 5021));
        save("AA01", 100, {{"00ff", "00ff", 0}, {"ab00", "ab", 1}, {"0102", "01020304", 2}, {"0304", "", 3},
                           {"0102", "0102030405", 4}, {"0304", "", 5}});
        save("BB02", 200, {{"beef", "beef", 0}});
        save("CC03", 100, {{"0007", "0007", 0}});
        QCOMPARE(m_handler->getRegisterData(port, start, count), words);
        QCOMPARE(messages(), QStringList());
    }

    // Stored text is read as hex digits whatever its shape: an odd digit
    // stands alone at the front, anything else is passed over.
    void storedRowIsRead_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("bitSize");
        QTest::addColumn<Words>("words");

        QTest::newRow("upper case") << "ABCD" << 16 << Words{{100, 0xabcd}};
        QTest::newRow("odd digit count") << "abc" << 16 << Words{{100, 0x0abc}};
        QTest::newRow("other characters passed over") << "1 2" << 16 << Words{{100, 0x1200}};
        QTest::newRow("0x prefix") << "0x1f" << 16 << Words{{100, 0x001f}};
        QTest::newRow("null") << QString() << 16 << Words{{100, 0}};

        // A width from an older file can't make a read run past the address space:
        // the words stop after 65,536, so the first word is not written over again.
        Words everyAddress;
        for (int address = 0; address <= 0xffff; ++address)
            everyAddress.insert(address, address == 100 ? 0x0102 : 0);
        QTest::newRow("huge stored bit size is bounded") << "0102" << 2147483647 << everyAddress;
    }

    void storedRowIsRead()
    {
        QFETCH(QString, text);
        QFETCH(int, bitSize);
        QFETCH(Words, words);

        QVERIFY(add("AA01", ModBus, 100));
        const QString value = text.isNull() ? QStringLiteral("NULL") : QStringLiteral("'%1'").arg(text);
        exec(QStringLiteral("UPDATE dev_data SET bit_size=%1, full_value=%2;").arg(bitSize).arg(value));
        QCOMPARE(m_handler->getRegisterData(5020, 100, 1), words);
    }

    // A range polled again reads the file again, also after its first read
    // failed because the table was gone for a while.
    void repeatedReadFollowsTheFile()
    {
        QVERIFY(add("AA01", ModBus, 100));
        save("AA01", 100, {{"0001", "0001", 0}});
        exec("ALTER TABLE dev_data RENAME TO away;");
        // The first read finds the table gone as it runs, the second as it compiles.
        for (quint32 count : {1u, 2u}) {
            QCOMPARE(m_handler->getRegisterData(5020, 100, count), Words());
            QCOMPARE(messages(), QStringList({"ERROR: [CDataBaseHandler::getRegisterData] Invalid SQL request [1]",
                                              QStringLiteral("SELECT * FROM dev_data WHERE port=5020 AND reg_addr "
                                                             "BETWEEN 100 AND %1;").arg(99 + count)}));
        }
        exec("ALTER TABLE away RENAME TO dev_data;");
        QCOMPARE(m_handler->getRegisterData(5020, 100, 2), Words({{100, 1}, {101, 0}}));

        save("AA01", 100, {{"0002", "0002", 0}});
        QCOMPARE(m_handler->getRegisterData(5020, 100, 1), Words({{100, 2}}));
        exec("UPDATE dev_data SET full_value='0003';");
        QCOMPARE(m_handler->getRegisterData(5020, 100, 1), Words({{100, 3}}));
        QCOMPARE(messages(), QStringList());
    }

    void saveWritesValuesOnly()
    {
        QVERIFY(add("AA01", ModBus, 100, {reg(0, 32), reg(1, 16), reg(2, 16)}));
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        // The later word of a wide value lands on a register that owns its address.
        save("AA01", 100, {{"0001", "00010002", 0}, {"0002", "", 1}});
        const qint64 after = QDateTime::currentMSecsSinceEpoch();
        QCOMPARE(rows("SELECT reg_addr, value, full_value, start_value, grating_period, time IS NULL FROM dev_data;"),
                 QStringList({"100|0001|00010002|0|1|0", "101|0002|NULL|0|1|0", "102|NULL|NULL|0|1|1"}));
        const QString written = QStringLiteral("SELECT COUNT(*) FROM dev_data WHERE time BETWEEN %1 AND %2;");
        QCOMPARE(rows(written.arg(before).arg(after)), QStringList("2"));
    }

    void saveForUnknownDeviceWritesNothing_data()
    {
        QTest::addColumn<QString>("devEui");
        QTest::addColumn<Values>("values");
        QTest::addColumn<QString>("logged");

        const Values one = {{"0001", "0001", 0}};
        const QString unknown = QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [%1]");
        QTest::newRow("empty set") << "AA01" << Values()
                                   << "INFO: [CDataBaseHandler::saveRegisterData] Empty input data";
        QTest::newRow("unknown EUI") << "FF09" << one << unknown.arg("FF09");
        QTest::newRow("other letter case") << "aa01" << one << unknown.arg("aa01");
        QTest::newRow("a TCP device") << "TT01" << one << unknown.arg("TT01");
        QTest::newRow("device id 0") << "ZERO" << one
                                     << "ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [ID=0] [ZERO]";
    }

    void saveForUnknownDeviceWritesNothing()
    {
        QFETCH(QString, devEui);
        QFETCH(Values, values);
        QFETCH(QString, logged);

        QVERIFY(add("AA01", ModBus));
        QVERIFY(add("TT01", TCP));
        exec("INSERT INTO devices (device, dev_eui) VALUES (0, 'ZERO');");
        exec("INSERT INTO dev_data (device, reg_addr) VALUES (0, 0);");
        save(devEui, 0, values);
        QCOMPARE(messages(), QStringList(logged));
        QCOMPARE(rows("SELECT COUNT(*) FROM dev_data WHERE value IS NOT NULL;"), QStringList("0"));
    }

    void registerParamAndEdits()
    {
        QVERIFY(add("AA01", ModBus, 100, {reg(0, 16), reg(1, 16, -40.0, 0.5, "C")}));
        QVERIFY(add("TT01", TCP));
        const auto param = [this](const QString &devEui, quint32 address) {
            const DB::SRegisterParam p = m_handler->getRegisterParam(devEui, address);
            return QStringLiteral("%1|%2|%3|%4").arg(p.regAddr).arg(p.startValue).arg(p.gratingPeriod).arg(p.unit);
        };
        QCOMPARE(param("AA01", 101), QStringLiteral("101|-40|0.5|C"));
        QCOMPARE(messages(), QStringList());
        // The look-up stops at its first row, and still lets another writer in.
        exec("UPDATE dev_data SET unit=unit;");
        QCOMPARE(param("BB02", 101), QStringLiteral("0|0|1|"));
        QCOMPARE(messages(), QStringList({"ERROR: [CDataBaseHandler::getRegisterParam] Register is not exist!",
                                          "SELECT * FROM dev_data WHERE dev_data.device IN ( SELECT devices.device "
                                          "FROM devices WHERE devices.dev_eui=:dev_eui ) "
                                          "AND dev_data.reg_addr=:reg_addr;"}));

        m_handler->updateRegInfo({1, 0, {{100, 2.5, 10.0, "kPa"}, {150, 1.0, 1.0, "x"}}});
        m_handler->updateRegInfoTCP({1, 6000, {}});
        QCOMPARE(rows("SELECT reg_addr, start_value, grating_period, unit FROM dev_data;"),
                 QStringList({"100|2.5|10|kPa", "101|-40|0.5|C"}));
        QCOMPARE(rows("SELECT port FROM devicesTCP UNION ALL SELECT port FROM devices;"),
                 QStringList({"6000", "5020"}));
        QCOMPARE(messages(), QStringList());
    }

    // Opt-in decimals stand in a table of their own, made only when first given.
    void decimalsLiveBesideTheRegisters()
    {
        const QString table = QStringLiteral("SELECT * FROM dev_data_decimals ORDER BY device, reg_addr;");
        QVERIFY(add("AA01", ModBus, 100, {reg(0, 16), reg(1, 16)}));
        m_handler->updateRegInfo({1, 0, {{100, 2.5, 10.0, "kPa", 0}}, true});
        QCOMPARE(rows("SELECT count(*) FROM sqlite_master WHERE name = 'dev_data_decimals';"), QStringList("0"));

        DB::SDeviceRegDescription kept = reg(2, 16);
        kept.decimals = 2;
        QVERIFY(add("BB02", ModBus, 200, {kept, reg(3, 16)}));
        QCOMPARE(rows(table), QStringList("2|202|2"));
        QCOMPARE(m_handler->getRegisterParam("BB02", 202).decimals, 2);
        QCOMPARE(m_handler->getRegisterParam("BB02", 203).decimals, 0);

        // An edit without decimals keeps them; one with them replaces, clamps and removes.
        QVERIFY(m_handler->updateRegInfo({2, 0, {{202, 0.0, 1.0, "u", 0}}}));
        QCOMPARE(rows(table), QStringList("2|202|2"));
        QVERIFY(m_handler->updateRegInfo({2, 0, {{202, 0.0, 1.0, "u", 0}, {203, 0.0, 1.0, "u", 9}}, true}));
        QCOMPARE(rows(table), QStringList("2|203|4"));
        QCOMPARE(m_handler->getRegisterDecimals(2), (QMap<quint32, int>{{203, 4}}));
        QCOMPARE(m_handler->getRegisterParam("BB02", 203).decimals, 4);

        QVERIFY(m_handler->deleteDevice(2, ModBus));
        QCOMPARE(rows(table), QStringList());
        QCOMPARE(m_handler->getRegisterDecimals(2), (QMap<quint32, int>()));
        QCOMPARE(messages(), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestCDataBaseHandler)
#include "tst_cdatabasehandler.moc"
