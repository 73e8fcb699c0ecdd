#include "ctool.h"

#include "ccheckcommand.h"
#include "cdecodecommand.h"
#include "cencodecommand.h"
#include "cexportcommand.h"
#include "cimportcommand.h"
#include "cloggingcommand.h"
#include "clogincommand.h"
#include "cmapcommand.h"
#include "cmodbuscommand.h"
#include "cremovecommand.h"
#include "cstatuscommand.h"

namespace {

const QString kToolName = QStringLiteral("quillbar-tool");
const QStringList kHelpWords = {QStringLiteral("-h"), QStringLiteral("--help"), QStringLiteral("help")};

} // namespace

CTool::CTool()
{
    m_commands.push_back(std::make_unique<CCheckCommand>());
    m_commands.push_back(std::make_unique<CDecodeCommand>());
    m_commands.push_back(std::make_unique<CEncodeCommand>());
    m_commands.push_back(std::make_unique<CMapCommand>());
    m_commands.push_back(std::make_unique<CLoginCommand>());
    m_commands.push_back(std::make_unique<CLoggingCommand>());
    m_commands.push_back(std::make_unique<CStatusCommand>());
    m_commands.push_back(std::make_unique<CModbusCommand>());
    m_commands.push_back(std::make_unique<CImportCommand>());
    m_commands.push_back(std::make_unique<CExportCommand>());
    m_commands.push_back(std::make_unique<CRemoveCommand>());
}

int CTool::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (arguments.size() < 2) {
        err << usage();
        return ExitUsage;
    }
    const QString name = arguments.at(1);
    if (kHelpWords.contains(name)) {
        out << usage();
        return ExitClean;
    }
    CSubCommand *command = find(name);
    if (!command) {
        err << QStringLiteral("%1: unknown command \"%2\"; see %1 --help").arg(kToolName, name) << Qt::endl;
        return ExitUsage;
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(command->description());
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addHelpOption();
    command->configure(parser);
    QStringList commandArguments = arguments.mid(2);
    commandArguments.prepend(kToolName);
    SToolStreams streams{out, err};
    if (!parser.parse(commandArguments)) {
        // Qt's parser ends its error text with a full stop of its own.
        QString error = parser.errorText();
        if (error.endsWith(QLatin1Char('.')))
            error.chop(1);
        err << QStringLiteral("%1 %2: %3; see %1 %2 --help").arg(kToolName, name, error) << Qt::endl;
        return ExitUsage;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << helpOf(*command, parser);
        return ExitClean;
    }
    const int code = command->run(parser, streams);
    out.flush();
    err.flush();
    return code;
}

CSubCommand *CTool::find(const QString &name) const
{
    for (const auto &command : m_commands) {
        if (command->name() == name)
            return command.get();
    }
    return nullptr;
}

QString CTool::usage() const
{
    QString text = QStringLiteral("Usage: %1 COMMAND [options] [arguments]\n\n"
                                  "Checks device templates, previews the decoding of an uplink, exports the "
                                  "register map, and commissions a site: server login, log keeping, status "
                                  "registers, devices.\n\nCommands:\n")
                           .arg(kToolName);
    for (const auto &command : m_commands)
        text += QStringLiteral("  %1  %2\n").arg(command->name().leftJustified(8), command->summary());
    text += QStringLiteral("\nSee %1 COMMAND --help for the options of a command.\n"
                           "Exit codes: 0 done, 1 something refused, warned about or unreadable, "
                           "2 a wrong command line.\n")
                    .arg(kToolName);
    return text;
}

QString CTool::helpOf(const CSubCommand &command, const QCommandLineParser &parser) const
{
    // Qt's first line names the binary alone: name the sub-command too.
    QString help = parser.helpText();
    const int lineEnd = help.indexOf(QLatin1Char('\n'));
    const QString usageLine = QStringLiteral("Usage: %1 %2 [options] %3")
                                      .arg(kToolName, command.name(), command.synopsis());
    return usageLine + help.mid(lineEnd);
}
