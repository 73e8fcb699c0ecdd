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
    // One line from standard input, without echo when it is a terminal.
    static QString readPassword(SToolStreams &streams);
};
