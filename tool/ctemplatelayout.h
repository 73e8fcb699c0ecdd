#pragma once

#include "devices/devicetemplate.h"

#include <QList>
#include <QString>
#include <QStringList>

// One register entry of a template as a ModBus client sees it.
struct SLayoutEntry
{
    qint32 offset = 0;      // relative to the device's start address
    int registers = 0;      // 16-bit registers a read expands the stored value to
    int written = 0;        // registers the decoder writes for one uplink
    QString name;
    QString dataType;
    QString source;         // "server data ts", "packet 1"
};

// The register layout of an accepted template, and what in it the program
// accepts silently although it is almost surely a mistake.
class CTemplateLayout
{
public:
    explicit CTemplateLayout(const SDeviceTemplate &deviceTemplate);

    const QList<SLayoutEntry> &entries() const { return m_entries; }
    const QStringList &warnings() const { return m_warnings; }

private:
    void addServerData(const SServerData &datum);
    void addPacket(const SDevicePacket &packet);
    void checkField(const SDevicePacket &packet, const SDevicePacketField &field);
    void checkOverlaps();

    QList<SLayoutEntry> m_entries;
    QStringList m_warnings;
};
