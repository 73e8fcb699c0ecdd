#pragma once

#include "csubcommand.h"

#include "devices/ctemplatefolder.h"

// quillbar-tool check [FOLDER]: loads every template of a folder as the
// program does and tells, file by file, what was accepted and refused with
// the program's own texts, the register layout of each accepted template,
// and what is accepted silently but almost surely a mistake.
class CCheckCommand : public CSubCommand
{
public:
    CCheckCommand();
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

private:
    // Returns the number of warnings.
    int reportTemplate(const SDeviceTemplate &deviceTemplate, QTextStream &out) const;
    void reportTcpTemplate(const STCPDeviceTemplate &deviceTemplate, QTextStream &out) const;
    static QString describeDownlink(const SDownlink &entry);
};
