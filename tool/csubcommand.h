#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QTextStream>

#include <utility>

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

// What a sub-command says of itself: fixed texts, so plain data.
struct SCommandText
{
    QString name;
    // One line for the list of commands.
    QString summary;
    // What --help of the sub-command says above its options.
    QString description;
    // The positional arguments as the usage line shows them.
    QString synopsis;
};

// One sub-command of quillbar-tool: its own options and positional arguments,
// and its run on the parsed command line.
class CSubCommand
{
public:
    explicit CSubCommand(SCommandText text)
        : m_text(std::move(text))
    {
    }
    virtual ~CSubCommand() = default;

    const QString &name() const { return m_text.name; }
    const QString &summary() const { return m_text.summary; }
    const QString &description() const { return m_text.description; }
    const QString &synopsis() const { return m_text.synopsis; }

    virtual void configure(QCommandLineParser &parser) const = 0;
    virtual int run(const QCommandLineParser &parser, SToolStreams &streams) = 0;

protected:
    // The one-line error of the sub-command, on standard error.
    int fail(SToolStreams &streams, const QString &message, int code) const
    {
        streams.err << QStringLiteral("quillbar-tool %1: %2").arg(name(), message) << Qt::endl;
        return code;
    }

private:
    SCommandText m_text;
};
