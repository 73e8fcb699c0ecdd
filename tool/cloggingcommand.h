#pragma once

#include "csubcommand.h"

// quillbar-tool logging: the log keeping of the settings dialog, with its ranges.
class CLoggingCommand : public CSubCommand
{
public:
    QString name() const override;
    QString summary() const override;
    QString description() const override;
    QString synopsis() const override;
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    int show(SToolStreams &streams) const;
};
