#pragma once

#include "csubcommand.h"
#include "cstorereader.h"

#include <optional>

// quillbar-tool status: the port of the status registers, or none.
class CStatusCommand : public CSubCommand
{
public:
    QString name() const override;
    QString summary() const override;
    QString description() const override;
    QString synopsis() const override;
    void configure(QCommandLineParser &parser) const override;
    int run(const QCommandLineParser &parser, SToolStreams &streams) override;

    // The status port of the open settings store: 0 when the block is off,
    // nothing when the value is not a port.
    static std::optional<quint16> storedPort();
    // The stored device that publishes on the port, as "ModBus device EUI",
    // or empty when none does.
    static QString holderOf(quint16 port, const QList<SStoredDevice> &devices,
                            const QList<SStoredTcpDevice> &tcpDevices);

private:
    // The holder of the port in the folder's register file (empty without
    // one); false, with the error written, when the file cannot be read.
    bool findHolder(quint16 port, QString *holder, SToolStreams &streams) const;
    int show(SToolStreams &streams) const;
};
