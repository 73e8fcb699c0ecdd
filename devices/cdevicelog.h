#pragma once

#include "core/clogfile.h"

#include <QString>

#include <functional>

// Where the operator's log texts of template loading and decoding go: the log
// file in the program; a companion command sends them to its own output, so
// that it shows the very texts the program would log.
class CDeviceLog
{
public:
    using Sink = std::function<void(const QString &message, CLogFile::ELogMessageType type, bool toDebug)>;

    static void write(const QString &message, CLogFile::ELogMessageType type = CLogFile::LogInfo,
                      bool toDebug = false);
    // Returns the sink it replaces; an empty sink restores the log file.
    static Sink setSink(Sink sink);

private:
    static Sink m_sink;
};
