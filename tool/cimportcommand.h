#pragma once

#include "cimportplan.h"
#include "csubcommand.h"

// quillbar-tool import: devices and their scaling from CSV files, all or none,
// stored through the store exactly as the add form registers them.
class CImportCommand : public CSubCommand
{
public:
    CImportCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    static void printPlan(const QList<SImportDevice> &devices, SToolStreams &streams);
    // Every device in one transaction of the store's connection.
    int store(const QList<SImportDevice> &devices, SToolStreams &streams);
};
