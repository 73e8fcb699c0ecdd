#pragma once

#include "csubcommand.h"

// quillbar-tool remove: one device through the store's delete.
class CRemoveCommand : public CSubCommand
{
public:
    QString name() const override;
    QString summary() const override;
    QString description() const override;
    QString synopsis() const override;
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;
};
