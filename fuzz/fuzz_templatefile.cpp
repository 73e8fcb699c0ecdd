// Template files as an installer or an operator drops them into the device
// folder: loaded by the program's folder loader, then read back as the forms
// read them.
//
// Input: the first byte chooses the file name (its value modulo three: a
// device template, "TCP.json", or "tcp.json", which is read as a device
// template); the rest is the file's content.

#include "core/constants.h"
#include "devices/cdevicelog.h"
#include "devices/cdownlinkencoder.h"
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

// An accepted downlink builds a payload of its own size from any register values.
void encodeDownlinks(const SDeviceTemplate &deviceTemplate)
{
    for (const SDownlink &entry : deviceTemplate.downlinks) {
        for (const quint16 fill : {quint16(0), quint16(0x8000), quint16(0xFFFF)}) {
            CDownlinkEncoder::Words words;
            for (const SDownlinkField &field : entry.fields) {
                for (int word = 0; word < field.registerCount(); ++word)
                    words.insert(field.regMapBias + word, fill);
                CDownlinkEncoder::outsideLimits(field, words);
            }
            const CDownlinkEncoder::SResult result = CDownlinkEncoder::encode(entry, words);
            if (result.ok() && result.payload.size() != entry.packetSize)
                std::abort();
        }
    }
}

// What the loader says it stored is what it holds, and the forms can read it.
void readBack(const CTemplateFolder &folder, const STemplateFileOutcome &outcome)
{
    for (const QString &appEui : outcome.stored) {
        const auto found = folder.templates().constFind(appEui);
        if (found != folder.templates().cend()) {
            found->registerMap();
            encodeDownlinks(*found);
        } else if (!folder.tcpTemplates().contains(appEui)) {
            std::abort();
        }
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
