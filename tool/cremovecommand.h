#pragma once

#include "csubcommand.h"

// quillbar-tool remove: one device through the store's delete.
class CRemoveCommand : public CSubCommand
{
public:
    CRemoveCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;
};
