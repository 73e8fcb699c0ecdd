#pragma once

#include "core/clogfile.h"
#include "core/csettings.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QStringList>

// The operator's log lines without their time stamps. Makes the settings and
// the log in the working folder unless they are made already.
class LogSpy : public QSignalSpy
{
public:
    LogSpy()
        : QSignalSpy(startLog(), &CLogFile::addLogSignal)
    {
    }

    QStringList lines() const
    {
        QStringList result;
        for (const QList<QVariant> &arguments : *this) {
            const QString line = arguments.at(0).toString();
            result.append(line.mid(line.indexOf(QLatin1Char(']')) + 1));
        }
        return result;
    }

    // Lines are posted: those of earlier calls arrive before they are read and forgotten.
    QStringList takeLines()
    {
        QCoreApplication::sendPostedEvents();
        const QStringList result = lines();
        clear();
        return result;
    }

    void forget() { takeLines(); }

private:
    static CLogFile *startLog()
    {
        CSettings::getInstance(QStringLiteral("settings.conf"));
        return CLogFile::getInstance(QStringLiteral("history"), QString());
    }
};
