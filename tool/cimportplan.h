#pragma once

#include "ccsvreader.h"
#include "cstorereader.h"

#include "database/dbtypes.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>

class CAllDeviceHandler;

// One refused row of an import file.
struct SImportRefusal
{
    QString file;
    int line = 0;
    QString reason;
};

// One device the import stores, with its register rows as the add form builds
// them and the scaling of its REGISTERS rows.
struct SImportDevice
{
    DB::SDeviceRegMapDescription device;
    ProtocolOption protocol = ProtocolOption::ModBus;
    QList<DB::SRegisterParam> scaling;
    bool withDecimals = false;          // the scaling's decimals replace the stored ones
    std::optional<quint32> maxAge;      // none: the setting stays as it is
    std::optional<bool> writable;       // whether its port takes writes; none: as it is
};

// Checks every row of the two import files against the stored devices, the
// templates and the other rows, before anything is written: the import stores
// all of its devices or none.
class CImportPlan
{
public:
    explicit CImportPlan(const CAllDeviceHandler &registry);

    void addStored(const SStoredDevices &devices, const QList<SStoredRegister> &registers);
    // The program would turn its status registers off for a device on their port.
    void setStatusPort(quint16 port) { m_statusPort = port; }
    void checkDevices(const QString &file, const QList<SCsvRecord> &records, bool withMaxAge, bool withWritable);
    void checkRegisters(const QString &file, const QList<SCsvRecord> &records, bool withDecimals);

    const QList<SImportRefusal> &refusals() const { return m_refusals; }
    const QList<SImportDevice> &devices() const { return m_devices; }

private:
    // The addresses a register map takes on its port, the first of a repeated
    // address winning as in the store.
    static QList<quint32> addressesOf(const DB::SDeviceRegMapDescription &device);
    void refuse(const QString &file, int line, const QString &reason);
    bool checkDevEui(const QString &file, int line, const QString &devEui);
    std::optional<quint32> number(const QString &file, int line, const QString &column, const QString &text,
                                  quint32 low, quint32 high);
    void checkModBus(const QString &file, int line, SImportDevice &planned, const QString &startText);
    void checkTcp(const QString &file, int line, SImportDevice &planned, const QString &startText);

    const CAllDeviceHandler &m_registry;
    QList<SImportRefusal> m_refusals;
    QList<SImportDevice> m_devices;
    QHash<quint32, bool> m_writablePorts;     // as the rows so far set them
    QSet<QString> m_storedEuis;
    QHash<QString, int> m_importedEuis;             // upper case, to the line
    QHash<quint32, ProtocolOption> m_portKinds;
    QHash<quint32, QString> m_tcpPortHolders;
    QHash<quint32, QHash<quint32, QString>> m_takenAddresses;   // port, address, DevEUI
    quint16 m_statusPort = 0;   // none
};
