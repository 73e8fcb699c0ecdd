#pragma once

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "devices/cdownlinkqueue.h"
#include "fakenetworkserver.h"
#include "server/cserverhandler.h"
#include "testworkdir.h"
#include "ui/caddnewdeviceform.h"
#include "ui/ceditdeviceform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QThread>

// The program's singletons up to the uplink route, made in the order of its
// start-up in the current working directory, with the sample templates copied
// into "deviceFolder". The store runs on its own thread, which ends with this
// object.
class ProgramCore
{
public:
    explicit ProgramCore(const QString &templatesDir)
    {
        copyTemplates(templatesDir);

        qRegisterMetaType<CLogFile::ELogMessageType>("CLogFile::ELogMessageType");
        qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
        registerApiMetaTypes();
        CSettings::getInstance(FileName::settings);
        CLogFile::getInstance(FileName::logBase, QString());
        CServerHandler *server = CServerHandler::getInstance();
        CDataBaseHandler::getInstance()->moveToThread(&m_storeThread);
        m_storeThread.start();
        QObject::connect(server, &CServerHandler::newPacketReceived, CAllDeviceHandler::getInstance(),
                         &CAllDeviceHandler::newPacketReceivedSlot, Qt::QueuedConnection);
        CAllDeviceHandler::getInstance()->downlinkQueue()->attach(server);
        QObject::connect(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::tcpDownlink, server,
                         &CServerHandler::sendDeviceData);
    }

    // The two device forms, which need a QApplication, as the start-up makes them.
    static void startForms()
    {
        QObject::connect(CServerHandler::getInstance(), &CServerHandler::getDevicesListResp,
                         CAddNewDeviceForm::getInstance(), &CAddNewDeviceForm::getDevicesListRespSlot,
                         Qt::QueuedConnection);
        CEditDeviceForm::getInstance();
    }

    ~ProgramCore()
    {
        m_storeThread.quit();
        m_storeThread.wait();
    }

    ProgramCore(const ProgramCore &) = delete;
    ProgramCore &operator=(const ProgramCore &) = delete;

    // A device with the registers of its template, as the add form makes it.
    static DB::SDeviceRegMapDescription deviceOf(const QString &devEui, const QString &appEui, const QString &name,
                                                 quint32 startAddr, quint16 port, ProtocolOption protocol)
    {
        DB::SDeviceRegMapDescription device;
        if (protocol == ProtocolOption::ModBus)
            device = CAllDeviceHandler::getInstance()->registerMap(appEui);
        device.devEui = devEui;
        device.appEui = appEui;
        device.name = name;
        device.startAddr = startAddr;
        device.port = port;
        return device;
    }

    static bool storeDevice(const QString &devEui, const QString &appEui, const QString &name, quint32 startAddr,
                            quint16 port, ProtocolOption protocol)
    {
        return CDataBaseHandler::getInstance()->registerNewDevice(
                deviceOf(devEui, appEui, name, startAddr, port, protocol), protocol);
    }

    // Stores the device and publishes it, as the main window does with the stored ones at start.
    static bool publishDevice(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol)
    {
        if (!CDataBaseHandler::getInstance()->registerNewDevice(device, protocol))
            return false;
        CAllDeviceHandler::getInstance()->addNewDevice(device, protocol);
        return true;
    }

    // Lets the uplinks handed to the store so far be written, and their
    // outcome reach this thread.
    static void settleStore()
    {
        CDataBaseHandler *store = CDataBaseHandler::getInstance();
        if (store->thread() != QThread::currentThread())
            QMetaObject::invokeMethod(store, [] {}, Qt::BlockingQueuedConnection);
        for (int pass = 0; pass < 2; ++pass)
            QCoreApplication::sendPostedEvents();
    }

    static void storeServerSettings(const FakeNetworkServer &server, const QString &login)
    {
        CSettings::writeValue(QStringLiteral("server/ip"), server.url().host());
        CSettings::writeValue(QStringLiteral("server/port"), QString::number(server.url().port()));
        CSettings::writeValue(QStringLiteral("server/login"), login);
        CSettings::writeValue(QStringLiteral("server/password"), QStringLiteral("secret"));
    }

    static void pushUplink(FakeNetworkServer &server, const QString &devEui, const QString &hexPayload)
    {
        server.push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", devEui}, {"ts", 1700000000123LL},
                                {"gatewayId", "0011223344556677"}, {"ack", false}, {"fcnt", 7}, {"port", 2},
                                {"data", hexPayload}, {"freq", 868100000}, {"dr", 5}, {"rssi", -80}, {"snr", 7.25}});
    }

private:
    QThread m_storeThread;
};
