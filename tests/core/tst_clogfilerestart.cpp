#include "core/clogfile.h"
#include "core/csettings.h"
#include "testworkdir.h"

#include <QFile>
#include <QtTest>

// The log singleton lives once per process, so a restart has an executable of its own.
class TestCLogFileRestart : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    // A new run goes on in the file the last run used, after its end.
    void goesOnInTheLastFile()
    {
        const QByteArray earlier = "\n[01-Jan-26 00:00:00.000]earlier run";
        CSettings::getInstance(QStringLiteral("settings.conf"));
        CSettings::writeValue(QStringLiteral("files_counter"), 2);
        QFile last(QStringLiteral("history(2).log"));
        QVERIFY(last.open(QIODevice::WriteOnly));
        last.write(earlier);
        last.close();

        CLogFile *log = CLogFile::getInstance(QStringLiteral("history"), QStringLiteral("restart"));
        log->addLogMetod(QStringLiteral("next run"));

        QVERIFY(last.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(last.readAll());
        QVERIFY2(text.startsWith(QString::fromUtf8(earlier) + QStringLiteral("\n[")), qPrintable(text));
        QVERIFY(text.contains(QStringLiteral("]**  New session  [restart] **\n[")));
        QVERIFY(text.endsWith(QStringLiteral("]next run")));
        QVERIFY(!QFile::exists(QStringLiteral("history.log")));
        QCOMPARE(CSettings::readValue(QStringLiteral("files_counter")).toInt(), 2);
    }
};

QTEST_GUILESS_MAIN(TestCLogFileRestart)
#include "tst_clogfilerestart.moc"
