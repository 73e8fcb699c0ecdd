#include "ccheckcommand.h"

#include "cmessagecollector.h"
#include "ctemplatelayout.h"
#include "cworkfolder.h"

#include "core/constants.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QString kIndent = QStringLiteral("  ");

QString row(const QStringList &cells)
{
    static const QList<int> widths = {8, 11, 36, 10};
    QString text;
    for (int i = 0; i < cells.size(); ++i)
        text += i < widths.size() ? cells.at(i).leftJustified(widths.at(i)) + QLatin1Char(' ') : cells.at(i);
    return text.trimmed();
}

// The program's parse error gives a character offset that it calls a row; a
// template's author needs the line and column.
QString jsonPosition(const QString &filePath, const QString &programLine)
{
    static const QRegularExpression offsetPattern(QStringLiteral("Invalid parsing JSON file .*, row\\[(\\d+)\\]$"));
    const QRegularExpressionMatch match = offsetPattern.match(programLine);
    QFile file(filePath);
    if (!match.hasMatch() || !file.open(QIODevice::ReadOnly))
        return QString();
    const QString before = QString::fromUtf8(file.readAll().left(match.captured(1).toInt()));
    const int line = int(before.count(QLatin1Char('\n'))) + 1;
    const int column = int(before.size() - before.lastIndexOf(QLatin1Char('\n')));
    return QStringLiteral("at line %1, column %2").arg(line).arg(column);
}

} // namespace

CCheckCommand::CCheckCommand()
    : CSubCommand({
        QStringLiteral("check"),
        QStringLiteral("Check the templates of a folder as Quillbar loads them."),
        QStringLiteral("Load the templates of a folder as Quillbar does and report what is accepted, refused "
                       "or likely wrong. Exit code 0 when all is accepted without warning, 1 when anything is "
                       "refused or warned about, 2 on a wrong command line."),
        QStringLiteral("[FOLDER]")
    })
{
}

void CCheckCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("FOLDER"),
                                 QStringLiteral("The template folder (default %1 of the working folder).")
                                         .arg(FileName::deviceFolder),
                                 QStringLiteral("[FOLDER]"));
    CWorkFolder::addOption(parser);
}

int CCheckCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() > 1)
        return fail(streams, QStringLiteral("one folder at most"), ExitUsage);
    const QString folderPath = arguments.isEmpty() ? CWorkFolder::fileIn(parser, FileName::deviceFolder)
                                                   : arguments.first();
    if (!QFileInfo(folderPath).isDir() && arguments.isEmpty())
        return fail(streams, QStringLiteral("%1 has no %2; name the working folder with --dir, or the template "
                                            "folder")
                                     .arg(QFileInfo(folderPath).absolutePath(), FileName::deviceFolder),
                    ExitFindings);
    if (!QFileInfo(folderPath).isDir())
        return fail(streams, QStringLiteral("no folder \"%1\"").arg(folderPath), ExitFindings);

    QTextStream &out = streams.out;
    CMessageCollector collector;
    CTemplateFolder folder;
    int files = 0;
    int refused = 0;
    int warnings = 0;
    CTemplateFolder::SFileHooks hooks;
    // What comes before the first file is the folder's list of names.
    hooks.started = [&collector](const QString &) { collector.takeLines(); };
    hooks.finished = [&](const QString &fileName, const STemplateFileOutcome &outcome) {
        ++files;
        refused += outcome.refused;
        out << QStringLiteral("%1: %2 accepted, %3 refused")
                        .arg(fileName, QString::number(outcome.stored.size()), QString::number(outcome.refused))
            << Qt::endl;
        for (const QString &line : collector.takeLines()) {
            out << kIndent << line << Qt::endl;
            const QString position = jsonPosition(QDir(folderPath).filePath(fileName), line);
            if (!position.isEmpty())
                out << kIndent << position << Qt::endl;
        }
        for (const QString &appEui : outcome.stored) {
            if (CTemplateFolder::isTcpFile(fileName))
                reportTcpTemplate(folder.tcpTemplates().value(appEui), out);
            else
                warnings += reportTemplate(folder.templates().value(appEui), out);
        }
    };
    folder.load(folderPath, hooks);

    // A folder without templates gets the program's own line.
    for (const QString &line : collector.takeLines())
        out << line << Qt::endl;
    out << QStringLiteral("%1 files, %2 templates accepted, %3 refused, %4 warnings")
                    .arg(QString::number(files),
                         QString::number(folder.templates().size() + folder.tcpTemplates().size()),
                         QString::number(refused), QString::number(warnings))
        << Qt::endl;
    return files > 0 && refused == 0 && warnings == 0 ? ExitClean : ExitFindings;
}

int CCheckCommand::reportTemplate(const SDeviceTemplate &deviceTemplate, QTextStream &out) const
{
    out << kIndent << QStringLiteral("template %1 \"%2\", colour %3")
                              .arg(deviceTemplate.appEui, deviceTemplate.devType, deviceTemplate.color.name())
        << (deviceTemplate.twosComplement ? QStringLiteral(", negative values as two's complement") : QString())
        << Qt::endl;
    const CTemplateLayout layout(deviceTemplate);
    const QString tableIndent = kIndent + kIndent;
    out << tableIndent << row({"offset", "registers", "name", "type", "source"}) << Qt::endl;
    for (const SLayoutEntry &entry : layout.entries()) {
        out << tableIndent
            << row({QString::number(entry.offset), QString::number(entry.registers), entry.name, entry.dataType,
                    entry.source})
            << Qt::endl;
    }
    for (const QString &warning : layout.warnings())
        out << kIndent << QStringLiteral("warning: ") << warning << Qt::endl;
    for (const SDownlink &entry : deviceTemplate.downlinks)
        out << kIndent << describeDownlink(entry) << Qt::endl;
    if (deviceTemplate.refusedDownlinks > 0) {
        out << kIndent
            << QStringLiteral("warning: %1 downlink entr%2 refused (see above): %3 registers take no writes")
                       .arg(deviceTemplate.refusedDownlinks)
                       .arg(deviceTemplate.refusedDownlinks == 1 ? QStringLiteral("y") : QStringLiteral("ies"),
                            deviceTemplate.refusedDownlinks == 1 ? QStringLiteral("its") : QStringLiteral("their"))
            << Qt::endl;
    }
    return int(layout.warnings().size()) + deviceTemplate.refusedDownlinks;
}

// One line an entry: where it sends, what it takes and where its outcome reads.
QString CCheckCommand::describeDownlink(const SDownlink &entry)
{
    QStringList registers;
    for (const SDownlinkField &field : entry.fields) {
        const qint32 last = field.regMapBias + field.registerCount() - 1;
        QString text = last == field.regMapBias ? QString::number(last)
                                                : QStringLiteral("%1-%2").arg(field.regMapBias).arg(last);
        text += QStringLiteral(" %1 (%2 %3 bits at byte %4")
                        .arg(field.dataName, field.dataType, QString::number(field.dataBitSize),
                             QString::number(field.packetBias));
        if (field.dataType != DataType::text)
            text += QStringLiteral(", %1 to %2").arg(field.lowest()).arg(field.highest());
        if (field.bigEndian)
            text += QStringLiteral(", big-endian");
        registers.append(text + QLatin1Char(')'));
    }
    QString line = QStringLiteral("downlink \"%1\": LoRaWAN port %2, %3, %4 bytes from 0x%5; registers %6")
                           .arg(entry.name, QString::number(entry.loraPort),
                                entry.confirmed ? QStringLiteral("confirmed") : QStringLiteral("unconfirmed"),
                                QString::number(entry.packetSize),
                                QStringLiteral("%1").arg(entry.packetType, 2, 16, QLatin1Char('0')),
                                registers.join(QStringLiteral("; ")));
    line += QStringLiteral("; status %1, time %2-%3").arg(entry.statusReg).arg(entry.statusTimeReg).arg(entry.statusTimeReg + 1);
    if (entry.minIntervalSeconds > 0)
        line += QStringLiteral(", at most one send in %1 s").arg(entry.minIntervalSeconds);
    return line;
}

void CCheckCommand::reportTcpTemplate(const STCPDeviceTemplate &deviceTemplate, QTextStream &out) const
{
    out << kIndent << QStringLiteral("TCP template %1 \"%2\", colour %3")
                              .arg(deviceTemplate.appEui, deviceTemplate.devType, deviceTemplate.color.name())
        << Qt::endl;
}
