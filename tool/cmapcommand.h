#pragma once

#include "cstorereader.h"
#include "csubcommand.h"

class CTableWriter;
class CTemplateFolder;

// quillbar-tool map [DB]: the register map of every stored device, for the
// tag database of a SCADA system. Reads the register file without changing
// it, also while the program runs.
class CMapCommand : public CSubCommand
{
public:
    CMapCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    static void addDownlinkRows(const QList<SStoredDevice> &devices, const CTemplateFolder &folder,
                                bool withDecimals, CTableWriter &table);
    // The status registers, when the settings beside the register file set
    // their port: the fixed fields, then one age a ModBus device by ascending
    // device id. ExitFindings, with the warning written, when a device holds
    // that port and the program would leave the block off.
    int addStatusRows(const SStoredDevices &devices, CTableWriter &table, SToolStreams &streams) const;
};
