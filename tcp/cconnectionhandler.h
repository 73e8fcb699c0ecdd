#pragma once

#include "database/dbtypes.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QTcpSocket>

// One accepted connection of a port listener. On a ModBus port it answers the
// read-register functions 3 and 4 from the register store and refuses every
// other function; on a TCP port it carries the bytes of the device bridge.
class CConnectionHandler : public QTcpSocket
{
    Q_OBJECT

public:
    struct SModbusMBAP
    {
        quint16 transactionId = 0;
        quint16 protocolId = 0;
        quint16 length = 0;     // bytes that follow this field
    };

    struct SModbusTcpPacketHeader
    {
        quint8 unitId = 0;
        quint8 functionCode = 0;
        quint16 startAddress = 0;
        quint16 registerCount = 0;
    };

    // Enters itself in `connections`, the listener's list, and leaves it when destroyed.
    CConnectionHandler(quint16 port, ProtocolOption protocol, const QString &devEui,
                       QList<CConnectionHandler *> &connections, QObject *parent = nullptr);
    ~CConnectionHandler() override;

    void sendTCPDataToSocket(const QByteArray &data);

public slots:
    void readyReadSlot();
    void incomingTCPDataHandler();
    void disconnectedSlot();
    QByteArray getAnswerDataSlot(SModbusMBAP _mbap, SModbusTcpPacketHeader _header,
                                 QMap<quint16, quint16> _data);

private:
    void answerRequest(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header);

    quint16 m_port = 0;
    QByteArray m_requestBuffer;
    QString m_devEui;
    QList<CConnectionHandler *> &m_connections;
};
