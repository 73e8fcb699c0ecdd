#include "cdevicelog.h"

CDeviceLog::Sink CDeviceLog::m_sink;

void CDeviceLog::write(const QString &message, CLogFile::ELogMessageType type, bool toDebug)
{
    if (m_sink)
        m_sink(message, type, toDebug);
    else
        CLogFile::addLog(message, type, toDebug);
}

CDeviceLog::Sink CDeviceLog::setSink(Sink sink)
{
    Sink previous = std::move(m_sink);
    m_sink = std::move(sink);
    return previous;
}
