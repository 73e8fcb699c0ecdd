#include "cconnectionhandler.h"

#include "core/clogfile.h"
#include "database/cdatabasehandler.h"
#include "server/cserverhandler.h"

#include <QDebug>
#include <QtEndian>

namespace {
constexpr int kMbapSize = 6;
constexpr quint16 kMinimumLength = 6;   // unit id, function, address and count
constexpr quint8 kReadHoldingRegisters = 3;
constexpr quint8 kReadInputRegisters = 4;
constexpr quint8 kExceptionFlag = 0x80;
constexpr quint8 kIllegalFunction = 1;
constexpr quint16 kExceptionLength = 3;
constexpr int kWriteWaitMs = 1000;
const QByteArray kDownlinkDataPrefix = QByteArrayLiteral("04");

quint16 wordAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint16>(bytes.constData() + offset);
}

void appendWord(QByteArray &bytes, quint16 word)
{
    bytes.append(char(word >> 8));
    bytes.append(char(word & 0xFF));
}

void appendMbap(QByteArray &bytes, const CConnectionHandler::SModbusMBAP &mbap, quint16 length)
{
    appendWord(bytes, mbap.transactionId);
    appendWord(bytes, mbap.protocolId);
    appendWord(bytes, length);
}

CConnectionHandler::SModbusMBAP readMbap(const QByteArray &bytes)
{
    return {wordAt(bytes, 0), wordAt(bytes, 2), wordAt(bytes, 4)};
}

CConnectionHandler::SModbusTcpPacketHeader readHeader(const QByteArray &bytes)
{
    return {quint8(bytes.at(6)), quint8(bytes.at(7)), wordAt(bytes, 8), wordAt(bytes, 10)};
}

QByteArray exceptionAnswer(const CConnectionHandler::SModbusMBAP &mbap,
                           const CConnectionHandler::SModbusTcpPacketHeader &header)
{
    QByteArray answer;
    appendMbap(answer, mbap, kExceptionLength);
    answer.append(char(header.unitId));
    answer.append(char(header.functionCode | kExceptionFlag));
    answer.append(char(kIllegalFunction));
    return answer;
}

void logIncomplete(int stage)
{
    const QString wait = QStringLiteral("[CConnectionHandler] Incomplete packet [%1]. Wait for continue...");
    CLogFile::addLog(stage == 3 ? QStringLiteral("[CConnectionHandler] Incomplete packet [3]. Clear buffer...")
                                : wait.arg(stage));
}

} // namespace

CConnectionHandler::CConnectionHandler(quint16 port, ProtocolOption protocol, const QString &devEui,
                                       QList<CConnectionHandler *> &connections, QObject *parent)
    : QTcpSocket(parent)
    , m_port(port)
    , m_devEui(devEui)
    , m_connections(connections)
{
    m_connections.append(this);
    if (protocol == ProtocolOption::ModBus)
        connect(this, &QTcpSocket::readyRead, this, &CConnectionHandler::readyReadSlot);
    else if (protocol == ProtocolOption::TCP)
        connect(this, &QTcpSocket::readyRead, this, &CConnectionHandler::incomingTCPDataHandler);
    connect(this, &QTcpSocket::disconnected, this, &CConnectionHandler::disconnectedSlot);
}

CConnectionHandler::~CConnectionHandler()
{
    m_connections.removeAll(this);
    qDebug().noquote() << QStringLiteral("Destructor CConnectionHandler::CConnectionHandler has been called");
}

void CConnectionHandler::disconnectedSlot()
{
    deleteLater();
}

void CConnectionHandler::readyReadSlot()
{
    m_requestBuffer.append(readAll());
    const QString hex = QString::fromLatin1(m_requestBuffer.toHex());
    qDebug().noquote() << QStringLiteral("REQ: %1").arg(hex);
    CLogFile::addLog(QStringLiteral("INFO: [CConnectionHandler] REQ: < %1 >").arg(hex));

    if (m_requestBuffer.size() < kMbapSize) {
        logIncomplete(1);
        return;
    }
    for (;;) {
        const SModbusMBAP mbap = readMbap(m_requestBuffer);
        const int frameSize = mbap.length + kMbapSize;
        if (m_requestBuffer.size() < frameSize) {
            logIncomplete(2);
            return;
        }
        if (mbap.length < kMinimumLength) {
            // Skipped by its stated size: the stream stays aligned only if that was true.
            logIncomplete(3);
            m_requestBuffer.remove(0, frameSize);
        } else {
            answerRequest(mbap, readHeader(m_requestBuffer));
            m_requestBuffer.remove(0, frameSize);
            if (m_requestBuffer.isEmpty())
                return;
        }
        if (m_requestBuffer.size() < kMbapSize) {
            logIncomplete(1);
            return;
        }
    }
}

void CConnectionHandler::answerRequest(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header)
{
    QByteArray answer;
    if (header.functionCode == kReadHoldingRegisters || header.functionCode == kReadInputRegisters) {
        CDataBaseHandler *store = CDataBaseHandler::getInstance();
        const QMap<quint16, quint16> data = store ? store->getRegisterData(m_port, header.startAddress,
                                                                            header.registerCount)
                                                  : QMap<quint16, quint16>();
        answer = getAnswerDataSlot(mbap, header, data);
    } else {
        answer = exceptionAnswer(mbap, header);
    }
    write(answer);
    waitForBytesWritten(kWriteWaitMs);
    CLogFile::addLog(QStringLiteral("INFO: [CConnectionHandler] ANS: < %1 >").arg(QString::fromLatin1(answer.toHex())));
}

QByteArray CConnectionHandler::getAnswerDataSlot(SModbusMBAP _mbap, SModbusTcpPacketHeader _header,
                                                 QMap<quint16, quint16> _data)
{
    const int byteCount = 2 * _data.size();
    QByteArray answer;
    answer.reserve(9 + byteCount);
    appendMbap(answer, _mbap, quint16(byteCount + 3));
    answer.append(char(_header.unitId));
    answer.append(char(_header.functionCode));
    answer.append(char(byteCount & 0xFF));
    for (auto it = _data.cbegin(); it != _data.cend(); ++it)
        appendWord(answer, it.value());
    return answer;
}

void CConnectionHandler::incomingTCPDataHandler()
{
    const QByteArray hex = readAll().toHex();
    CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler::incomingTCPDataHandler] Recived data [%1] from a TCP "
                                    "socket from a port %2.")
                             .arg(QString::fromLatin1(hex))
                             .arg(m_port));
    CServerHandler::getInstance()->sendDeviceData(m_devEui, kDownlinkDataPrefix + hex);
}

void CConnectionHandler::sendTCPDataToSocket(const QByteArray &data)
{
    CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler::sendTCPDataToSocket] Send data [%1] for a TCP socket in "
                                    "port %2.")
                             .arg(QString::fromUtf8(data))
                             .arg(m_port));
    // A client that has just gone waits for its deferred deletion, closed.
    if (isOpen())
        write(data);
}
