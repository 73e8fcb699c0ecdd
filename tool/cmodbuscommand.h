#pragma once

#include "csubcommand.h"

// quillbar-tool modbus: how the program answers ModBus reads of addresses
// where no device has a register, and which ports take writes.
class CModbusCommand : public CSubCommand
{
public:
    CModbusCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    static void show(SToolStreams &streams);
};
