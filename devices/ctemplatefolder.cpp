#include "ctemplatefolder.h"

#include "core/constants.h"
#include "devices/cdevicelog.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace {

const QString kTemplateFilter = QStringLiteral("*.json");
const QString kDataKey = QStringLiteral("data");

// Keeps the first template of each AppEUI; `kind` starts the log texts.
template<typename T>
void keepFirst(QMap<QString, T> &templates, const T &deviceTemplate, const QString &kind,
               STemplateFileOutcome &outcome)
{
    if (!deviceTemplate.isValid) {
        ++outcome.refused;
        return;
    }
    if (templates.contains(deviceTemplate.appEui)) {
        CDeviceLog::write(QStringLiteral("%1 [%2] already inited. Skip").arg(kind, deviceTemplate.appEui));
        ++outcome.refused;
        return;
    }
    CDeviceLog::write(QStringLiteral("%1 [%2] inited SUCCESSULLY").arg(kind, deviceTemplate.appEui));
    templates.insert(deviceTemplate.appEui, deviceTemplate);
    outcome.stored.append(deviceTemplate.appEui);
}

// Null after a parse error, which is logged.
QJsonDocument parseFile(QFile &file)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.isOpen() ? file.readAll() : QByteArray(), &error);
    if (error.error != QJsonParseError::NoError) {
        CDeviceLog::write(QStringLiteral("ERROR: [CAllDeviceHandler] Invalid parsing JSON file [%1]: error[%2], row[%3]")
                                  .arg(file.fileName(), error.errorString(), QString::number(error.offset)));
    }
    return document;
}

} // namespace

void CTemplateFolder::load(const QString &folderPath, const SFileHooks &hooks)
{
    const QDir folder(folderPath);
    if (!folder.exists()) {
        CDeviceLog::write(QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature is not existed"),
                          CLogFile::LogInfo, true);
        return;
    }
    const QStringList names = folder.entryList({kTemplateFilter}, QDir::Files);
    if (names.isEmpty()) {
        CDeviceLog::write(QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature is empty"),
                          CLogFile::LogInfo, true);
        return;
    }
    qDebug() << names;

    for (const QString &name : names) {
        if (hooks.started)
            hooks.started(name);
        const STemplateFileOutcome outcome = isTcpFile(name) ? loadTcpFile(folder.filePath(name))
                                                             : loadTemplateFile(name, folder.filePath(name));
        if (hooks.finished)
            hooks.finished(name, outcome);
    }
}

bool CTemplateFolder::isTcpFile(const QString &fileName)
{
    return fileName.contains(FileName::tcpTemplate);
}

STemplateFileOutcome CTemplateFolder::loadTemplateFile(const QString &fileName, const QString &filePath)
{
    STemplateFileOutcome outcome;
    outcome.refused = 1;
    QFile file(filePath);
    if (!file.exists()) {
        CDeviceLog::write(QStringLiteral("File [%1] is not exist").arg(fileName));
        return outcome;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        CDeviceLog::write(QStringLiteral("File [%1] is not opened").arg(fileName));
        return outcome;
    }
    const QJsonDocument document = parseFile(file);
    if (document.isNull())
        return outcome;
    if (document.isEmpty()) {
        CDeviceLog::write(QStringLiteral("File [%1] is not contans JSON document").arg(fileName));
        return outcome;
    }

    outcome.refused = 0;
    keepFirst(m_templates, SDeviceTemplate(document.object()), QStringLiteral("Device"), outcome);
    return outcome;
}

STemplateFileOutcome CTemplateFolder::loadTcpFile(const QString &filePath)
{
    // Every fault is logged and the next step runs on what there is.
    STemplateFileOutcome outcome;
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        CDeviceLog::write(QStringLiteral("File [TCP.json] is not opened"));
        outcome.refused = 1;
    }
    const QJsonDocument document = parseFile(file);
    if (document.isEmpty()) {
        CDeviceLog::write(QStringLiteral("File [TCP.json] is not contans JSON document"));
        outcome.refused = 1;
    }

    const QJsonArray elements = document.object().value(kDataKey).toArray();
    for (const QJsonValue &element : elements)
        keepFirst(m_tcpTemplates, STCPDeviceTemplate(element.toObject()), QStringLiteral("TCP device"), outcome);
    return outcome;
}
