#pragma once

#include "csubcommand.h"

#include <optional>

class CDataBaseHandler;

// The program's working folder that a sub-command works in: the one --dir
// names, else the service's folder when the tool runs as the service's user,
// else the current directory. The process stays where it was started, so that
// the files a user names stay relative to it; the folder's own files are named
// through filePath().
class CWorkFolder
{
public:
    static void addOption(QCommandLineParser &parser);
    // False, with the error written, when the folder does not exist.
    static bool locate(const QCommandLineParser &parser, SToolStreams &streams, const QString &command);
    // The same, and refused with one line naming it when the folder holds
    // none of settings.conf, server.db and deviceFolder: a command that reads
    // a site must not answer for an empty folder. ExitClean when found, else
    // the exit code, the error written.
    static int locateSite(const QCommandLineParser &parser, SToolStreams &streams, const QString &command);
    // A file of the working folder, before it is located: as the relative name
    // when that folder is the current one.
    static QString fileIn(const QCommandLineParser &parser, const QString &name);
    // A file of the located folder, named the same way.
    static QString filePath(const QString &name);
    // The located folder as the operator reads it: absolute, links resolved.
    static QString displayPath();
    // --wait: how long a command that opens server.db waits for another
    // program's lock on it before it gives up.
    static void addWaitOption(QCommandLineParser &parser);
    // False, with the usage error written, when --wait is not a number of seconds.
    static bool readWait(const QCommandLineParser &parser, SToolStreams &streams, const QString &command);
    // The wait of --wait (or its default) in milliseconds; 0 does not wait.
    static int waitMs();
    // The settings store of the folder, opened once.
    static void openSettings();
    // The operator's log of the folder, for the tool's own line of each
    // change; the library's texts are kept for the tool's messages instead.
    static void openLog();
    // The library's texts since the log was opened, taken: why a step failed.
    static QString takeLibraryText();
    // The one line in the operator's log of a change the tool made.
    static void logChange(const QString &command, const QString &text);
    // The program's store of the folder (made with its schema when missing),
    // waiting for a lock of the running program as long as --wait allows;
    // null when it cannot be opened.
    static CDataBaseHandler *openStore();
    // The status port of the open settings store: 0 when the status
    // registers are off, nothing when the value is not a port.
    static std::optional<quint16> statusPort();
    // The one line after every change.
    static void noteRestart(SToolStreams &streams);
    // The line for a port that an ordinary user cannot listen on.
    static void notePrivilegedPort(SToolStreams &streams, quint16 port);
};
