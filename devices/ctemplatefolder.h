#pragma once

#include "devices/devicetemplate.h"
#include "devices/tcpdevicetemplate.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>

// What one template file gave: the AppEUIs it stored, and how many of its
// templates were refused (unreadable, invalid, or a repeated AppEUI).
struct STemplateFileOutcome
{
    QStringList stored;
    int refused = 0;
};

// Loads the device templates of a folder: every "*.json" in name order, a name
// holding "TCP.json" (exact case) as the list of TCP kinds, any other as one
// ModBus kind; of a repeated AppEUI the first file by name wins. Every fault is
// a log line or a debug line, and no file stops the others.
class CTemplateFolder
{
public:
    // Called around each file, for whoever wants to tell the files apart.
    struct SFileHooks
    {
        std::function<void(const QString &fileName)> started;
        std::function<void(const QString &fileName, const STemplateFileOutcome &outcome)> finished;
    };

    void load(const QString &folderPath, const SFileHooks &hooks = {});
    STemplateFileOutcome loadTemplateFile(const QString &fileName, const QString &filePath);
    // Its texts always name "TCP.json", whatever the path.
    STemplateFileOutcome loadTcpFile(const QString &filePath);

    static bool isTcpFile(const QString &fileName);

    const QMap<QString, SDeviceTemplate> &templates() const { return m_templates; }
    const QMap<QString, STCPDeviceTemplate> &tcpTemplates() const { return m_tcpTemplates; }

private:
    QMap<QString, SDeviceTemplate> m_templates;
    QMap<QString, STCPDeviceTemplate> m_tcpTemplates;
};
