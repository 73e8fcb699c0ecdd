#pragma once

#include "core/constants.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

// A fresh temporary folder made the process's working directory, since the
// program's files ("settings.conf", "server.db", logs) have relative names.
class TestWorkDir
{
public:
    TestWorkDir()
        : m_previous(QDir::currentPath())
    {
        QDir::setCurrent(m_dir.path());
    }
    ~TestWorkDir() { QDir::setCurrent(m_previous); }

    TestWorkDir(const TestWorkDir &) = delete;
    TestWorkDir &operator=(const TestWorkDir &) = delete;

    bool isValid() const { return m_dir.isValid(); }
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

private:
    QString m_previous;
    QTemporaryDir m_dir;
};

// Copies the sample templates of a folder into the "deviceFolder" of a site,
// the working directory by default. False if any could not be copied.
inline bool copyTemplates(const QString &from, const QDir &site = QDir())
{
    if (!site.mkpath(FileName::deviceFolder))
        return false;
    const QDir samples(from);
    const QDir target(site.filePath(FileName::deviceFolder));
    bool copied = true;
    for (const QString &name : samples.entryList({QStringLiteral("*.json")}, QDir::Files))
        copied = QFile::copy(samples.filePath(name), target.filePath(name)) && copied;
    return copied;
}
