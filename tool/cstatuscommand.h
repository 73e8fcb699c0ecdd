#pragma once

#include "csubcommand.h"

// quillbar-tool status: the port of the status registers, or none.
class CStatusCommand : public CSubCommand
{
public:
    CStatusCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    // The holder of the port in the folder's register file (empty without
    // one); false, with the error written, when the file cannot be read.
    bool findHolder(quint16 port, QString *holder, SToolStreams &streams) const;
    int show(SToolStreams &streams) const;
};
