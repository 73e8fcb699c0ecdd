#pragma once

#include <QtGlobal>

// The process's limit of open descriptors. Clients of the listeners may take
// all of it but a reserve, which stays for the store, its journal, the logs
// and the templates: those fail where a client is merely turned away.
class CDescriptorLimit
{
public:
    static constexpr qint64 kReserve = 64;

    // Raises the soft limit to the hard one; logs a line if that fails.
    static void raise();
    // Live connections, or a descriptor number, from which a new connection is refused.
    static qint64 connectionCeiling();
};
