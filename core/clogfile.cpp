#include "clogfile.h"

#include "constants.h"
#include "csettings.h"

#include <QDateTime>
#include <QDebug>
#include <QFileInfo>
#include <QMetaMethod>
#include <QMetaType>

#include <atomic>

namespace {
// A smaller limit rotates on nearly every batch of lines, which costs far more
// than the lines themselves and rewrites the settings each time.
constexpr qint64 kLeastFileMaxSize = 65536;
// Names tried in turn when the next log file cannot be opened.
constexpr int kRotationTries = 2;
// addLogIntoFileOnly rotates at this size whatever the settings say.
constexpr qint64 kFileOnlyMaxSize = 65535;

// The last stamp's text, for the whole second it was made in.
QMutex stampMutex;
qint64 stampSecond = 0;
QString stampText;

// Local time is worked out once a second: each conversion looks the time zone
// up again, and lines come thousands a second. Zone changes fall on whole
// seconds, so only the milliseconds differ within one.
QString timeStamp()
{
    static const QString millisField = QStringLiteral("zzz");
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (!DateTimeFormat::logStamp.endsWith(millisField))
        return QDateTime::fromMSecsSinceEpoch(now, Qt::LocalTime).toString(DateTimeFormat::logStamp);

    const qint64 second = now - now % 1000 - (now % 1000 < 0 ? 1000 : 0);
    QMutexLocker locker(&stampMutex);
    if (second != stampSecond || stampText.isEmpty()) {
        stampSecond = second;
        stampText = QDateTime::fromMSecsSinceEpoch(second, Qt::LocalTime).toString(DateTimeFormat::logStamp);
    }
    QString stamp = stampText;
    const int millis = int(now - second);
    QChar *digits = stamp.data() + stamp.size() - millisField.size();
    digits[0] = QLatin1Char(char('0' + millis / 100));
    digits[1] = QLatin1Char(char('0' + millis / 10 % 10));
    digits[2] = QLatin1Char(char('0' + millis % 10));
    return stamp;
}

// Lines posted and not yet written, oldest first. One queued call writes all
// that wait, so a burst of lines costs one event and one wake-up of the loop.
struct SPendingLine
{
    QString message;
    CLogFile::ELogMessageType type;
};
QMutex pendingMutex;
QList<SPendingLine> pendingLines;
CLogFile::Divert divertLines;     // guarded by pendingMutex
// Read on every line without the lock: the program never diverts.
std::atomic<bool> diverting{false};

} // namespace

CLogFile *CLogFile::m_instance = nullptr;
QMutex CLogFile::m_instanceMutex;

CLogFile::CLogFile(const QString &baseName, const QString &sessionTitle, EStart start)
    : m_sessionTitle(sessionTitle)
    , m_folder(QFileInfo(baseName).path())
    , m_baseName(QFileInfo(baseName).fileName())
{
    qRegisterMetaType<CLogFile::ELogMessageType>("CLogFile::ELogMessageType");

    m_fileCounter = CSettings::readValue(SettingsKey::filesCounter, 0).toInt();
    m_file.setFileName(fileNameFor(m_fileCounter));

    const QIODevice::OpenMode mode = m_file.exists()
            ? QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text
            : QIODevice::ReadWrite | QIODevice::Text;
    if (!m_file.open(mode))
        qDebug() << "[CLogFile] Invalid file opening!";
    else if (start == WithBanner)
        writeBanner();
}

CLogFile::~CLogFile()
{
    m_file.close();
}

CLogFile *CLogFile::getInstance(const QString &baseName, const QString &sessionTitle, EStart start)
{
    if (!m_instance) {
        QMutexLocker locker(&m_instanceMutex);
        if (!m_instance)
            m_instance = new CLogFile(baseName, sessionTitle, start);
    }
    return m_instance;
}

CLogFile *CLogFile::instance()
{
    return m_instance;
}

void CLogFile::setDivert(Divert divert)
{
    QMutexLocker locker(&pendingMutex);
    diverting = bool(divert);
    divertLines = std::move(divert);
}

void CLogFile::addLog(const QString &message, CLogFile::ELogMessageType type, bool toDebug)
{
    if (diverting) {
        QMutexLocker locker(&pendingMutex);
        if (divertLines) {
            divertLines(message);
            return;
        }
    }
    CLogFile *log = m_instance;
    if (!log || !log->post(message, type)) {
        qDebug().noquote() << "[void __cdecl addLog(class QString,enum CLogFile::ELogMessageType,bool)]"
                              " невозможно создать invokeMethod";
    }
    if (toDebug)
        qDebug().noquote() << message;
}

// Through a functor rather than by name: every ModBus request logs twice, and
// the look-up by name cost more than writing the line.
bool CLogFile::post(const QString &message, CLogFile::ELogMessageType type)
{
    QMutexLocker locker(&pendingMutex);
    pendingLines.append({message, type});
    if (pendingLines.size() > 1)
        return true;
    locker.unlock();
    if (QMetaObject::invokeMethod(this, [this] { writePending(); }, Qt::QueuedConnection))
        return true;
    locker.relock();
    pendingLines.clear();
    return false;
}

// Everything that waits goes out in one write: the bytes and their order are
// those of one write per line, at a fraction of the system calls.
void CLogFile::writePending()
{
    QList<SPendingLine> lines;
    {
        QMutexLocker locker(&pendingMutex);
        lines.swap(pendingLines);
    }
    QMutexLocker locker(&m_mutex);
    m_mayOpen = true;
    for (const SPendingLine &line : std::as_const(lines))
        appendLine(line.message, line.type);
    flushLines();
}

void CLogFile::addLogMetod(QString logStr, CLogFile::ELogMessageType type)
{
    QMutexLocker locker(&m_mutex);
    m_mayOpen = true;
    appendLine(logStr, type);
    flushLines();
}

void CLogFile::appendLine(const QString &message, CLogFile::ELogMessageType type)
{
    if (!CSettings::readValue(SettingsKey::useLog, SettingsDefault::useLog).toBool())
        return;

    QString line = stampedLine(message);

    // One try a batch: a file that cannot be opened is not asked for again line by line.
    if (m_mayOpen && (!m_file.isOpen() || fileSize() > maxFileSize())) {
        m_mayOpen = false;
        flushLines();
        if (m_file.isOpen() ? rotate() : reopen())
            m_mayOpen = true;
    }

    holdLine(line);

    // The window's debug print is the usual receiver; without one the line
    // need not be reshaped.
    static const QMetaMethod logSignal = QMetaMethod::fromSignal(&CLogFile::addLogSignal);
    if (!isSignalConnected(logSignal))
        return;
    // The signal's text has no line feed; mostly the one ahead of it is all there is.
    if (message.contains(QLatin1Char('\n')))
        line.remove(QLatin1Char('\n'));
    else
        line.remove(0, 1);
    emit addLogSignal(line, type);
}

// file_max_size in bytes; a value that is not a number or is below the least
// size counts as unset, and is reported once.
qint64 CLogFile::maxFileSize()
{
    const QVariant setting = CSettings::readValue(SettingsKey::fileMaxSize);
    if (!setting.isValid())
        return SettingsDefault::fileMaxSize;
    bool isNumber = false;
    const qint64 size = setting.toLongLong(&isNumber);
    if (isNumber && size >= kLeastFileMaxSize)
        return size;
    const QString text = setting.toString();
    if (text != m_reportedMaxSize) {
        m_reportedMaxSize = text;
        // Posted, as lines are, to follow the one under way; the singleton may
        // not be set yet while the banner is written.
        post(QStringLiteral("WARNING: [CLogFile] file_max_size [%1] is not a size of at least %2 bytes: "
                            "the log file is rotated at %3 bytes.")
                     .arg(text, QString::number(kLeastFileMaxSize), QString::number(SettingsDefault::fileMaxSize)),
             LogInfo);
    }
    return SettingsDefault::fileMaxSize;
}

// The file as it will be once the lines held back are written. The file is
// looked at once a batch, as another process (the tool) may append to it too;
// the rest is counted. A file written over from its start keeps its old size
// until the new text passes it.
qint64 CLogFile::fileSize()
{
    if (m_sizeSeen < 0)
        m_sizeSeen = m_file.size();
    return qMax(m_sizeSeen, m_file.pos() + m_unwritten.size());
}

void CLogFile::flushLines()
{
    if (!m_unwritten.isEmpty()) {
        m_file.write(m_unwritten);
        m_file.flush();
        m_unwritten.clear();
    }
    m_sizeSeen = -1;
}

void CLogFile::addLogIntoFileOnly(QString logStr)
{
    QMutexLocker locker(&m_mutex);
    const QString line = stampedLine(logStr);

    if (m_file.size() > kFileOnlyMaxSize) {
        ++m_fileCounter;
        CSettings::writeValue(SettingsKey::filesCounter, m_fileCounter);
        m_file.close();
        m_file.setFileName(fileNameFor(m_fileCounter));
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Text)) {
            qDebug() << "[CLogFile] Invalid new file opening!";
            return;
        }
    }
    holdLine(line);
    flushLines();
}

QString CLogFile::fileNameFor(int counter) const
{
    if (counter == 0)
        return QStringLiteral("%1/%2.log").arg(m_folder, m_baseName);
    return QStringLiteral("%1/%2(%3).log").arg(m_folder, m_baseName, QString::number(counter));
}

QString CLogFile::stampedLine(const QString &message)
{
    const QString stamp = timeStamp();
    QString line;
    line.reserve(stamp.size() + message.size() + 3);
    // The line feed goes ahead of each line, not behind it.
    line += QLatin1String("\n[");
    line += stamp;
    line += QLatin1Char(']');
    line += message;
    return line;
}

// Moves on to the next file. When it cannot be opened the one after it is
// tried; when neither can, the file in use is kept, past its size, and false
// returned.
bool CLogFile::rotate()
{
    int counter = m_fileCounter;
    for (int i = 0; i < kRotationTries; ++i) {
        counter = nextCounter(counter);
        if (openFile(counter, QIODevice::ReadWrite | QIODevice::Text))
            return true;
    }
    reportOpenFailure();
    return false;
}

// With the file closed, as after a failed opening at start: the same file
// again, or else the next ones.
bool CLogFile::reopen()
{
    const QIODevice::OpenMode mode = QFile::exists(m_file.fileName())
            ? QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text
            : QIODevice::ReadWrite | QIODevice::Text;
    return openFile(m_fileCounter, mode) || rotate();
}

int CLogFile::nextCounter(int counter)
{
    const auto maxFiles = [] {
        return CSettings::readValue(SettingsKey::maxFilesCounter, SettingsDefault::maxFilesCounter).toInt();
    };
    if (counter + 1 <= maxFiles() - 1)
        return counter + 1;
    for (int i = 1; i <= maxFiles() - 1; ++i)
        QFile::remove(fileNameFor(i));
    QFile plain(fileNameFor(0));
    plain.open(QIODevice::WriteOnly | QIODevice::Truncate);
    plain.close();
    return 0;
}

// Switches to the file of that counter if it opens; the file in use stays
// otherwise. No Append after a rotation: the file reached there has just been
// emptied or deleted, and a leftover from an earlier run is written over from
// its start.
bool CLogFile::openFile(int counter, QIODevice::OpenMode mode)
{
    const QString name = fileNameFor(counter);
    if (name != m_file.fileName() || !m_file.isOpen()) {
        QFile probe(name);
        if (!probe.open(mode))
            return false;
    }
    m_file.close();
    m_file.setFileName(name);
    if (!m_file.open(mode))
        return false;
    m_fileCounter = counter;
    CSettings::writeValue(SettingsKey::filesCounter, m_fileCounter);
    m_openFailed = false;
    return true;
}

void CLogFile::reportOpenFailure()
{
    if (!m_openFailed)
        qDebug() << "[CLogFile] Invalid new file opening!";
    m_openFailed = true;
}

void CLogFile::holdLine(const QString &line)
{
    if (m_file.isOpen()) {
        m_unwritten += line.toUtf8();
        m_closedReported = false;
    } else if (!m_closedReported) {
        m_closedReported = true;
        qDebug() << "[CLogFile::addLogMetod] File is closed!";
    }
}

void CLogFile::writeBanner()
{
    addLogMetod(QString(65, QLatin1Char('*')), LogInfo);
    if (m_sessionTitle.isEmpty())
        addLogMetod(QStringLiteral("**                      New session                            **"), LogInfo);
    else
        addLogMetod(QStringLiteral("**  New session  [") + m_sessionTitle + QStringLiteral("] **"), LogInfo);
}
