#pragma once

#include "csubcommand.h"

// quillbar-tool map [DB]: the register map of every stored device, for the
// tag database of a SCADA system. Reads the register file without changing
// it, also while the program runs.
class CMapCommand : public CSubCommand
{
public:
    QString name() const override;
    QString summary() const override;
    QString description() const override;
    QString synopsis() const override;
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;
};
