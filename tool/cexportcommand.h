#pragma once

#include "csubcommand.h"

// quillbar-tool export: the stored devices in the import format.
class CExportCommand : public CSubCommand
{
public:
    CExportCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;
};
