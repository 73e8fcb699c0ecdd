#include "core/csettings.h"
#include "testworkdir.h"
#include "ui/globalsettingswindow.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QSpinBox>
#include <QtTest>

class TestGlobalSettingsWindow : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

    // The file as anyone else reads it, "key=value" sorted by key.
    QString fileContents() const
    {
        QSettings onDisk(m_workDir.filePath(QStringLiteral("settings.conf")), QSettings::IniFormat);
        QStringList lines;
        for (const QString &key : onDisk.allKeys())
            lines.append(key + QLatin1Char('=') + onDisk.value(key).toString());
        return lines.join(QLatin1Char(' '));
    }

private slots:
    void initTestCase() { QVERIFY(CSettings::getInstance(QStringLiteral("settings.conf"))); }

    void showsAndSaves_data()
    {
        QTest::addColumn<QVariantMap>("stored");
        QTest::addColumn<int>("typedSize");
        QTest::addColumn<bool>("save");
        QTest::addColumn<QList<int>>("shown");   // use log, file count, size in millions of bytes, expanded log
        QTest::addColumn<QString>("written");

        QTest::newRow("empty file") << QVariantMap() << -1 << true << QList<int>{1, 20, 1, 0}
                                    << "expanded_log=false file_max_size=1000000 max_files_counter=20 use_log=true";
        QTest::newRow("size rounded down, count clamped")
                << QVariantMap{{"file_max_size", 2999999}, {"max_files_counter", 35}} << -1 << true
                << QList<int>{1, 20, 2, 0}
                << "expanded_log=false file_max_size=2000000 max_files_counter=20 use_log=true";
        QTest::newRow("all stored")
                << QVariantMap{{"use_log", false}, {"expanded_log", true}, {"max_files_counter", 3},
                               {"file_max_size", 7000000}}
                << -1 << true << QList<int>{0, 3, 7, 1}
                << "expanded_log=true file_max_size=7000000 max_files_counter=3 use_log=false";
        QTest::newRow("largest size typed")
                << QVariantMap() << 100000 << true << QList<int>{1, 20, 1, 0}
                << "expanded_log=false file_max_size=100000000000 max_files_counter=20 use_log=true";
        QTest::newRow("closed unsaved") << QVariantMap{{"max_files_counter", 4}} << 3 << false
                                        << QList<int>{1, 4, 1, 0} << "max_files_counter=4";
    }

    void showsAndSaves()
    {
        QFETCH(QVariantMap, stored);
        QFETCH(int, typedSize);
        QFETCH(bool, save);
        QFETCH(QList<int>, shown);
        QFETCH(QString, written);

        CSettings::getInstance(QString())->clear();
        CSettings::getInstance(QString())->sync();
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            CSettings::writeValue(it.key(), it.value());

        GlobalSettingsWindow dialog;
        auto *size = dialog.findChild<QSpinBox *>(QStringLiteral("FileMaxSize"));
        QCOMPARE((QList<int>{dialog.findChild<QCheckBox *>(QStringLiteral("UseLog"))->isChecked(),
                             dialog.findChild<QSpinBox *>(QStringLiteral("spinBox"))->value(), size->value(),
                             dialog.findChild<QCheckBox *>(QStringLiteral("checkBox"))->isChecked()}),
                 shown);

        if (typedSize >= 0)
            size->setValue(typedSize);
        const auto button = save ? QDialogButtonBox::Save : QDialogButtonBox::Close;
        dialog.findChild<QDialogButtonBox *>()->button(button)->click();
        QCOMPARE(fileContents(), written);
    }
};

QTEST_MAIN(TestGlobalSettingsWindow)
#include "tst_globalsettingswindow.moc"
