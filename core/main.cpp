#include "core/cdescriptorlimit.h"
#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "core/cstopsignals.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "devices/cdownlinkqueue.h"
#include "server/apitypes.h"
#include "server/cserverhandler.h"
#include "ui/caddnewdeviceform.h"
#include "ui/ceditdeviceform.h"
#include "ui/mainwindow.h"
#include "ui/theme.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QLocale>
#include <QThread>
#include <QTranslator>

#include <clocale>
#include <cstdlib>

namespace {
constexpr int kStoreAtEndMs = 5000;

void logStop(int signalNumber)
{
    CLogFile::addLog(QStringLiteral("INFO: [main] Stopping on signal %1.").arg(CStopSignals::name(signalNumber)));
}
} // namespace

int main(int argc, char *argv[])
{
    setlocale(LC_ALL, "");

    QApplication app(argc, argv);
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/Icon.png")));

    QTranslator translator;
    if (QLocale::system().name().contains(QLatin1String("ru"))
        && translator.load(QStringLiteral(":/iot_orvane_modbus.qm"), QString(), QString(), QString())) {
        QCoreApplication::installTranslator(&translator);
    }

    qRegisterMetaType<CLogFile::ELogMessageType>("CLogFile::ELogMessageType");
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");

    QFile styleFile(QStringLiteral("://style/style.qss"));
    styleFile.open(QIODevice::ReadOnly);
    QString rawStyle = QString::fromUtf8(styleFile.readAll());
    styleFile.close();
    app.setStyleSheet(expandStyleSheet(rawStyle));

    registerApiMetaTypes();

    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    CDescriptorLimit::raise();
    // A stop asked for by the system ends the event loop; the line is posted
    // ahead of the quit, so it reaches the file first.
    CStopSignals stopSignals;
    QObject::connect(&stopSignals, &CStopSignals::stopRequested, &app, [&app](int signalNumber) {
        logStop(signalNumber);
        QMetaObject::invokeMethod(&app, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    CServerHandler::getInstance();

    CDataBaseHandler *dataBaseHandler = CDataBaseHandler::getInstance();
    if (!dataBaseHandler && CStopSignals::received() != 0) {
        // Stopped while another program held the file: a stop, not a failure,
        // said once here rather than again by the notifier.
        stopSignals.blockSignals(true);
        logStop(CStopSignals::received());
        QCoreApplication::processEvents();
        return EXIT_SUCCESS;
    }
    if (!dataBaseHandler) {
        // Without its store the bridge has nothing to serve: stop rather than
        // run half-built, once the queued log line has reached the file.
        QCoreApplication::processEvents();
        return EXIT_FAILURE;
    }
    // The store keeps its own thread until the end of the run.
    QThread *dataBaseThread = new QThread(nullptr);
    dataBaseHandler->moveToThread(dataBaseThread);
    dataBaseThread->start();
    while (!dataBaseThread->isRunning())
        QThread::msleep(30);

    CAllDeviceHandler *allDeviceHandler = CAllDeviceHandler::getInstance();
    QObject::connect(CServerHandler::getInstance(), &CServerHandler::newPacketReceived, allDeviceHandler,
                     &CAllDeviceHandler::newPacketReceivedSlot, Qt::QueuedConnection);
    allDeviceHandler->downlinkQueue()->attach(CServerHandler::getInstance());
    QObject::connect(allDeviceHandler, &CAllDeviceHandler::tcpDownlink, CServerHandler::getInstance(),
                     &CServerHandler::sendDeviceData);

    CAddNewDeviceForm *addNewDeviceForm = CAddNewDeviceForm::getInstance();
    QObject::connect(CServerHandler::getInstance(), &CServerHandler::getDevicesListResp, addNewDeviceForm,
                     &CAddNewDeviceForm::getDevicesListRespSlot, Qt::QueuedConnection);
    // Both dialogs exist before the window that connects to them.
    CEditDeviceForm::getInstance();

    MainWindow window;
    allDeviceHandler->openStatusPort(CSettings::readValue(SettingsKey::statusPort));
    window.show();
    const int exitCode = app.exec();

    // Uplinks still on their way to the file are stored before the end, each
    // whole, as far as the file lets them in a few seconds.
    QMetaObject::invokeMethod(dataBaseHandler, "storeWaitingUplinks", Qt::BlockingQueuedConnection,
                              Q_ARG(int, kStoreAtEndMs));
    dataBaseThread->quit();
    dataBaseThread->wait();
    return exitCode;
}
