#include "cencodecommand.h"

#include "cmessagecollector.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "devices/ctemplatefolder.h"

#include <QFileInfo>

#include <limits>

namespace {

const QString kStartOption = QStringLiteral("start");

struct SEntryValues
{
    const SDownlink *entry = nullptr;
    CDownlinkEncoder::Words words;
    QList<const SDownlinkField *> given;
};

} // namespace

CEncodeCommand::CEncodeCommand()
    : CSubCommand({
        QStringLiteral("encode"),
        QStringLiteral("Build the downlink payload that a ModBus write would send."),
        QStringLiteral("Build, with the program's own encoder, the payload of each downlink of a template that "
                       "the given register values touch, and print its LoRaWAN port and payload in hexadecimal. "
                       "Each value goes to the field whose first register is at OFFSET from the device's start "
                       "address (or at that ModBus address with --start): a number as the SCADA writes it, "
                       "negative for an integer field, or text for a text field. A field not given reads 0. "
                       "Exit code 1 when a value is refused, as the program would answer exception 03."),
        QStringLiteral("TEMPLATE.json OFFSET=VALUE...")
    })
{
}

void CEncodeCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("TEMPLATE.json"), QStringLiteral("A device template file."));
    parser.addPositionalArgument(QStringLiteral("OFFSET=VALUE"), QStringLiteral("A register value to write."),
                                 QStringLiteral("OFFSET=VALUE..."));
    parser.addOption({kStartOption,
                      QStringLiteral("The device's start address: OFFSET is then a ModBus address."),
                      QStringLiteral("ADDR")});
    CWorkFolder::addOption(parser);
}

int CEncodeCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() < 2)
        return fail(streams, QStringLiteral("needs TEMPLATE.json and at least one OFFSET=VALUE"), ExitUsage);
    bool startOk = true;
    const quint32 start = parser.isSet(kStartOption) ? parser.value(kStartOption).toUInt(&startOk, 0) : 0;
    if (!startOk || start > std::numeric_limits<quint16>::max())
        return fail(streams, QStringLiteral("bad start address \"%1\"").arg(parser.value(kStartOption)), ExitUsage);

    const QString templatePath = arguments.at(0);
    if (!QFileInfo(templatePath).isFile())
        return fail(streams, QStringLiteral("no file \"%1\"").arg(templatePath), ExitFindings);
    CMessageCollector collector;
    CTemplateFolder folder;
    const STemplateFileOutcome outcome =
            folder.loadTemplateFile(QFileInfo(templatePath).fileName(), templatePath);
    const QStringList reasons = collector.takeLines();
    if (outcome.stored.isEmpty() || CTemplateFolder::isTcpFile(QFileInfo(templatePath).fileName())) {
        for (const QString &line : reasons)
            streams.out << line << Qt::endl;
        return fail(streams, QStringLiteral("\"%1\" is not a usable device template").arg(templatePath),
                    ExitFindings);
    }
    const SDeviceTemplate deviceTemplate = folder.templates().first();
    if (deviceTemplate.downlinks.isEmpty())
        return fail(streams, QStringLiteral("\"%1\" has no downlinks: its devices refuse writes with exception 01")
                                     .arg(templatePath),
                    ExitFindings);

    QList<SEntryValues> touched;
    for (const QString &argument : arguments.mid(1)) {
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        bool offsetOk = false;
        const qint64 address = argument.left(equals).toLongLong(&offsetOk, 0);
        const qint64 offset = address - qint64(start);
        if (equals < 0 || !offsetOk || offset < 0)
            return fail(streams, QStringLiteral("bad register value \"%1\": OFFSET=VALUE").arg(argument), ExitUsage);
        const SDownlink *entry = nullptr;
        const SDownlinkField *field = nullptr;
        for (const SDownlink &candidate : deviceTemplate.downlinks) {
            field = candidate.fieldAt(qint32(offset));
            if (field && field->regMapBias == offset) {
                entry = &candidate;
                break;
            }
        }
        if (!entry) {
            return fail(streams, QStringLiteral("no downlink field starts at register %1").arg(address),
                        ExitFindings);
        }
        auto values = std::find_if(touched.begin(), touched.end(),
                                   [entry](const SEntryValues &each) { return each.entry == entry; });
        if (values == touched.end())
            values = touched.insert(touched.end(), SEntryValues{entry, {}, {}});
        if (!putValue(*field, argument.mid(equals + 1), values->words, streams))
            return ExitUsage;
        values->given.append(field);
    }

    int code = ExitClean;
    for (const SEntryValues &values : touched) {
        const SDownlink &entry = *values.entry;
        streams.out << QStringLiteral("downlink \"%1\": LoRaWAN port %2, %3")
                               .arg(entry.name, QString::number(entry.loraPort),
                                    entry.confirmed ? QStringLiteral("confirmed") : QStringLiteral("unconfirmed"))
                    << Qt::endl;
        QString refusal;
        for (const SDownlinkField *field : values.given) {
            if (refusal.isEmpty())
                refusal = CDownlinkEncoder::outsideLimits(*field, values.words);
        }
        const CDownlinkEncoder::SResult result = CDownlinkEncoder::encode(entry, values.words);
        if (refusal.isEmpty())
            refusal = result.refusal;
        if (!refusal.isEmpty()) {
            streams.out << QStringLiteral("  refused with exception 03: %1").arg(refusal) << Qt::endl;
            code = ExitFindings;
            continue;
        }
        streams.out << QStringLiteral("  payload %1").arg(QString::fromLatin1(result.payload.toHex())) << Qt::endl;
    }
    return code;
}

bool CEncodeCommand::putValue(const SDownlinkField &field, const QString &text, CDownlinkEncoder::Words &words,
                              SToolStreams &streams) const
{
    const int count = field.registerCount();
    if (field.dataType == DataType::text) {
        const QByteArray bytes = text.toUtf8().leftJustified(2 * count, '\0', true);
        for (int word = 0; word < count; ++word)
            words.insert(field.regMapBias + word, quint16(quint8(bytes.at(2 * word)) << 8 | quint8(bytes.at(2 * word + 1))));
        return true;
    }
    // As the SCADA writes it: a negative value as the two's complement of the register width.
    const int width = field.regBitSize;
    const quint64 mask = width >= 64 ? ~quint64(0) : (quint64(1) << width) - 1;
    bool ok = false;
    quint64 bits = 0;
    if (text.startsWith(QLatin1Char('-'))) {
        const qint64 value = text.toLongLong(&ok, 0);
        ok = ok && (width >= 64 || value >= -(qint64(1) << (width - 1)));
        bits = quint64(value);
    } else {
        bits = text.toULongLong(&ok, 0);
        ok = ok && bits <= mask;
    }
    if (!ok) {
        fail(streams, QStringLiteral("bad value \"%1\" for %2: a number that %3 register(s) hold")
                              .arg(text, field.dataName, QString::number(count)),
             ExitUsage);
        return false;
    }
    bits &= mask;
    for (int word = count - 1; word >= 0; --word, bits >>= 16)
        words.insert(field.regMapBias + word, quint16(bits & 0xFFFF));
    return true;
}
