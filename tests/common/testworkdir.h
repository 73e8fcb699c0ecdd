#pragma once

#include <QDir>
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
