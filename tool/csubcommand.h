#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QTextStream>

// Exit codes shared by every sub-command.
enum EToolExit {
    ExitClean = 0,      // done, nothing to report
    ExitFindings = 1,   // something refused, warned about or unreadable
    ExitUsage = 2,      // the command line itself is wrong
};

// The standard streams of a run.
struct SToolStreams
{
    QTextStream &out;
    QTextStream &err;
};

// One sub-command of quillbar-tool: its own options and positional arguments,
// and its run on the parsed command line.
class CSubCommand
{
public:
    virtual ~CSubCommand() = default;

    virtual QString name() const = 0;
    // One line for the list of commands.
    virtual QString summary() const = 0;
    // What --help of the sub-command says above its options.
    virtual QString description() const = 0;
    // The positional arguments as the usage line shows them.
    virtual QString synopsis() const = 0;
    virtual void configure(QCommandLineParser &parser) const = 0;
    virtual int run(const QCommandLineParser &parser, SToolStreams &streams) = 0;

protected:
    // The one-line error of the sub-command, on standard error.
    int fail(SToolStreams &streams, const QString &message, int code) const
    {
        streams.err << QStringLiteral("quillbar-tool %1: %2").arg(name(), message) << Qt::endl;
        return code;
    }
};
