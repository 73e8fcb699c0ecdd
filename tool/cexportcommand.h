#pragma once

#include "csubcommand.h"

// quillbar-tool export: the stored devices in the import format.
class CExportCommand : public CSubCommand
{
public:
    QString name() const override;
    QString summary() const override;
    QString description() const override;
    QString synopsis() const override;
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;
};
