#include "core/csettings.h"
#include "testworkdir.h"

#include <QFile>
#include <QtTest>

class TestCSettings : public QObject
{
    Q_OBJECT

private slots:
    void callsBeforeCreationFail();
    void roundTripThroughFile();

private:
    TestWorkDir m_workDir;
};

void TestCSettings::callsBeforeCreationFail()
{
    QTest::ignoreMessage(QtDebugMsg, "ERROR: [CSettings::getInstance] Invalid fileName");
    QCOMPARE(CSettings::getInstance(QString()), nullptr);

    QTest::ignoreMessage(QtDebugMsg, "ERROR: [CSettings::getInstance] Invalid fileName");
    QTest::ignoreMessage(QtDebugMsg, "ERROR: [CSettings::readValue] Invalid object");
    QVERIFY(!CSettings::readValue(QStringLiteral("use_log"), true).isValid());

    QTest::ignoreMessage(QtDebugMsg, "ERROR: [CSettings::getInstance] Invalid fileName");
    QTest::ignoreMessage(QtDebugMsg, "ERROR: [CSettings::writeValue] Invalid object");
    QVERIFY(!CSettings::writeValue(QStringLiteral("use_log"), false));
}

void TestCSettings::roundTripThroughFile()
{
    CSettings *settings = CSettings::getInstance(QStringLiteral("settings.conf"));
    QVERIFY(settings);
    QCOMPARE(CSettings::getInstance(QStringLiteral("other.conf")), settings);

    QCOMPARE(CSettings::readValue(QStringLiteral("server/ip"), QString()).toString(), QString());
    QVERIFY(CSettings::writeValue(QStringLiteral("server/ip"), QStringLiteral("10.0.0.7")));
    QVERIFY(CSettings::writeValue(QStringLiteral("file_max_size"), 3000000));
    QCOMPARE(CSettings::readValue(QStringLiteral("server/ip")).toString(), QStringLiteral("10.0.0.7"));

    // Each write is on disk at once, readable by anyone else.
    QSettings onDisk(m_workDir.filePath(QStringLiteral("settings.conf")), QSettings::IniFormat);
    QCOMPARE(onDisk.value(QStringLiteral("server/ip")).toString(), QStringLiteral("10.0.0.7"));
    QCOMPARE(onDisk.value(QStringLiteral("file_max_size")).toInt(), 3000000);
}

QTEST_GUILESS_MAIN(TestCSettings)
#include "tst_csettings.moc"
