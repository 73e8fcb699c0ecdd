#include "core/clogfile.h"
#include "core/csettings.h"
#include "logspy.h"
#include "testworkdir.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

const QString kStamp = QStringLiteral(R"(\[\d\d-\w{3}-\d\d \d\d:\d\d:\d\d\.\d{3}\])");

QString readAll(const QString &fileName = QStringLiteral("history.log"))
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The whole file is one line, the message.
bool holdsOnly(const QString &message, const QString &fileName = QStringLiteral("history.log"))
{
    const QString text = readAll(fileName);
    const QRegularExpressionMatch stamp = QRegularExpression(QStringLiteral("^\n") + kStamp).match(text);
    return stamp.hasMatch() && QStringView(text).mid(stamp.capturedEnd()) == message;
}

// A message that alone takes a file past the least limit of 64 KiB.
QString bulky(const QString &word)
{
    return word + QString(65536, QLatin1Char('.'));
}

QString logFileName(int counter)
{
    return counter == 0 ? QStringLiteral("history.log") : QStringLiteral("history(%1).log").arg(counter);
}

int filesCounter()
{
    return CSettings::readValue(QStringLiteral("files_counter")).toInt();
}

void setLimits(const QVariant &maxFilesCounter, const QVariant &fileMaxSize)
{
    CSettings::writeValue(QStringLiteral("max_files_counter"), maxFilesCounter);
    CSettings::writeValue(QStringLiteral("file_max_size"), fileMaxSize);
}

QStringList debugLines;

void keepDebugLine(QtMsgType, const QMessageLogContext &, const QString &message)
{
    debugLines.append(message);
}

} // namespace

class TestCLogFile : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    CLogFile *m_log = nullptr;

private slots:
    void initTestCase()
    {
        QVERIFY(m_workDir.isValid());
        CSettings::getInstance(QStringLiteral("settings.conf"));
        m_log = CLogFile::getInstance(QStringLiteral("history"), QString());
        QVERIFY(m_log);
        QCOMPARE(CLogFile::getInstance(QStringLiteral("other"), QStringLiteral("x")), m_log);
    }

    // Each test starts from no file count limit and the default size limit.
    void cleanup() { setLimits(QVariant(), 1000000); }

    void linesAndSignal()
    {
        QSignalSpy spy(m_log, &CLogFile::addLogSignal);
        CLogFile::addLog(QStringLiteral("first\nsecond"), CLogFile::LogError);
        QCOMPARE(spy.count(), 0);
        QTRY_COMPARE(spy.count(), 1);

        // The line feed stands ahead of each line; one inside the message stays in the file only.
        const QString banner = QStringLiteral("^\n%1\\*{65}\n%1\\*\\*                      New session"
                                              "                            \\*\\*\n%1first\nsecond$").arg(kStamp);
        QVERIFY2(QRegularExpression(banner).match(readAll()).hasMatch(), qPrintable(readAll()));
        const QRegularExpression emitted(QStringLiteral("^%1firstsecond$").arg(kStamp));
        QVERIFY(emitted.match(spy.at(0).at(0).toString()).hasMatch());
        QCOMPARE(spy.at(0).at(1).value<CLogFile::ELogMessageType>(), CLogFile::LogError);
    }

    // Stamps are the local time of their line, to the millisecond, also across a second's end.
    void stampIsTheLocalTimeOfEachLine()
    {
        const QRegularExpression last(QStringLiteral(R"(\n\[([^\]]+)\]stamp$)"));
        for (int i = 0; i < 3; ++i) {
            const QDateTime before = QDateTime::currentDateTime();
            m_log->addLogMetod(QStringLiteral("stamp"));
            const QDateTime after = QDateTime::currentDateTime();
            const QRegularExpressionMatch match = last.match(readAll());
            QVERIFY(match.hasMatch());
            // "yy" reads back in the 1900s.
            const QDateTime stamp = QDateTime::fromString(match.captured(1), "dd-MMM-yy HH:mm:ss.zzz").addYears(100);
            QVERIFY2(before <= stamp && stamp <= after, qPrintable(match.captured(1)));
            QTest::qWait(int(1000 - after.time().msec() + 5));
        }
    }

    void useLogFalseSilencesOnlyTheFirstWriter()
    {
        CSettings::writeValue(QStringLiteral("use_log"), false);
        const QString before = readAll();
        QSignalSpy spy(m_log, &CLogFile::addLogSignal);

        m_log->addLogMetod(QStringLiteral("hidden"));
        QCOMPARE(readAll(), before);
        m_log->addLogIntoFileOnly(QStringLiteral("file only"));
        QVERIFY(readAll().endsWith(QStringLiteral("]file only")));
        QCOMPARE(spy.count(), 0);
        CSettings::writeValue(QStringLiteral("use_log"), true);
    }

    void rotationCyclesThroughFiles()
    {
        CSettings::writeValue(QStringLiteral("max_files_counter"), 3);
        m_log->addLogMetod(bulky(QStringLiteral("past 64 KiB")));
        // Exactly at the limit: no rotation, the test is strictly greater.
        CSettings::writeValue(QStringLiteral("file_max_size"), QFileInfo(QStringLiteral("history.log")).size());
        m_log->addLogMetod(QStringLiteral("at limit"));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));

        CSettings::writeValue(QStringLiteral("file_max_size"), 65536);
        m_log->addLogMetod(bulky(QStringLiteral("one")));
        m_log->addLogMetod(bulky(QStringLiteral("two")));
        QVERIFY(holdsOnly(bulky(QStringLiteral("one")), QStringLiteral("history(1).log")));
        QVERIFY(holdsOnly(bulky(QStringLiteral("two")), QStringLiteral("history(2).log")));
        QCOMPARE(filesCounter(), 2);

        // Past the limit: the numbered files go and the plain one starts empty.
        m_log->addLogMetod(bulky(QStringLiteral("three")));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")) && !QFile::exists(QStringLiteral("history(2).log")));
        QVERIFY(holdsOnly(bulky(QStringLiteral("three"))));
        QCOMPARE(filesCounter(), 0);

        // Without a limit every rotation empties the plain file.
        CSettings::writeValue(QStringLiteral("max_files_counter"), QVariant());
        m_log->addLogMetod(bulky(QStringLiteral("four")));
        QVERIFY(holdsOnly(bulky(QStringLiteral("four"))));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));
    }

    // Lines posted together are written together, yet each one is measured
    // against the limit with the lines ahead of it counted.
    void postedBurstRotatesLineByLine()
    {
        setLimits(3, 65536);
        QSignalSpy spy(m_log, &CLogFile::addLogSignal);
        for (const QString &word : {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")})
            CLogFile::addLog(bulky(word));
        QTRY_COMPARE(spy.count(), 3);

        // One file each: (1), (2), then the wrap back to the plain file.
        QVERIFY(holdsOnly(bulky(QStringLiteral("c"))));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")) && !QFile::exists(QStringLiteral("history(2).log")));
        QCOMPARE(filesCounter(), 0);
    }

    void fileOnlyWriterHasItsOwnLimit()
    {
        // From a plain file of one short line: with no file limit the rotation empties it.
        CSettings::writeValue(QStringLiteral("file_max_size"), 65536);
        m_log->addLogMetod(QStringLiteral("short"));
        CSettings::writeValue(QStringLiteral("file_max_size"), 1000000);
        QVERIFY(holdsOnly(QStringLiteral("short")));
        // Exactly 65535 bytes behind the writer's back: no rotation yet, whatever file_max_size says.
        QFile plain(QStringLiteral("history.log"));
        QVERIFY(plain.open(QIODevice::Append));
        plain.write(QByteArray(65535 - plain.size(), 'x'));
        plain.flush();
        m_log->addLogIntoFileOnly(QStringLiteral("still plain"));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));

        // The writer wrote over the padding from its own position: one more byte is needed.
        plain.write("x");
        plain.close();

        m_log->addLogIntoFileOnly(QStringLiteral("moved on"));
        QVERIFY(readAll(QStringLiteral("history(1).log")).endsWith(QStringLiteral("]moved on")));
        QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 1);
    }

    void unusableMaxSizeIsTakenAsTheDefault_data()
    {
        QTest::addColumn<QVariant>("setting");
        QTest::addColumn<bool>("reported");
        QTest::newRow("zero") << QVariant(QStringLiteral("0")) << true;
        QTest::newRow("below 64 KiB") << QVariant(QStringLiteral("100")) << true;
        QTest::newRow("text") << QVariant(QStringLiteral("abc")) << true;
        QTest::newRow("negative") << QVariant(QStringLiteral("-5")) << true;
        QTest::newRow("absent") << QVariant() << false;
    }

    void unusableMaxSizeIsTakenAsTheDefault()
    {
        QFETCH(QVariant, setting);
        QFETCH(bool, reported);
        setLimits(100, setting);
        LogSpy spy;
        const int counter = filesCounter();
        m_log->addLogMetod(bulky(QStringLiteral("kept")));
        m_log->addLogMetod(QStringLiteral("kept too"));
        m_log->addLogMetod(QStringLiteral("kept as well"));
        QCOMPARE(filesCounter(), counter);

        const QString report = QStringLiteral("WARNING: [CLogFile] file_max_size [%1] is not a size of at least 65536 "
                                              "bytes: the log file is rotated at 1000000 bytes.")
                                       .arg(setting.toString());
        QCOMPARE(spy.takeLines().filter("file_max_size"), reported ? QStringList(report) : QStringList());

        // Past the default the file moves on.
        QFile file(logFileName(counter));
        QVERIFY(file.open(QIODevice::Append));
        file.write(QByteArray(1000001 - file.size(), 'x'));
        file.close();
        m_log->addLogMetod(QStringLiteral("moved on"));
        QCOMPARE(filesCounter(), counter + 1);
        QVERIFY(holdsOnly(QStringLiteral("moved on"), logFileName(counter + 1)));
    }

    // Folders stand where the next files should go: the log goes on in a
    // file it can open, says so once at most, and moves on once it can.
    void unopenableNextFileIsPassedOver_data()
    {
        QTest::addColumn<int>("blocked");
        QTest::addColumn<int>("writtenTo");
        QTest::addColumn<int>("reports");
        QTest::addColumn<int>("recoveredTo");
        QTest::newRow("next name blocked") << 1 << 2 << 0 << 2;
        QTest::newRow("two names blocked") << 2 << 0 << 1 << 1;
    }

    void unopenableNextFileIsPassedOver()
    {
        QFETCH(int, blocked);
        QFETCH(int, writtenTo);
        QFETCH(int, reports);
        QFETCH(int, recoveredTo);
        setLimits(100, 65536);
        m_log->addLogMetod(bulky(QStringLiteral("full")));
        const int counter = filesCounter();
        for (int i = 1; i <= blocked; ++i)
            QVERIFY(QDir().mkdir(logFileName(counter + i)));

        debugLines.clear();
        const QtMessageHandler previous = qInstallMessageHandler(keepDebugLine);
        for (int i = 0; i < 20; ++i)
            m_log->addLogMetod(QStringLiteral("line %1").arg(i));
        for (int i = 20; i < 40; ++i)
            CLogFile::addLog(QStringLiteral("line %1").arg(i));
        QCoreApplication::sendPostedEvents();
        qInstallMessageHandler(previous);

        QCOMPARE(debugLines.size(), reports);
        QVERIFY(readAll(logFileName(counter + writtenTo)).endsWith(QStringLiteral("]line 39")));
        QCOMPARE(filesCounter(), counter + writtenTo);

        for (int i = 1; i <= blocked; ++i)
            QVERIFY(QDir().rmdir(logFileName(counter + i)));
        m_log->addLogMetod(QStringLiteral("recovered"));
        QVERIFY(readAll(logFileName(counter + recoveredTo)).endsWith(QStringLiteral("]recovered")));
    }
};

QTEST_GUILESS_MAIN(TestCLogFile)
#include "tst_clogfile.moc"
