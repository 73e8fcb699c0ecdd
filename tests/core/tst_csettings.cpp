#include "core/csettings.h"
#include "testworkdir.h"

#include <QtTest>

class TestCSettings : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void callsBeforeCreationFail()
    {
        // Not even the default comes back.
        QCOMPARE(CSettings::getInstance(QString()), nullptr);
        QVERIFY(!CSettings::readValue(QStringLiteral("use_log"), true).isValid());
        QVERIFY(!CSettings::writeValue(QStringLiteral("use_log"), false));
    }

    void writesReachTheFileAtOnce()
    {
        CSettings *settings = CSettings::getInstance(QStringLiteral("settings.conf"));
        QVERIFY(settings);
        QCOMPARE(CSettings::getInstance(QStringLiteral("other.conf")), settings);

        QVERIFY(CSettings::writeValue(QStringLiteral("server/ip"), QStringLiteral("10.0.0.7")));
        QVERIFY(CSettings::writeValue(QStringLiteral("file_max_size"), 3000000));
        QCOMPARE(CSettings::readValue(QStringLiteral("server/ip")).toString(), QStringLiteral("10.0.0.7"));

        const QSettings onDisk(m_workDir.filePath(QStringLiteral("settings.conf")), QSettings::IniFormat);
        QCOMPARE(onDisk.value(QStringLiteral("server/ip")).toString(), QStringLiteral("10.0.0.7"));
        QCOMPARE(onDisk.value(QStringLiteral("file_max_size")).toInt(), 3000000);
    }
};

QTEST_GUILESS_MAIN(TestCSettings)
#include "tst_csettings.moc"
