#include "cmessagecollector.h"

CMessageCollector *CMessageCollector::m_active = nullptr;

CMessageCollector::CMessageCollector()
{
    m_active = this;
    m_previousHandler = qInstallMessageHandler(&CMessageCollector::handleMessage);
    // A line meant for the log and the debug output both is shown once.
    m_previousSink = CDeviceLog::setSink(
            [this](const QString &message, CLogFile::ELogMessageType, bool) { m_lines.append(message); });
}

CMessageCollector::~CMessageCollector()
{
    CDeviceLog::setSink(m_previousSink);
    qInstallMessageHandler(m_previousHandler);
    m_active = nullptr;
}

QStringList CMessageCollector::takeLines()
{
    QStringList lines;
    lines.swap(m_lines);
    return lines;
}

void CMessageCollector::handleMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    if (m_active)
        m_active->m_lines.append(message);
}
