#pragma once

#include "csubcommand.h"

#include "server/apitypes.h"

#include <optional>

class CStoreReader;

// quillbar-tool decode TEMPLATE.json PAYLOAD_HEX: runs the program's decoder
// on one payload and prints every register a ModBus client would then read.
class CDecodeCommand : public CSubCommand
{
public:
    CDecodeCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    // The uplink of the --rx file with the given payload, or nothing after an error.
    std::optional<API::SApiDeviceData> uplinkFrom(const QCommandLineParser &parser, const QByteArray &payload,
                                                  SToolStreams &streams) const;
};
