#include "core/clogfile.h"
#include "core/csettings.h"
#include "testworkdir.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

QString readAll(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

const QString kStamp = QStringLiteral(R"(\[\d\d-\w{3}-\d\d \d\d:\d\d:\d\d\.\d{3}\])");

} // namespace

class TestCLogFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void bannerStartsTheSession();
    void lineFormatAndSignal();
    void addLogPostsToTheMainThread();
    void useLogFalseWritesNothing();
    void rotationCyclesThroughFiles();
    void fileOnlyWriterHasItsOwnLimit();

private:
    TestWorkDir m_workDir;
    CLogFile *m_log = nullptr;
};

void TestCLogFile::initTestCase()
{
    QVERIFY(m_workDir.isValid());
    CSettings::getInstance(QStringLiteral("settings.conf"));
    QVERIFY(!QFile::exists(QStringLiteral("history.log")));
    m_log = CLogFile::getInstance(QStringLiteral("history"), QString());
    QVERIFY(m_log);
    QCOMPARE(CLogFile::getInstance(QStringLiteral("other"), QStringLiteral("x")), m_log);
}

void TestCLogFile::bannerStartsTheSession()
{
    const QString expected = QStringLiteral("^\n%1\\*{65}\n%1\\*\\*                      New session"
                                            "                            \\*\\*$").arg(kStamp);
    QVERIFY2(QRegularExpression(expected).match(readAll(QStringLiteral("history.log"))).hasMatch(),
             qPrintable(readAll(QStringLiteral("history.log"))));
}

void TestCLogFile::lineFormatAndSignal()
{
    QSignalSpy spy(m_log, &CLogFile::addLogSignal);
    m_log->addLogMetod(QStringLiteral("first\nsecond"), CLogFile::LogError);

    // The line feed stands ahead of each line; one inside the message stays in the file.
    const QString file = readAll(QStringLiteral("history.log"));
    QVERIFY(QRegularExpression(QStringLiteral("\\*\\*\n%1first\nsecond$").arg(kStamp)).match(file).hasMatch());

    QCOMPARE(spy.count(), 1);
    const QString emitted = spy.at(0).at(0).toString();
    QVERIFY2(QRegularExpression(QStringLiteral("^%1firstsecond$").arg(kStamp)).match(emitted).hasMatch(),
             qPrintable(emitted));
    QCOMPARE(spy.at(0).at(1).value<CLogFile::ELogMessageType>(), CLogFile::LogError);
}

void TestCLogFile::addLogPostsToTheMainThread()
{
    QSignalSpy spy(m_log, &CLogFile::addLogSignal);
    CLogFile::addLog(QStringLiteral("queued line"));
    QCOMPARE(spy.count(), 0);
    QTRY_COMPARE(spy.count(), 1);
    QVERIFY(readAll(QStringLiteral("history.log")).endsWith(QStringLiteral("]queued line")));
}

void TestCLogFile::useLogFalseWritesNothing()
{
    CSettings::writeValue(QStringLiteral("use_log"), false);
    const QString before = readAll(QStringLiteral("history.log"));
    QSignalSpy spy(m_log, &CLogFile::addLogSignal);

    m_log->addLogMetod(QStringLiteral("hidden"));
    QCOMPARE(readAll(QStringLiteral("history.log")), before);
    QCOMPARE(spy.count(), 0);

    // The second writer does not ask use_log.
    m_log->addLogIntoFileOnly(QStringLiteral("file only"));
    QVERIFY(readAll(QStringLiteral("history.log")).endsWith(QStringLiteral("]file only")));
    QCOMPARE(spy.count(), 0);
    CSettings::writeValue(QStringLiteral("use_log"), true);
}

void TestCLogFile::rotationCyclesThroughFiles()
{
    CSettings::writeValue(QStringLiteral("max_files_counter"), 3);
    const qint64 size = QFileInfo(QStringLiteral("history.log")).size();

    // Exactly at the limit: no rotation, the test is strictly greater.
    CSettings::writeValue(QStringLiteral("file_max_size"), size);
    m_log->addLogMetod(QStringLiteral("at limit"));
    QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));

    CSettings::writeValue(QStringLiteral("file_max_size"), 10);
    m_log->addLogMetod(QStringLiteral("one"));
    QVERIFY(readAll(QStringLiteral("history(1).log")).endsWith(QStringLiteral("]one")));
    QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 1);

    m_log->addLogMetod(QStringLiteral("two"));
    QVERIFY(readAll(QStringLiteral("history(2).log")).endsWith(QStringLiteral("]two")));

    // Past the limit: the numbered files go and the plain one starts empty.
    m_log->addLogMetod(QStringLiteral("three"));
    QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));
    QVERIFY(!QFile::exists(QStringLiteral("history(2).log")));
    QVERIFY(QRegularExpression(QStringLiteral("^\n%1three$").arg(kStamp))
                    .match(readAll(QStringLiteral("history.log"))).hasMatch());
    QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 0);

    // Without a limit every rotation empties the plain file.
    CSettings::writeValue(QStringLiteral("max_files_counter"), QVariant());
    m_log->addLogMetod(QStringLiteral("four"));
    QVERIFY(QRegularExpression(QStringLiteral("^\n%1four$").arg(kStamp))
                    .match(readAll(QStringLiteral("history.log"))).hasMatch());
    QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));
    CSettings::writeValue(QStringLiteral("file_max_size"), 1000000);
}

void TestCLogFile::fileOnlyWriterHasItsOwnLimit()
{
    // Grow the plain file to exactly 65535 bytes behind the writer's back:
    // still no rotation, the test is strictly greater.
    QFile plain(QStringLiteral("history.log"));
    QVERIFY(plain.open(QIODevice::Append));
    plain.write(QByteArray(65535 - plain.size(), 'x'));
    plain.flush();
    m_log->addLogIntoFileOnly(QStringLiteral("still plain"));
    QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));
    QCOMPARE(plain.size(), 65535);

    plain.write("x");
    plain.close();
    // Now above it: a numbered file, whatever file_max_size says.
    m_log->addLogIntoFileOnly(QStringLiteral("moved on"));
    QVERIFY(readAll(QStringLiteral("history(1).log")).endsWith(QStringLiteral("]moved on")));
    QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 1);
}

QTEST_GUILESS_MAIN(TestCLogFile)
#include "tst_clogfile.moc"
