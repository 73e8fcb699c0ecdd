#pragma once

#include "database/dbtypes.h"
#include "tcp/cmodbusframing.h"

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <QTcpServer>

class CAcceptGuard;
class CConnectionHandler;
class QTimer;

// The listener of one published port, shared by every device on it. Each
// accepted client gets a CConnectionHandler; on a port of TCP devices the
// listener also joins the chunks of a device's message before handing it to
// every client.
class CDeviceHandler : public QTcpServer
{
    Q_OBJECT

public:
    // Where a chunk stands in its message.
    struct SChunkInfo
    {
        quint8 current = 0;     // chunk number raised by one: the last equals total
        quint8 total = 0;
        quint16 size = 0;       // stated size of the whole message
    };

    // The chunk that a TCP device's uplink carries, with its place in the message.
    struct SChunk
    {
        QByteArray data;
        SChunkInfo info;
    };

    CDeviceHandler(quint16 port, ProtocolOption protocol, const QString &devEui, QObject *parent = nullptr);
    ~CDeviceHandler() override;

    // Whether a TCP device's payload is a frame that carries a chunk (types 3, 5, 6 and 13).
    static bool isChunkFrame(const QByteArray &payload);
    // Frame type 5 has its own offsets; every other type those of type 3.
    static SChunk chunkOf(const QByteArray &payload);

    quint16 listenPort() const { return m_port; }
    const QStringList &devices() const { return m_devices; }
    const QList<CConnectionHandler *> &connections() const { return m_connections; }

    // Where the clients of a ModBus port read from; the register store unless set.
    void setRegisterSource(const CModbusFraming::SRegisterSource &source);
    // Drops every client of the old port and listens on the new one.
    void changePort(quint16 port);
    // How often a port that could not be opened is tried again; a minute
    // unless set.
    void setListenRetryInterval(int milliseconds);
    void sendTCPData(const QByteArray &chunk, SChunkInfo info);

signals:
    // What a client of the port sent, for the device as a downlink.
    void downlinkData(QString _devEui, QByteArray _hexData);

public slots:
    void waitingTimeout();
    void appendDevice(QString _devEui);
    void removeDevice(QString _devEui);

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    bool admit(qintptr socketDescriptor);
    void deliverMessage();
    void startListening();
    void retryListening();
    void setNotOpen(bool notOpen);

    quint16 m_port = 0;
    QStringList m_devices;
    QList<CConnectionHandler *> m_connections;
    QString m_firstDevEui;
    ProtocolOption m_protocol = ProtocolOption::ModBus;
    QByteArray m_tcpBuffer;
    QTimer *m_waitTimer = nullptr;
    QTimer *m_listenRetry = nullptr;
    CAcceptGuard *m_acceptGuard = nullptr;
    CModbusFraming::SRegisterSource m_registerSource = CModbusFraming::storeSource();
    bool m_notOpen = false;     // the last listen() failed
};
