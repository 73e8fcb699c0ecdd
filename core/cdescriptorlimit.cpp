#include "cdescriptorlimit.h"

#include "clogfile.h"

#include <cerrno>
#include <limits>

#include <sys/resource.h>

void CDescriptorLimit::raise()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    const rlim_t soft = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) == 0)
        return;
    CLogFile::addLog(QStringLiteral("WARNING: [CDescriptorLimit] Cannot raise the limit of open files from %1 to %2: %3")
                             .arg(QString::number(soft), QString::number(limit.rlim_max), qt_error_string(errno)));
}

qint64 CDescriptorLimit::connectionCeiling()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY
        || limit.rlim_cur > rlim_t(std::numeric_limits<qint64>::max())) {
        return std::numeric_limits<qint64>::max();
    }
    return qint64(limit.rlim_cur) - kReserve;
}
