#include "core/clogfile.h"
#include "core/csettings.h"
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
    return QRegularExpression(QStringLiteral("^\n%1%2$").arg(kStamp, message)).match(readAll(fileName)).hasMatch();
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
            const QDateTime stamp = QDateTime::fromString(match.captured(1), QStringLiteral("dd-MMM-yy HH:mm:ss.zzz"))
                                            .addYears(100);
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
        // Exactly at the limit: no rotation, the test is strictly greater.
        CSettings::writeValue(QStringLiteral("file_max_size"), QFileInfo(QStringLiteral("history.log")).size());
        m_log->addLogMetod(QStringLiteral("at limit"));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));

        CSettings::writeValue(QStringLiteral("file_max_size"), 10);
        m_log->addLogMetod(QStringLiteral("one"));
        m_log->addLogMetod(QStringLiteral("two"));
        QVERIFY(readAll(QStringLiteral("history(1).log")).endsWith(QStringLiteral("]one")));
        QVERIFY(readAll(QStringLiteral("history(2).log")).endsWith(QStringLiteral("]two")));
        QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 2);

        // Past the limit: the numbered files go and the plain one starts empty.
        m_log->addLogMetod(QStringLiteral("three"));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")) && !QFile::exists(QStringLiteral("history(2).log")));
        QVERIFY(holdsOnly(QStringLiteral("three")));
        QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 0);

        // Without a limit every rotation empties the plain file.
        CSettings::writeValue(QStringLiteral("max_files_counter"), QVariant());
        m_log->addLogMetod(QStringLiteral("four"));
        QVERIFY(holdsOnly(QStringLiteral("four")));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")));
        CSettings::writeValue(QStringLiteral("file_max_size"), 1000000);
    }

    // Lines posted together are written together, yet each one is measured
    // against the limit with the lines ahead of it counted.
    void postedBurstRotatesLineByLine()
    {
        CSettings::writeValue(QStringLiteral("max_files_counter"), 3);
        CSettings::writeValue(QStringLiteral("file_max_size"), 10);
        QSignalSpy spy(m_log, &CLogFile::addLogSignal);
        for (const QString &message : {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")})
            CLogFile::addLog(message);
        QTRY_COMPARE(spy.count(), 3);

        // One file each: (1), (2), then the wrap back to the plain file.
        QVERIFY(holdsOnly(QStringLiteral("c")));
        QVERIFY(!QFile::exists(QStringLiteral("history(1).log")) && !QFile::exists(QStringLiteral("history(2).log")));
        QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 0);
        CSettings::writeValue(QStringLiteral("max_files_counter"), QVariant());
        CSettings::writeValue(QStringLiteral("file_max_size"), 1000000);
    }

    void fileOnlyWriterHasItsOwnLimit()
    {
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
};

QTEST_GUILESS_MAIN(TestCLogFile)
#include "tst_clogfile.moc"
