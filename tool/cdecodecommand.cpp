#include "cdecodecommand.h"

#include "cmessagecollector.h"
#include "cregisterimage.h"
#include "cstorereader.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "devices/ctemplatefolder.h"
#include "devices/cuplinkdecoder.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QRegularExpression>

#include <limits>
#include <memory>

namespace {

const QString kStartOption = QStringLiteral("start");
const QString kDeviceOption = QStringLiteral("device");
const QString kRxOption = QStringLiteral("rx");
const QString kDbOption = QStringLiteral("db");

// Whole bytes of hexadecimal digits; spaces between them are allowed.
std::optional<QByteArray> parseHex(QString text)
{
    text.remove(QRegularExpression(QStringLiteral("\\s")));
    if (text.startsWith(QStringLiteral("0x"), Qt::CaseInsensitive))
        text = text.mid(2);
    static const QRegularExpression hexDigits(QStringLiteral("^([0-9A-Fa-f]{2})+$"));
    if (!hexDigits.match(text).hasMatch())
        return std::nullopt;
    return QByteArray::fromHex(text.toLatin1());
}

} // namespace

CDecodeCommand::CDecodeCommand()
    : CSubCommand({
        QStringLiteral("decode"),
        QStringLiteral("Decode one payload with a template as Quillbar does."),
        QStringLiteral("Decode one payload with a template as Quillbar does and print each register a ModBus "
                       "client would read: address, word in hexadecimal and decimal, name, and the whole value "
                       "of a wide register. Exit code 1 when the template or the payload is refused."),
        QStringLiteral("TEMPLATE.json PAYLOAD_HEX")
    })
{
}

void CDecodeCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("TEMPLATE.json"), QStringLiteral("A device template file."));
    parser.addPositionalArgument(QStringLiteral("PAYLOAD_HEX"),
                                 QStringLiteral("The payload in hexadecimal, its first byte the packet type."));
    parser.addOption({kStartOption,
                      QStringLiteral("The device's start address (default 0, or the stored one with --device)."),
                      QStringLiteral("ADDR")});
    parser.addOption({kDeviceOption,
                      QStringLiteral("Scale with the multipliers and offsets stored for this device in the "
                                     "register file."),
                      QStringLiteral("DEVEUI")});
    parser.addOption({kRxOption,
                      QStringLiteral("Fill the server data from an \"rx\" message of the network server."),
                      QStringLiteral("FILE.json")});
    parser.addOption({kDbOption,
                      QStringLiteral("The register file for --device (default %1 of the working folder).")
                              .arg(FileName::database),
                      QStringLiteral("DB")});
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CDecodeCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 2)
        return fail(streams, QStringLiteral("needs TEMPLATE.json and PAYLOAD_HEX"), ExitUsage);
    const std::optional<QByteArray> payload = parseHex(arguments.at(1));
    if (!payload)
        return fail(streams, QStringLiteral("bad hex \"%1\": whole bytes of hexadecimal digits").arg(arguments.at(1)),
                    ExitUsage);
    bool startOk = true;
    const quint32 startOption = parser.isSet(kStartOption) ? parser.value(kStartOption).toUInt(&startOk, 0) : 0;
    // A ModBus address has 16 bits; a larger start would wrap around silently.
    if (!startOk || startOption > std::numeric_limits<quint16>::max())
        return fail(streams, QStringLiteral("bad start address \"%1\"").arg(parser.value(kStartOption)), ExitUsage);
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;

    const QString templatePath = arguments.at(0);
    const QFileInfo templateFile(templatePath);
    if (!templateFile.isFile())
        return fail(streams, QStringLiteral("no file \"%1\"").arg(templatePath), ExitFindings);
    if (CTemplateFolder::isTcpFile(templateFile.fileName()))
        return fail(streams, QStringLiteral("\"%1\" lists TCP devices, which are not decoded").arg(templatePath),
                    ExitFindings);

    CMessageCollector collector;
    const auto flushLines = [&collector, &streams] {
        for (const QString &line : collector.takeLines())
            streams.out << line << Qt::endl;
    };
    CTemplateFolder folder;
    const STemplateFileOutcome outcome = folder.loadTemplateFile(templateFile.fileName(), templatePath);
    if (outcome.stored.isEmpty()) {
        flushLines();
        return fail(streams, QStringLiteral("\"%1\" is not a usable device template").arg(templatePath),
                    ExitFindings);
    }
    collector.takeLines();
    const SDeviceTemplate deviceTemplate = folder.templates().first();

    std::optional<API::SApiDeviceData> uplink = uplinkFrom(parser, *payload, streams);
    if (!uplink)
        return ExitFindings;

    quint32 startAddr = startOption;
    std::unique_ptr<CStoreReader> store;
    if (parser.isSet(kDeviceOption)) {
        const QString devEui = parser.value(kDeviceOption);
        const QString dbPath = parser.isSet(kDbOption) ? parser.value(kDbOption)
                                                       : CWorkFolder::fileIn(parser, FileName::database);
        store = std::make_unique<CStoreReader>(dbPath, CWorkFolder::waitMs());
        if (!store->open())
            return fail(streams, store->errorText(), ExitFindings);
        const std::optional<DB::SDeviceRegMapDescription> stored = store->device(devEui);
        if (!stored)
            return fail(streams, QStringLiteral("device %1 is not stored in the register file").arg(devEui),
                        ExitFindings);
        if (stored->appEui.toUpper() != deviceTemplate.appEui) {
            return fail(streams, QStringLiteral("device %1 is of application EUI %2, the template of %3")
                                         .arg(devEui, stored->appEui, deviceTemplate.appEui),
                        ExitFindings);
        }
        if (!parser.isSet(kStartOption))
            startAddr = stored->startAddr;
        uplink->devEui = devEui;
    }

    CStoreReader *scalingStore = store.get();
    const QString devEui = uplink->devEui;
    const CUplinkDecoder decoder(deviceTemplate, [scalingStore, devEui](quint32 regAddr) {
        return scalingStore ? scalingStore->registerParam(devEui, regAddr) : DB::SRegisterParam();
    });
    const std::optional<DB::SDbDeviceRegDataSet> set = decoder.decode(*uplink, startAddr);
    flushLines();
    if (!set)
        return ExitFindings;
    if (scalingStore && scalingStore->paramFailed())
        return fail(streams, scalingStore->errorText(), ExitFindings);

    CRegisterImage image(deviceTemplate.registerMap(), startAddr);
    image.write(*set);
    for (const SRegisterWord &reg : image.words()) {
        QString line = QStringLiteral("%1  0x%2  %3  %4")
                               .arg(QString::number(reg.address).rightJustified(5),
                                    QStringLiteral("%1").arg(reg.word, 4, 16, QLatin1Char('0')),
                                    QString::number(reg.word).rightJustified(5), reg.name);
        if (!reg.fullValue.isEmpty())
            line += QStringLiteral("  = %1").arg(reg.fullValue);
        streams.out << line << Qt::endl;
    }
    return ExitClean;
}

std::optional<API::SApiDeviceData> CDecodeCommand::uplinkFrom(const QCommandLineParser &parser,
                                                              const QByteArray &payload,
                                                              SToolStreams &streams) const
{
    API::SApiDeviceData uplink;
    if (parser.isSet(kRxOption)) {
        const QString path = parser.value(kRxOption);
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            fail(streams, QStringLiteral("no file \"%1\"").arg(path), ExitFindings);
            return std::nullopt;
        }
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            fail(streams, QStringLiteral("\"%1\" is not a JSON object").arg(path), ExitFindings);
            return std::nullopt;
        }
        uplink = API::SApiDeviceData(document.object());
        if (!uplink.valid) {
            fail(streams, QStringLiteral("\"%1\" is not an uplink rx message").arg(path), ExitFindings);
            return std::nullopt;
        }
    }
    uplink.data = payload;
    uplink.valid = true;
    return uplink;
}
