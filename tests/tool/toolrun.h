#pragma once

#include <QProcess>
#include <QStringList>
#include <QTest>

// One run of quillbar-tool in the current working directory.
struct SToolRun
{
    int exitCode = -1;
    QString out;
    QStringList err;    // lines

    QStringList outLines() const { return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
};

inline void startTool(QProcess &process, const QStringList &arguments)
{
    process.setProgram(QStringLiteral(QUILLBAR_TOOL));
    process.setArguments(arguments);
    process.start();
}

inline SToolRun finishTool(QProcess &process)
{
    SToolRun run;
    // Waiting on a process that has ended already reports a failure.
    if (process.state() != QProcess::NotRunning)
        process.waitForFinished(60000);
    if (process.state() != QProcess::NotRunning || process.exitStatus() != QProcess::NormalExit)
        return run;
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return run;
}

inline SToolRun runTool(const QStringList &arguments)
{
    QProcess process;
    startTool(process, arguments);
    return finishTool(process);
}

// A run that reads the given text on its standard input.
inline SToolRun runToolWithInput(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    startTool(process, arguments);
    process.write(input);
    process.closeWriteChannel();
    return finishTool(process);
}
