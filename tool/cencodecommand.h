#pragma once

#include "csubcommand.h"

#include "devices/cdownlinkencoder.h"

// quillbar-tool encode TEMPLATE.json OFFSET=VALUE...: builds the payload of
// each downlink that the given register values touch, with the program's own
// encoder, and prints what the program would send for such a ModBus write.
class CEncodeCommand : public CSubCommand
{
public:
    CEncodeCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    // Puts one value of the command line into the words of its field.
    bool putValue(const SDownlinkField &field, const QString &text, CDownlinkEncoder::Words &words,
                  SToolStreams &streams) const;
};
