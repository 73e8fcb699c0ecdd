#pragma once

#include "core/clogfile.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QStringList>

// The operator's log lines without their time stamps. Needs CLogFile made.
class LogSpy : public QSignalSpy
{
public:
    LogSpy()
        : QSignalSpy(CLogFile::instance(), &CLogFile::addLogSignal)
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

    // Lines are posted: those of earlier calls arrive before they are forgotten.
    void forget()
    {
        QCoreApplication::sendPostedEvents();
        clear();
    }
};
