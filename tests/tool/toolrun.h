#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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

inline void writeFile(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Empty if the file cannot be read.
inline QByteArray fileHash(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// Writes the devices as "devices.csv" of a site, the working directory by
// default, and imports them there. False, with the tool's errors logged, unless
// the import succeeded.
inline bool importSeed(const QByteArray &devices, const QString &site = QString())
{
    QFile file(QDir(site.isEmpty() ? QStringLiteral(".") : site).filePath(QStringLiteral("devices.csv")));
    if (!file.open(QIODevice::WriteOnly) || file.write(devices) != devices.size())
        return false;
    file.close();
    QStringList arguments = {QStringLiteral("import")};
    if (!site.isEmpty())
        arguments += {QStringLiteral("--dir"), site};
    arguments += QFileInfo(file).absoluteFilePath();
    const SToolRun run = runTool(arguments);
    if (run.exitCode != 0)
        qWarning("%s", qPrintable(run.err.join(QLatin1Char('\n'))));
    return run.exitCode == 0;
}
