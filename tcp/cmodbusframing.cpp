#include "cmodbusframing.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "core/cstatusboard.h"
#include "database/cdatabasehandler.h"

#include <QDebug>
#include <QtEndian>

namespace {
constexpr int kMbapSize = 6;
constexpr quint16 kMinimumLength = 6;   // unit id, function, address and count
constexpr quint8 kReadHoldingRegisters = 3;
constexpr quint8 kReadInputRegisters = 4;
constexpr quint8 kWriteSingleRegister = 6;
constexpr quint8 kWriteMultipleRegisters = 16;
constexpr quint16 kMaxWriteCount = 123;     // what one frame of 260 bytes holds
constexpr int kWriteHeadSize = 13;          // MBAP, unit, function, address, count, byte count
constexpr quint16 kWriteEchoLength = 6;
constexpr quint8 kExceptionFlag = 0x80;
constexpr quint16 kExceptionLength = 3;
constexpr int kAnswerHeadSize = 9;

quint16 wordAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint16>(bytes.constData() + offset);
}

void appendWord(QByteArray &bytes, quint16 word)
{
    bytes.append(char(word >> 8));
    bytes.append(char(word & 0xFF));
}

void appendMbap(QByteArray &bytes, const CModbusFraming::SModbusMBAP &mbap, quint16 length)
{
    appendWord(bytes, mbap.transactionId);
    appendWord(bytes, mbap.protocolId);
    appendWord(bytes, length);
}

CModbusFraming::SModbusMBAP readMbap(const QByteArray &bytes)
{
    return {wordAt(bytes, 0), wordAt(bytes, 2), wordAt(bytes, 4)};
}

CModbusFraming::SModbusTcpPacketHeader readHeader(const QByteArray &bytes)
{
    return {quint8(bytes.at(6)), quint8(bytes.at(7)), wordAt(bytes, 8), wordAt(bytes, 10)};
}

QByteArray exceptionAnswer(const CModbusFraming::SModbusMBAP &mbap,
                           const CModbusFraming::SModbusTcpPacketHeader &header, quint8 code)
{
    QByteArray answer;
    appendMbap(answer, mbap, kExceptionLength);
    answer.append(char(header.unitId));
    answer.append(char(header.functionCode | kExceptionFlag));
    answer.append(char(code));
    return answer;
}

// A client waits for the store only briefly: a file that another program
// holds must not stall the clients of every port.
std::optional<QMap<quint16, quint16>> readStore(quint16 port, quint16 startAddress, quint16 count,
                                                bool strictAddresses)
{
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    if (!store)
        return std::nullopt;
    int rows = 0;
    std::optional<QMap<quint16, quint16>> words =
            store->readRegisters(port, startAddress, count, CDataBaseHandler::kReadWaitMs, &rows);
    if (words && strictAddresses && rows == 0)
        words->clear();
    return words;
}

} // namespace

CModbusFraming::SRegisterSource CModbusFraming::storeSource()
{
    const bool strict = CSettings::readValue(SettingsKey::strictAddresses, SettingsDefault::strictAddresses).toBool();
    return {[strict](quint16 port, quint16 startAddress, quint16 count) {
                return readStore(port, startAddress, count, strict);
            },
            true, {}, {}};
}

CModbusFraming::CModbusFraming(quint16 port, Sender sender, SRegisterSource source)
    : m_port(port)
    , m_sender(std::move(sender))
    , m_source(std::move(source))
{
}

void CModbusFraming::journal(const QString &line) const
{
    if (m_source.journaled)
        CLogFile::addLog(line);
    else
        qDebug().noquote() << line;
}

void CModbusFraming::logIncomplete(int stage) const
{
    const QString wait = QStringLiteral("[CConnectionHandler] Incomplete packet [%1]. Wait for continue...");
    journal(stage == 3 ? QStringLiteral("[CConnectionHandler] Incomplete packet [3]. Clear buffer...")
                       : wait.arg(stage));
}

void CModbusFraming::received(const QByteArray &bytes)
{
    m_requestBuffer.append(bytes);
    const QString hex = QString::fromLatin1(m_requestBuffer.toHex());
    qDebug().noquote() << QLatin1String("REQ: ") + hex;
    journal(QLatin1String("INFO: [CConnectionHandler] REQ: < ") + hex + QLatin1String(" >"));
    if (m_held)
        return;
    answerFrames();
}

void CModbusFraming::resume()
{
    if (!m_held)
        return;
    m_held = false;
    answerFrames();
}

void CModbusFraming::answerFrames()
{
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
            const bool mayContinue = answerRequest(mbap, readHeader(m_requestBuffer), frameSize);
            m_requestBuffer.remove(0, frameSize);
            if (m_requestBuffer.isEmpty())
                return;
            if (!mayContinue) {
                m_held = true;
                return;
            }
        }
        if (m_requestBuffer.size() < kMbapSize) {
            logIncomplete(1);
            return;
        }
    }
}

bool CModbusFraming::answerRequest(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header, int frameSize)
{
    QByteArray reply;
    const quint8 function = header.functionCode;
    if (function == kReadHoldingRegisters || function == kReadInputRegisters)
        reply = answerRead(mbap, header);
    else if ((function == kWriteSingleRegister || function == kWriteMultipleRegisters) && m_source.write)
        reply = answerWrite(mbap, header, frameSize);
    else
        reply = exceptionAnswer(mbap, header, IllegalFunction);
    const bool mayContinue = m_sender(reply);
    journal(QLatin1String("INFO: [CConnectionHandler] ANS: < ") + QString::fromLatin1(reply.toHex())
            + QLatin1String(" >"));
    if (m_source.journaled)
        CStatusBoard::getInstance()->requestAnswered();
    return mayContinue;
}

QByteArray CModbusFraming::answerRead(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header)
{
    if (m_source.targetFailed && m_source.targetFailed(m_port, header.startAddress, header.registerCount))
        return exceptionAnswer(mbap, header, GatewayTargetFailed);
    const std::optional<QMap<quint16, quint16>> words =
            m_source.read(m_port, header.startAddress, header.registerCount);
    if (words && words->isEmpty() && header.registerCount > 0)
        return exceptionAnswer(mbap, header, IllegalDataAddress);
    if (words)
        return answer(mbap, header, *words);
    CLogFile::addLog(QStringLiteral("ERROR: [CConnectionHandler] Registers from %1 of port %2 could not be "
                                    "read from the register file: exception 04 answered.")
                             .arg(QString::number(header.startAddress), QString::number(m_port)),
                     CLogFile::LogError);
    return exceptionAnswer(mbap, header, ServerDeviceFailure);
}

// Answered at once with the standard echo once the write is taken: what
// becomes of the downlink is for the client to read from its status register.
QByteArray CModbusFraming::answerWrite(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header,
                                       int frameSize)
{
    QList<quint16> words;
    if (header.functionCode == kWriteSingleRegister) {
        words.append(header.registerCount);
    } else {
        const quint16 count = header.registerCount;
        const int byteCount = frameSize > kWriteHeadSize - 1 ? quint8(m_requestBuffer.at(kWriteHeadSize - 1)) : -1;
        if (count == 0 || count > kMaxWriteCount || byteCount != 2 * count || frameSize < kWriteHeadSize + byteCount)
            return exceptionAnswer(mbap, header, IllegalDataValue);
        for (int word = 0; word < count; ++word)
            words.append(wordAt(m_requestBuffer, kWriteHeadSize + 2 * word));
    }
    if (const quint8 code = m_source.write(m_port, header.startAddress, words))
        return exceptionAnswer(mbap, header, code);
    QByteArray echo;
    appendMbap(echo, mbap, kWriteEchoLength);
    echo.append(char(header.unitId));
    echo.append(char(header.functionCode));
    appendWord(echo, header.startAddress);
    appendWord(echo, header.registerCount);    // the value of a single write, the count of a multiple one
    return echo;
}

QByteArray CModbusFraming::answer(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header,
                                  const QMap<quint16, quint16> &data)
{
    const int byteCount = 2 * data.size();
    QByteArray result;
    result.reserve(kAnswerHeadSize + byteCount);
    appendMbap(result, mbap, quint16(byteCount + 3));
    result.append(char(header.unitId));
    result.append(char(header.functionCode));
    result.append(char(byteCount & 0xFF));
    // The words go straight into place: a byte at a time cost more than the rest of the answer.
    result.resize(kAnswerHeadSize + byteCount);
    uchar *word = reinterpret_cast<uchar *>(result.data()) + kAnswerHeadSize;
    for (auto it = data.cbegin(); it != data.cend(); ++it, word += 2)
        qToBigEndian(it.value(), word);
    return result;
}
