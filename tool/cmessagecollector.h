#pragma once

#include "devices/cdevicelog.h"

#include <QStringList>
#include <QtGlobal>

// Catches what the library would write to the operator's log and to the debug
// output while it lives, in the order written, so that a sub-command can show
// the program's own texts beside its findings.
class CMessageCollector
{
public:
    CMessageCollector();
    ~CMessageCollector();

    CMessageCollector(const CMessageCollector &) = delete;
    CMessageCollector &operator=(const CMessageCollector &) = delete;

    QStringList takeLines();

private:
    static void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message);

    QStringList m_lines;
    QtMessageHandler m_previousHandler = nullptr;
    CDeviceLog::Sink m_previousSink;

    static CMessageCollector *m_active;
};
