#pragma once

#include "csubcommand.h"

// quillbar-tool logging: the log keeping of the settings dialog, with its ranges.
class CLoggingCommand : public CSubCommand
{
public:
    CLoggingCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    int show(SToolStreams &streams) const;
};
