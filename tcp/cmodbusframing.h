#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>

#include <functional>
#include <optional>

// The ModBus-TCP framing of one connection, apart from its socket: bytes in,
// answers and log lines out. Requests are answered in order from the register
// source of the port, by default the register store. The sender writes an
// answer and tells whether the next one may start at once; when it may not,
// the rest of the buffer is held until resume().
class CModbusFraming
{
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

    // The exception codes this bridge answers with.
    enum EException : quint8 {
        IllegalFunction = 1,
        IllegalDataAddress = 2,
        IllegalDataValue = 3,
        ServerDeviceFailure = 4,
        GatewayTargetFailed = 0x0B,
    };

    using Sender = std::function<bool(const QByteArray &answer)>;
    // Address to word for every address of a read of the port; nothing when
    // the registers cannot be read now, and no word at all for a read of
    // addresses that hold no register.
    using Reader =
            std::function<std::optional<QMap<quint16, quint16>>(quint16 port, quint16 startAddress, quint16 count)>;

    // Whether a device behind the read stopped reporting; the read then
    // answers exception 0B, which a SCADA takes as its comm failure.
    using TargetCheck = std::function<bool(quint16 port, quint16 startAddress, quint16 count)>;

    // Takes a write of holding registers (function 6 or 16): 0 when it is
    // taken, or the exception code to answer.
    using Writer = std::function<quint8(quint16 port, quint16 startAddress, const QList<quint16> &words)>;

    struct SRegisterSource
    {
        Reader read;
        // A journaled port writes its requests and answers to the log file and
        // counts them as answered device requests; the others only to the
        // debug stream.
        bool journaled = true;
        TargetCheck targetFailed;   // none: every target answers
        Writer write;               // none: writes answer exception 01
    };

    // The register store, journaled. Where the settings ask for strict
    // addresses, a read that meets no stored register finds no word.
    static SRegisterSource storeSource();

    CModbusFraming(quint16 port, Sender sender, SRegisterSource source = storeSource());

    // What one read of the socket gave.
    void received(const QByteArray &bytes);
    // Answers what was held back, if anything.
    void resume();
    bool isHeld() const { return m_held; }

    static QByteArray answer(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header,
                             const QMap<quint16, quint16> &data);

private:
    void answerFrames();
    // Whether the next answer may start at once.
    // The frame is at the front of the request buffer.
    bool answerRequest(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header, int frameSize);
    QByteArray answerRead(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header);
    QByteArray answerWrite(const SModbusMBAP &mbap, const SModbusTcpPacketHeader &header, int frameSize);
    void journal(const QString &line) const;
    void logIncomplete(int stage) const;

    quint16 m_port = 0;
    Sender m_sender;
    SRegisterSource m_source;
    QByteArray m_requestBuffer;
    bool m_held = false;
};
