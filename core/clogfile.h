#pragma once

#include <QFile>
#include <QMutex>
#include <QObject>

#include <functional>

// The operator's log: ./<base>.log and ./<base>(N).log in the working
// directory, one stamped line per message, rotated by size under counters kept
// in the settings. Any thread logs through the static addLog(), which posts the
// line to the singleton on the main thread.
class CLogFile : public QObject
{
    Q_OBJECT

public:
    enum ELogMessageType {
        LogInfo = 0,
        LogError = 2,
    };
    Q_ENUM(ELogMessageType)

    ~CLogFile() override;

    enum EStart {
        WithBanner,
        WithoutBanner,
    };
    // Where the lines of addLog() go instead of the file while it is set.
    using Divert = std::function<void(const QString &message)>;

    // baseName may carry a folder; without one the files are in the current directory.
    static CLogFile *getInstance(const QString &baseName, const QString &sessionTitle, EStart start = WithBanner);
    // The singleton, or null while it has not been created.
    static CLogFile *instance();

    static void addLog(const QString &message, CLogFile::ELogMessageType type = LogInfo,
                       bool toDebug = false);
    // Another program that shares the folder (the tool) keeps the library's
    // lines out of the operator's log and writes its own with addLogMetod.
    static void setDivert(Divert divert);

signals:
    void addLogSignal(QString _logStr, CLogFile::ELogMessageType _type);

public slots:
    void addLogMetod(QString logStr = QString(), CLogFile::ELogMessageType type = LogInfo);
    // A second writer with rules of its own: no use_log test, a fixed size
    // limit, no wrap to the plain file and no signal.
    void addLogIntoFileOnly(QString logStr);

private:
    CLogFile(const QString &baseName, const QString &sessionTitle, EStart start);

    bool post(const QString &message, CLogFile::ELogMessageType type);
    void writePending();
    void appendLine(const QString &message, CLogFile::ELogMessageType type);
    qint64 fileSize();
    qint64 maxFileSize();
    void flushLines();
    QString fileNameFor(int counter) const;
    static QString stampedLine(const QString &message);
    bool rotate();
    bool reopen();
    int nextCounter(int counter);
    bool openFile(int counter, QIODevice::OpenMode mode);
    void reportOpenFailure();
    void holdLine(const QString &line);
    void writeBanner();

    QFile m_file;
    QMutex m_mutex;
    QString m_sessionTitle;
    QString m_folder;
    QString m_baseName;
    qint32 m_fileCounter = 0;
    // Lines of the current batch not yet written, and the file's size as seen
    // in this batch (-1: not yet looked at).
    QByteArray m_unwritten;
    qint64 m_sizeSeen = -1;
    // Whether this batch may still try to open a file.
    bool m_mayOpen = true;
    // Failures said once until they are over.
    bool m_openFailed = false;
    bool m_closedReported = false;
    QString m_reportedMaxSize;

    static CLogFile *m_instance;
    static QMutex m_instanceMutex;
};
