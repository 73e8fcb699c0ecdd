#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"

#include <QLoggingCategory>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

constexpr int kDevices = 100;
constexpr int kPorts = 10;
const QString kAppEui = QStringLiteral("F1A7C0DE00000101");

// The peak resident size of the process so far, in bytes.
qint64 peakResidentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return -1;
}

} // namespace

// Peak memory of the process with 100 devices of the climate sensor template
// published on 10 ports through the registry, store and listeners included.
class BenchRegistryMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void hundredDevicesOnTenPorts();

private:
    QTemporaryDir m_dir;
    QThread m_thread;
    qint64 m_before = 0;
    qint64 m_after = 0;
};

void BenchRegistryMemory::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QVERIFY(QDir::setCurrent(m_dir.path()));
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    QVERIFY(QDir().mkdir(FileName::deviceFolder));
    QVERIFY(QFile::copy(QStringLiteral(SAMPLE_TEMPLATES_DIR "/ClimateSensor_TH20.json"),
                        FileName::deviceFolder + QStringLiteral("/ClimateSensor_TH20.json")));
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    QVERIFY(store);
    store->moveToThread(&m_thread);
    m_thread.start();
    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    QVERIFY(registry->hasTemplate(kAppEui));
    m_before = peakResidentBytes();

    QList<quint16> ports;
    for (int i = 0; i < kPorts; ++i) {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::Any, 0));
        ports.append(probe.serverPort());
    }
    for (int i = 0; i < kDevices; ++i) {
        DB::SDeviceRegMapDescription device = registry->registerMap(kAppEui);
        device.devEui = QStringLiteral("70B3D5%1").arg(i, 10, 16, QLatin1Char('0')).toUpper();
        device.name = device.devEui;
        device.port = ports.at(i % kPorts);
        device.startAddr = quint32(i / kPorts) * 100;
        QVERIFY(store->registerNewDevice(device, ProtocolOption::ModBus));
        registry->addNewDevice(device, ProtocolOption::ModBus);
    }
    QCoreApplication::processEvents();
    for (quint16 port : ports)
        QCOMPARE(registry->portProtocol(port), std::optional<ProtocolOption>(ProtocolOption::ModBus));
    m_after = peakResidentBytes();
}

void BenchRegistryMemory::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

void BenchRegistryMemory::hundredDevicesOnTenPorts()
{
    // Peak sizes only grow: this reads what initTestCase left.
    qInfo("VmHWM %.1f MiB before publishing, %.1f MiB with %d devices on %d ports", m_before / 1048576.0,
          m_after / 1048576.0, kDevices, kPorts);
    QTest::setBenchmarkResult(qreal(m_after), QTest::BytesAllocated);
}

QTEST_GUILESS_MAIN(BenchRegistryMemory)
#include "bench_registrymemory.moc"
