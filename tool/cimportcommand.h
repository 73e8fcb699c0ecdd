#pragma once

#include "cimportplan.h"
#include "csubcommand.h"

// The rows of the import files, with the names the refusals give them.
struct SImportRows
{
    QString devicesName;
    QList<SCsvRecord> devices;
    QString registersName;  // empty without --registers
    QList<SCsvRecord> registers;
    // Whether the files have these optional columns: without them, what is
    // stored stays as it is.
    bool withMaxAge = false;
    bool withDecimals = false;
    bool withWritable = false;
};

// quillbar-tool import: devices and their scaling from CSV files, all or none,
// stored through the store exactly as the add form registers them.
class CImportCommand : public CSubCommand
{
public:
    CImportCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    // Checks the rows against the register file as it is now; false, with the
    // error written, when the file cannot be read.
    bool check(CImportPlan &plan, const SImportRows &rows, SToolStreams &streams) const;
    // Lists each refused row; ends as an import that wrote nothing.
    int refuse(const CImportPlan &plan, SToolStreams &streams) const;
    static void printPlan(const QList<SImportDevice> &devices, SToolStreams &streams);
    // Every device in one transaction of the store's connection, the rows
    // checked again once it holds the write lock.
    int store(const CAllDeviceHandler &registry, const SImportRows &rows, SToolStreams &streams);
};
