#pragma once

#include "csubcommand.h"

#include <QStringList>
#include <QTextStream>

#include <memory>
#include <vector>

// Chooses the sub-command by the first argument and runs it with a parser of
// its own, so that each sub-command has its own options and --help.
class CTool
{
public:
    CTool();

    int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

private:
    CSubCommand *find(const QString &name) const;
    QString usage() const;
    QString helpOf(const CSubCommand &command, const QCommandLineParser &parser) const;

    std::vector<std::unique_ptr<CSubCommand>> m_commands;
};
