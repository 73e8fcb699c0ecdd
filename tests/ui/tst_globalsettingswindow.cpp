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

private slots:
    void initTestCase();
    void init();
    void showsAndSaves_data();
    void showsAndSaves();
    void closeWritesNothing();

private:
    // The file as anyone else reads it, "key=value" sorted by key.
    QString fileContents() const
    {
        QSettings onDisk(m_workDir.filePath(QStringLiteral("settings.conf")), QSettings::IniFormat);
        QStringList lines;
        for (const QString &key : onDisk.allKeys())
            lines.append(key + QLatin1Char('=') + onDisk.value(key).toString());
        return lines.join(QLatin1Char(' '));
    }

    TestWorkDir m_workDir;
};

void TestGlobalSettingsWindow::initTestCase()
{
    QVERIFY(CSettings::getInstance(QStringLiteral("settings.conf")));
}

void TestGlobalSettingsWindow::init()
{
    CSettings::getInstance(QString())->clear();
    CSettings::getInstance(QString())->sync();
}

void TestGlobalSettingsWindow::showsAndSaves_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<int>("typedSize");
    QTest::addColumn<QList<int>>("shown");
    QTest::addColumn<QString>("written");

    // shown: use log, file count, size in millions of bytes, expanded log.
    const QString defaults = "expanded_log=false file_max_size=1000000 max_files_counter=20 use_log=true";
    QTest::newRow("empty file") << QVariantMap() << -1 << QList<int>{1, 20, 1, 0} << defaults;
    QTest::newRow("size not a multiple of a million")
            << QVariantMap{{"file_max_size", 1500000}} << -1 << QList<int>{1, 20, 1, 0} << defaults;
    QTest::newRow("count above the range")
            << QVariantMap{{"max_files_counter", 35}} << -1 << QList<int>{1, 20, 1, 0} << defaults;
    QTest::newRow("size below a million")
            << QVariantMap{{"file_max_size", 999999}} << -1 << QList<int>{1, 20, 0, 0}
            << "expanded_log=false file_max_size=0 max_files_counter=20 use_log=true";
    QTest::newRow("all stored")
            << QVariantMap{{"use_log", false}, {"expanded_log", true}, {"max_files_counter", 3},
                           {"file_max_size", 7000000}}
            << -1 << QList<int>{0, 3, 7, 1} << "expanded_log=true file_max_size=7000000 max_files_counter=3 use_log=false";
    QTest::newRow("size typed") << QVariantMap() << 3 << QList<int>{1, 20, 1, 0}
                                << "expanded_log=false file_max_size=3000000 max_files_counter=20 use_log=true";
    QTest::newRow("largest size") << QVariantMap() << 100000 << QList<int>{1, 20, 1, 0}
                                  << "expanded_log=false file_max_size=100000000000 max_files_counter=20 use_log=true";
}

void TestGlobalSettingsWindow::showsAndSaves()
{
    QFETCH(QVariantMap, stored);
    QFETCH(int, typedSize);
    QFETCH(QList<int>, shown);
    QFETCH(QString, written);

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
    QPushButton *save = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Save);
    QCOMPARE(save->text(), QStringLiteral("Сохранить"));
    save->click();
    QCOMPARE(fileContents(), written);
}

void TestGlobalSettingsWindow::closeWritesNothing()
{
    CSettings::writeValue(QStringLiteral("max_files_counter"), 4);

    GlobalSettingsWindow dialog;
    dialog.findChild<QSpinBox *>(QStringLiteral("spinBox"))->setValue(9);
    dialog.findChild<QCheckBox *>(QStringLiteral("UseLog"))->setChecked(false);
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    QPushButton *close = dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))
                                 ->button(QDialogButtonBox::Close);
    QCOMPARE(close->text(), QStringLiteral("Отмена"));
    close->click();

    QCOMPARE(rejected.count(), 1);
    QCOMPARE(fileContents(), QStringLiteral("max_files_counter=4"));
}

QTEST_MAIN(TestGlobalSettingsWindow)
#include "tst_globalsettingswindow.moc"
