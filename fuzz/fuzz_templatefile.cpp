// Template files as an installer or an operator drops them into the device
// folder: loaded by the program's folder loader, then read back as the forms
// read them.
//
// Input: the first byte chooses the file name (its value modulo three: a
// device template, "TCP.json", or "tcp.json", which is read as a device
// template); the rest is the file's content.

#include "core/constants.h"
#include "devices/cdevicelog.h"
#include "devices/ctemplatefolder.h"
#include "fuzzsupport.h"

#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdlib>

namespace {

const QStringList kFileNames = {QStringLiteral("device.json"), FileName::tcpTemplate, QStringLiteral("tcp.json")};

void writeOnly(const QString &name, const QByteArray &content)
{
    QDir folder(FileName::deviceFolder);
    for (const QString &other : kFileNames)
        folder.remove(other);
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        std::abort();
}

// What the loader says it stored is what it holds, and the forms can read it.
void readBack(const CTemplateFolder &folder, const STemplateFileOutcome &outcome)
{
    for (const QString &appEui : outcome.stored) {
        const auto found = folder.templates().constFind(appEui);
        if (found != folder.templates().cend())
            found->registerMap();
        else if (!folder.tcpTemplates().contains(appEui))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::start();
    // Its texts would only go to the dropped debug output.
    CDeviceLog::setSink([](const QString &, CLogFile::ELogMessageType, bool) {});
    QDir().mkdir(FileName::deviceFolder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    writeOnly(kFileNames.at(data[0] % kFileNames.size()),
              QByteArray(reinterpret_cast<const char *>(data) + 1, int(size - 1)));

    CTemplateFolder folder;
    CTemplateFolder::SFileHooks hooks;
    hooks.finished = [&folder](const QString &, const STemplateFileOutcome &outcome) { readBack(folder, outcome); };
    folder.load(QDir(FileName::deviceFolder).absolutePath(), hooks);
    return 0;
}
