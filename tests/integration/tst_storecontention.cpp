#include "core/cstatusboard.h"
#include "database/cdatabasehandler.h"
#include "database/storeschema.h"
#include "devices/calldevicehandler.h"
#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QtTest>

#include <memory>

namespace {

const QString kSensor = QStringLiteral("70B3D5000000C001");
const QString kClimate = QStringLiteral("F1A7C0DE00000101");
constexpr quint32 kStart = 1000;
constexpr quint16 kTemperature = 1010;    // scaled by 0.5, plus 10
constexpr quint16 kHumidity = 1011;

const QString kBusy = QStringLiteral("WARNING: [CDataBaseHandler::saveRegisterData] The register file is busy "
                                     "(database is locked): uplinks wait in memory until it is free.");

// The temperature and humidity words of a climate uplink.
QString climatePayload(quint16 temperature, quint16 humidity)
{
    const auto word = [](quint16 value) { return QStringLiteral("%1").arg(value, 4, 16, QLatin1Char('0')); };
    return QLatin1String("01") + word(temperature) + word(humidity) + QLatin1String("f63e0c");
}

} // namespace

// The register file shared with other programs: one that holds it locked, or
// refuses a write halfway, must never make the bridge store a wrong value,
// store half an uplink, or stall the ModBus clients.
class TestStoreContention : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    CAllDeviceHandler *m_registry = nullptr;
    LogSpy *m_log = nullptr;
    QSqlDatabase m_other;   // the other program
    quint16 m_port = 0;
    quint16 m_statusPort = 0;

    void pushUplink(quint16 temperature, quint16 humidity)
    {
        API::SApiDeviceData uplink;
        uplink.devEui = kSensor;
        uplink.data = QByteArray::fromHex(climatePayload(temperature, humidity).toLatin1());
        uplink.valid = true;
        m_registry->newPacketReceivedSlot(uplink);
    }

    QByteArray readTwo(quint16 port, quint16 start)
    {
        return exchange(port, modbusRequest(1, 1, 3, start, 2), 9).toHex();
    }

    static quint16 status(quint16 address)
    {
        return CStatusBoard::getInstance()->read(address, 1).value(address);
    }

    bool other(const QString &sql)
    {
        return QSqlQuery(m_other).exec(sql);
    }

    // Every stored value with its time.
    QStringList rows()
    {
        QSqlQuery query(m_other);
        QStringList result;
        if (!query.exec(QStringLiteral("SELECT reg_addr, value, full_value, time FROM dev_data ORDER BY reg_addr;")))
            return {query.lastError().text()};
        while (query.next()) {
            result.append(QStringLiteral("%1 %2 %3 %4").arg(query.value(0).toString(), query.value(1).toString(),
                                                            query.value(2).toString(), query.value(3).toString()));
        }
        return result;
    }

private slots:
    void initTestCase()
    {
        m_log = new LogSpy;
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        m_registry = CAllDeviceHandler::getInstance();
        m_port = freePort();
        QVERIFY(ProgramCore::publishDevice(ProgramCore::deviceOf(kSensor, kClimate, QStringLiteral("sensor"), kStart,
                                                                 m_port, ProtocolOption::ModBus),
                                           ProtocolOption::ModBus));
        m_statusPort = freePort();
        m_registry->openStatusPort(m_statusPort);

        m_other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        m_other.setDatabaseName(m_workDir.filePath(FileName::database));
        QVERIFY(m_other.open());
        QVERIFY(other(QStringLiteral("UPDATE dev_data SET grating_period = 0.5, start_value = 10 "
                                     "WHERE reg_addr = %1;").arg(kTemperature)));
    }

    void cleanupTestCase()
    {
        m_core.reset();
    }

    void uplinkWaitsOutALock_data()
    {
        QTest::addColumn<bool>("exclusive");
        QTest::addColumn<quint16>("raw");
        QTest::addColumn<QByteArray>("readWhileLocked");

        // A writer that has not committed yet still lets readers read.
        QTest::newRow("immediate") << false << quint16(512) << QByteArray("00010000000701030400000000");
        // An exclusive one does not: the client hears a server device failure at once.
        QTest::newRow("exclusive") << true << quint16(600) << QByteArray("000100000003018304");
    }

    void uplinkWaitsOutALock()
    {
        QFETCH(bool, exclusive);
        QFETCH(quint16, raw);
        QFETCH(QByteArray, readWhileLocked);
        QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
        const quint16 waitedBefore = status(StatusBlock::UplinksDelayed + 1);
        QVERIFY(other(QStringLiteral("UPDATE dev_data SET full_value = NULL, value = NULL;")));
        m_log->forget();

        QVERIFY(other(QLatin1String(exclusive ? StoreSchema::kBeginExclusiveSql : StoreSchema::kBeginWriteSql)));
        pushUplink(raw, 0x0202);
        QTRY_COMPARE(status(StatusBlock::UplinksWaiting), quint16(1));
        QCOMPARE(readTwo(m_port, kTemperature), readWhileLocked);
        // The status registers never wait for the file.
        QCOMPARE(readTwo(m_statusPort, StatusBlock::UplinksWaiting), QByteArray("0001000000070103040001") + "0000");
        QCOMPARE(newData.count(), 0);

        QVERIFY(other(QLatin1String(StoreSchema::kRollbackSql)));
        QTRY_COMPARE(newData.count(), 1);
        const quint16 scaled = quint16(raw / 2 + 10);
        QCOMPARE(readTwo(m_port, kTemperature),
                 QByteArray("000100000007010304") + QByteArray::number(scaled, 16).rightJustified(4, '0') + "0202");
        QCOMPARE(status(StatusBlock::UplinksWaiting), quint16(0));
        QCOMPARE(status(StatusBlock::UplinksDelayed + 1), quint16(waitedBefore + 1));
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("The register file")),
                 QStringList({kBusy, "INFO: [CDataBaseHandler::saveRegisterData] The register file is free again: "
                                     "1 uplink(s) waited for it, 0 dropped."}));
    }

    // Past the bound the oldest uplinks go, counted and logged once; the
    // newest are stored when the file frees.
    void backlogDropsTheOldestPastItsBound()
    {
        constexpr int kBound = 1000;    // as documented
        QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
        m_log->forget();
        QVERIFY(other(QLatin1String(StoreSchema::kBeginExclusiveSql)));
        for (int i = 0; i <= kBound + 1; ++i)
            pushUplink(quint16(i), 0x0404);
        QTRY_COMPARE(status(StatusBlock::UplinksWaiting), quint16(kBound));
        QCOMPARE(status(StatusBlock::UplinksDropped + 1), quint16(2));
        QVERIFY(other(QLatin1String(StoreSchema::kRollbackSql)));
        QTRY_COMPARE(newData.count(), kBound + 2);
        // The last: 1001 × 0.5 + 10, rounded half away from zero.
        QCOMPARE(readTwo(m_port, kTemperature), QByteArray("00010000000701030401ff0404"));

        const QStringList lines = m_log->takeLines().filter(QStringLiteral("register file"));
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.at(1), QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] 1000 uplinks wait for "
                                             "the register file: the oldest are dropped."));
        QCOMPARE(lines.at(2), QStringLiteral("INFO: [CDataBaseHandler::saveRegisterData] The register file is free "
                                             "again: 1002 uplink(s) waited for it, 2 dropped."));
    }

    // A write refused halfway (here by a trigger, as a full disk would) leaves
    // every register of the device as the last whole uplink left it.
    void uplinkIsStoredWholeOrNotAtAll()
    {
        QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
        pushUplink(100, 0x0101);
        QTRY_COMPARE(newData.count(), 1);
        QCOMPARE(readTwo(m_port, kTemperature), QByteArray("000100000007010304003c0101"));
        m_log->forget();

        QVERIFY(other(QStringLiteral("CREATE TRIGGER refuse BEFORE UPDATE ON dev_data WHEN NEW.reg_addr = %1 "
                                     "BEGIN SELECT RAISE(ABORT, 'database or disk is full'); END;")
                              .arg(kHumidity)));
        const QStringList before = rows();
        pushUplink(200, 0x0202);
        QTRY_COMPARE(newData.count(), 2);
        QCOMPARE(rows(), before);
        QVERIFY(other(QStringLiteral("DROP TRIGGER refuse;")));
        pushUplink(300, 0x0303);
        QTRY_COMPARE(newData.count(), 3);
        QCOMPARE(readTwo(m_port, kTemperature), QByteArray("00010000000701030400a00303"));

        const QStringList lines = m_log->takeLines();
        QCOMPARE(lines.filter(QStringLiteral("The register file")),
                 QStringList({"ERROR: [CDataBaseHandler::saveRegisterData] The register file cannot be written "
                              "(database or disk is full): uplinks are not stored until it can.",
                              "INFO: [CDataBaseHandler::saveRegisterData] The register file is written again."}));
        QCOMPARE(lines.filter(QStringLiteral("Invalid SQL request [2]")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestStoreContention)
#include "tst_storecontention.moc"
