// Template files as an installer or an operator drops them into the device
// folder: loaded by the registry as at start-up, then read back as the forms
// read them.
//
// Input: the first byte's lowest bit chooses the file name, a device template
// or "TCP.json"; the rest is the file's content.

#include "core/constants.h"
#include "devices/calldevicehandler.h"
#include "devices/devicetemplate.h"
#include "devices/tcpdevicetemplate.h"
#include "fuzzsupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

namespace {

const QString kDeviceFileName = QStringLiteral("device.json");

QDir deviceFolder()
{
    return QDir(FileName::deviceFolder);
}

void writeOnly(const QString &name, const QByteArray &content)
{
    QDir folder = deviceFolder();
    folder.remove(kDeviceFileName);
    folder.remove(FileName::tcpTemplate);
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        std::abort();
}

// What the forms ask of a template: its register list and its summary.
void readBack(const CAllDeviceHandler *registry, const QJsonDocument &document, bool tcp)
{
    if (tcp) {
        const QJsonArray kinds = document.object().value(QStringLiteral("data")).toArray();
        for (const QJsonValue &kind : kinds)
            registry->tcpTemplateInfo(STCPDeviceTemplate(kind.toObject()).appEui);
        return;
    }
    const SDeviceTemplate parsed(document.object());
    parsed.registerMap();
    registry->registerMap(parsed.appEui);
    registry->templateInfo(parsed.appEui);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::start();
    QDir().mkdir(FileName::deviceFolder);
    CAllDeviceHandler::getInstance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray content(reinterpret_cast<const char *>(data) + 1, int(size - 1));
    const bool tcp = data[0] & 1;
    writeOnly(tcp ? FileName::tcpTemplate : kDeviceFileName, content);

    // The registry keeps the first template of each AppEUI across inputs, so
    // the same text is also parsed on its own, where nothing is kept.
    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    registry->init();
    readBack(registry, QJsonDocument::fromJson(content), tcp);
    return 0;
}
