#pragma once

#include "database/dbtypes.h"
#include "devices/devicetemplate.h"
#include "server/apitypes.h"

#include <functional>
#include <optional>

// Turns one uplink of a ModBus device into the register texts of its
// template: the server data it asks for, then the fields of the packet that
// the first payload byte selects, each numeric field scaled by its register's
// parameters. Every fault is logged; it keeps nothing between two uplinks.
class CUplinkDecoder
{
public:
    using ScalingLookup = DB::ScalingLookup;

    CUplinkDecoder(const SDeviceTemplate &deviceTemplate, ScalingLookup scaling);

    // Nothing when the packet type is unknown or the payload has the wrong
    // size: then not even the server data are to be saved.
    std::optional<DB::SDbDeviceRegDataSet> decode(const API::SApiDeviceData &uplink, quint32 startAddr) const;

private:
    void addServerData(DB::SDbDeviceRegDataSet &set, const SServerData &datum,
                       const API::SApiDeviceData &uplink) const;
    void addField(DB::SDbDeviceRegDataSet &set, const SDevicePacketField &field, const QByteArray &payload) const;
    QString numberText(const SDevicePacketField &field, const QByteArray &bytes, quint32 regAddr) const;

    const SDeviceTemplate &m_template;
    ScalingLookup m_scaling;
};
