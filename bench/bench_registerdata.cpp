#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {
constexpr int kDevices = 100;
constexpr int kRegistersPerDevice = 100;
constexpr int kPorts = 10;
constexpr quint32 kFirstPort = 5020;
constexpr quint32 kReadPort = kFirstPort + 3;
constexpr quint32 kReadStart = 450;
constexpr quint32 kReadCount = 16;
}

// A ModBus read of 16 registers from a store of 100 devices x 100 registers on
// 10 ports, beside the bare SELECT that the read runs, compiled once as the
// read keeps it and compiled anew each time.
class BenchRegisterData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void getRegisterData();
    void bareQuery_data();
    void bareQuery();

private:
    QTemporaryDir m_dir;
    CDataBaseHandler *m_handler = nullptr;
};

void BenchRegisterData::initTestCase()
{
    QVERIFY(QDir::setCurrent(m_dir.path()));
    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    m_handler = CDataBaseHandler::getInstance();
    QVERIFY(m_handler);

    for (int device = 0; device < kDevices; ++device) {
        DB::SDeviceRegMapDescription description;
        description.devEui = QStringLiteral("70B3D5%1").arg(device, 10, 16, QLatin1Char('0')).toUpper();
        description.appEui = QStringLiteral("APP1");
        description.name = QStringLiteral("device %1").arg(device);
        description.port = kFirstPort + device % kPorts;
        description.startAddr = (device / kPorts) * kRegistersPerDevice;
        for (int offset = 0; offset < kRegistersPerDevice; ++offset)
            description.regs.append({QStringLiteral("r%1").arg(offset), 1, quint32(offset), 16, DataType::integer,
                                     0.0, 1.0, QString()});
        QVERIFY(m_handler->registerNewDevice(description, ProtocolOption::ModBus));
    }

    QSqlQuery values(QSqlDatabase::database(DbName::connection));
    QVERIFY(values.exec(QStringLiteral("UPDATE dev_data SET value=printf('%04x', reg_addr), "
                                       "full_value=printf('%04x', reg_addr), time=0;")));
    QCOMPARE(values.numRowsAffected(), kDevices * kRegistersPerDevice);
}

void BenchRegisterData::getRegisterData()
{
    QMap<quint16, quint16> words;
    QBENCHMARK {
        words = m_handler->getRegisterData(kReadPort, kReadStart, kReadCount);
    }
    QCOMPARE(words.size(), int(kReadCount));
    QCOMPARE(words.value(kReadStart + 1), quint16(kReadStart + 1));
}

void BenchRegisterData::bareQuery_data()
{
    QTest::addColumn<bool>("compileOnce");
    QTest::newRow("compiled once, as the read does") << true;
    QTest::newRow("compiled every time") << false;
}

void BenchRegisterData::bareQuery()
{
    QFETCH(bool, compileOnce);
    const QString sql = QStringLiteral("SELECT * FROM dev_data WHERE port=%1 AND reg_addr BETWEEN %2 AND %3;")
                                .arg(kReadPort).arg(kReadStart).arg(kReadStart + kReadCount - 1);
    const QSqlDatabase connection = QSqlDatabase::database(DbName::connection);
    QSqlQuery compiled(connection);
    compiled.setForwardOnly(true);
    QVERIFY(compiled.prepare(sql));
    const auto countRows = [](QSqlQuery &query) {
        int count = 0;
        while (query.next())
            ++count;
        return count;
    };
    int rows = 0;
    QBENCHMARK {
        if (compileOnce) {
            compiled.exec();
            rows = countRows(compiled);
        } else {
            QSqlQuery fresh(connection);
            fresh.setForwardOnly(true);
            fresh.exec(sql);
            rows = countRows(fresh);
        }
    }
    QCOMPARE(rows, int(kReadCount));
}

// The median of nine runs unless the command line asks for something else.
int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    BenchRegisterData bench;
    QStringList arguments = QCoreApplication::arguments();
    if (!arguments.contains(QStringLiteral("-median")))
        arguments << QStringLiteral("-median") << QStringLiteral("9");
    return QTest::qExec(&bench, arguments);
}
#include "bench_registerdata.moc"
