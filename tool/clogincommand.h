#pragma once

#include "csubcommand.h"

// quillbar-tool login: the server login that the program uses at its next
// start. The password is read, never taken as an argument, since a process
// list shows arguments.
class CLoginCommand : public CSubCommand
{
public:
    CLoginCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    struct SLogin
    {
        QString origin;
        QString user;
        QString password;
    };

    // One line from standard input, without echo when it is a terminal.
    static QString readPassword(SToolStreams &streams);
    // Logs in to the server as the program would, and says what happened.
    int test(const SLogin &login, SToolStreams &streams) const;
    int testStored(SToolStreams &streams) const;
};
