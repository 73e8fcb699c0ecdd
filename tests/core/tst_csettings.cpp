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

    // It holds the server password: a file made readable to all is closed again by the next write or removal.
    void onlyItsOwnerReadsTheFile()
    {
        const QString file = m_workDir.filePath(QStringLiteral("settings.conf"));
        const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::WriteGroup
                | QFileDevice::ReadOther | QFileDevice::WriteOther;
        QVERIFY(QFile::setPermissions(file, QFile::permissions(file) | others));
        QVERIFY(CSettings::writeValue(QStringLiteral("server/password"), QStringLiteral("secret")));
        QCOMPARE(QFile::permissions(file) & others, QFileDevice::Permissions());
        QVERIFY(QFile::permissions(file) & QFileDevice::ReadOwner);

        QVERIFY(QFile::setPermissions(file, QFile::permissions(file) | others));
        QVERIFY(CSettings::removeValue(QStringLiteral("server/password")));
        QCOMPARE(QFile::permissions(file) & others, QFileDevice::Permissions());
        QVERIFY(!QSettings(file, QSettings::IniFormat).contains(QStringLiteral("server/password")));
    }
};

QTEST_GUILESS_MAIN(TestCSettings)
#include "tst_csettings.moc"
