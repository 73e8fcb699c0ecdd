#pragma once

#include "database/dbtypes.h"
#include "tcp/cmodbusframing.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QTcpSocket>

// One accepted connection of a port listener. On a ModBus port it answers the
// read-register functions 3 and 4 from the port's register source and refuses
// every other function; on a TCP port it carries the bytes of the device bridge.
class CConnectionHandler : public QTcpSocket
{
    Q_OBJECT

public:
    using SModbusMBAP = CModbusFraming::SModbusMBAP;
    using SModbusTcpPacketHeader = CModbusFraming::SModbusTcpPacketHeader;

    // Enters itself in `connections`, the listener's list, and leaves it when destroyed.
    CConnectionHandler(quint16 port, ProtocolOption protocol, const QString &devEui,
                       const CModbusFraming::SRegisterSource &source, QList<CConnectionHandler *> &connections,
                       QObject *parent = nullptr);
    ~CConnectionHandler() override;

    void sendTCPDataToSocket(const QByteArray &data);

signals:
    // What a client of a TCP device's port sent, as the downlink text for the device.
    void downlinkData(QString _devEui, QByteArray _hexData);

public slots:
    void readyReadSlot();
    void incomingTCPDataHandler();
    void disconnectedSlot();

private:
    bool sendAnswer(const QByteArray &answer);
    void resumeAnswers();

    quint16 m_port = 0;
    QString m_devEui;
    QList<CConnectionHandler *> &m_connections;
    CModbusFraming m_framing;
};
