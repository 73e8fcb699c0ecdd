// The ModBus framing of one connection: random bytes arrive in pieces of
// random sizes, and every answer must be a well-formed reply to a request.
// The register store lives in a temporary folder.

#include "database/cdatabasehandler.h"
#include "devices/cdownlinkqueue.h"
#include "tcp/cmodbusframing.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtEndian>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr quint16 kPort = 502;
constexpr int kAnswerHeadSize = 9;
constexpr quint8 kExceptionFlag = 0x80;
constexpr int kWriteEchoSize = 12;

// Writes of the stored device become downlinks: a narrow signed value with
// limits, a wide one with a scaling, and text.
const char *const kDownlinks = R"({"app_eui":"F1A7C0DE000000A1","dev_type":"t","device_packets":[{"packet_type":1,
    "packet_fields":[{"packet_bias":1,"data_bit_bias":0,"data_bit_size":8,"data_type":"integer","reg_map_bias":0,
    "reg_bit_bias":0,"reg_bit_size":16,"data_name":"a"}]}],"downlinks":[
    {"name":"a","port":1,"packet_type":1,"status_reg":20,"status_time_reg":21,"packet_fields":[
        {"data_name":"a","reg_map_bias":0,"packet_bias":1,"data_bit_size":8,"data_type":"integer","min":-50,"max":50}]},
    {"name":"b","port":2,"packet_type":2,"status_reg":23,"status_time_reg":24,"packet_fields":[
        {"data_name":"b","reg_map_bias":1,"reg_bit_size":32,"packet_bias":1,"data_bit_size":16,
         "data_type":"uinteger","multiplier":0.25,"offset":-3},
        {"data_name":"c","reg_map_bias":3,"reg_bit_size":64,"packet_bias":3,"data_bit_size":48,
         "data_type":"text"}]}]})";

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &)
{
}

DB::SDeviceRegDescription reg(quint32 offset, quint32 bits)
{
    DB::SDeviceRegDescription description;
    description.name = QStringLiteral("r%1").arg(offset);
    description.regAddr = offset;
    description.bitSize = bits;
    return description;
}

// Narrow and wide values, one of them at the top of the address space.
void fillStore()
{
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    if (!store)
        std::abort();
    const QString devEui = QStringLiteral("00000000000000A1");
    store->registerNewDevice({devEui, "F1A7C0DE000000A1", devEui, 100,
                              {reg(0, 16), reg(1, 32), reg(3, 64), reg(65432, 64)}, kPort},
                             ProtocolOption::ModBus);
    store->saveRegisterData({devEui, 100, {{"1234", "1234", 0}, {"89ab", "89abcdef", 1},
                                           {"0102", "0102030405060708", 3}, {"ffff", "ffffeeeeddddcccc", 65432}}});
}

quint16 wordAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint16>(bytes.constData() + offset);
}

// An answer stands on its own: its length field, byte count and function
// code agree with its size.
void checkAnswer(const QByteArray &answer)
{
    if (answer.size() < kAnswerHeadSize)
        std::abort();
    const quint8 function = quint8(answer.at(7));
    if (function & kExceptionFlag) {
        const quint8 code = quint8(answer.at(8));
        if (answer.size() != kAnswerHeadSize || wordAt(answer, 4) != 3
            || (code != CModbusFraming::IllegalFunction && code != CModbusFraming::IllegalDataAddress
                && code != CModbusFraming::IllegalDataValue && code != CModbusFraming::ServerDeviceFailure))
            std::abort();
        return;
    }
    if (function == 6 || function == 16) {
        if (answer.size() != kWriteEchoSize || wordAt(answer, 4) != 6)
            std::abort();
        return;
    }
    const int values = answer.size() - kAnswerHeadSize;
    if ((function != 3 && function != 4) || values % 2 != 0 || wordAt(answer, 4) != quint16(values + 3)
        || quint8(answer.at(8)) != quint8(values))
        std::abort();
}

CModbusFraming::SRegisterSource &source()
{
    static CModbusFraming::SRegisterSource registers = CModbusFraming::storeSource();
    return registers;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication app(*argc, *argv);
    static QTemporaryDir workDir;
    // The store opens its file by a relative name, and libFuzzer reads the
    // corpus folders by theirs afterwards.
    const QString corpusDir = QDir::currentPath();
    if (!workDir.isValid() || !QDir::setCurrent(workDir.path()))
        std::abort();
    qInstallMessageHandler(dropMessage);
    fillStore();
    static CDownlinkQueue downlinks;
    downlinks.watch(QStringLiteral("00000000000000A1"), kPort, 100,
                    SDeviceTemplate(QJsonDocument::fromJson(kDownlinks).object()));
    source().write = [](quint16 port, quint16 startAddress, const QList<quint16> &words) {
        return downlinks.write(port, startAddress, words);
    };
    QDir::setCurrent(corpusDir);
    return 0;
}

// The first byte sets the size of the pieces and how often the sender holds
// the rest back; the others are the stream.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const int pieceSize = (data[0] & 0x1f) + 1;
    const int holdEvery = data[0] >> 5;
    int answers = 0;
    CModbusFraming framing(kPort, [&answers, holdEvery](const QByteArray &answer) {
        checkAnswer(answer);
        ++answers;
        return holdEvery == 0 || answers % holdEvery != 0;
    }, source());

    const QByteArray stream(reinterpret_cast<const char *>(data) + 1, int(size) - 1);
    for (int offset = 0; offset < stream.size(); offset += pieceSize) {
        framing.received(stream.mid(offset, pieceSize));
        while (framing.isHeld())
            framing.resume();
    }
    return 0;
}
