#include "ui/theme.h"

#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTranslator>
#include <QtTest>

class TestTheme : public QObject
{
    Q_OBJECT

private slots:
    void expansion_data();
    void expansion();
    void shippedStyleSheetLeavesOnlyUnknownName();
    void images_data();
    void images();
    void translation_data();
    void translation();
};

void TestTheme::expansion_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expanded");

    QTest::newRow("longer name before its prefix") << "color: QC_GLOB_BLACK1_D2;" << "color: #071114;";
    QTest::newRow("nested prefixes") << "QCT_GLOB_BLUE1_LIKE_L1 QCT_GLOB_BLUE1_LIKE QCT_GLOB_BLUE1 QC_GLOB_BLUE1"
                                     << "#3f92d2 #0b61a4 #245365 #417bb3";
    QTest::newRow("lower case output") << "QC_GLOB_BLUE1_L4" << "#c5def6";
    QTest::newRow("every occurrence, no word end") << "QC_GLOB_RED1 QC_GLOB_RED1X" << "#f5494d #f5494dX";
    QTest::newRow("unknown name") << "color: QC_GLOB_WHITE;" << "color: QC_GLOB_WHITE;";
    QTest::newRow("case-sensitive") << "qc_glob_red1" << "qc_glob_red1";
    QTest::newRow("no placeholder") << "QListView { border: none; }" << "QListView { border: none; }";
}

void TestTheme::expansion()
{
    QFETCH(QString, text);
    QFETCH(QString, expanded);
    QCOMPARE(expandStyleSheet(text), expanded);
}

void TestTheme::shippedStyleSheetLeavesOnlyUnknownName()
{
    // The path as the entry function spells it.
    QFile file(QStringLiteral("://style/style.qss"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString raw = QString::fromUtf8(file.readAll());
    QVERIFY(raw.contains(QLatin1String("QC_GLOB_BLACK1_E2G")));

    QSet<QString> leftovers;
    const QRegularExpression placeholder(QStringLiteral("QCT?_[A-Z0-9_]+"));
    for (const QRegularExpressionMatch &match : placeholder.globalMatch(expandStyleSheet(raw)))
        leftovers.insert(match.captured());
    QCOMPARE(leftovers, QSet<QString>({QStringLiteral("QC_GLOB_WHITE")}));
}

void TestTheme::images_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size");

    QTest::newRow("application icon") << ":/Icon.png" << QSize(256, 256);
    QTest::newRow("logo") << ":/orvane-a_logo5_horizontal_gradient.png" << QSize(250, 45);
    for (const char *name : {"flat/settingsFlatInvertIco", "connectionGoodIco", "connectionFailIco", "addIco",
                             "editIco", "delete2Ico", "refresh2Ico", "searchIco", "deleteIco"})
        QTest::newRow(name) << QStringLiteral(":/%1.png").arg(QLatin1String(name)) << QSize(128, 128);
}

void TestTheme::images()
{
    QFETCH(QString, path);
    QFETCH(QSize, size);
    QCOMPARE(QImage(path).size(), size);
}

void TestTheme::translation_data()
{
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("russian");

    QTest::newRow("unsupported") << "CSimpleRegisterDelegat" << "UNSUPPORT" << "БЕЗ ПОДДЕРЖКИ";
    QTest::newRow("misspelled bias") << "CSimpleRegisterDelegat" << "Register map bias: " << "Смещение раегистра: ";
    QTest::newRow("two lines") << "CSimpleRegisterDelegat" << "Parameter is\nTEXT value!"
                               << "Параметром является\nТЕКСТОВОЕ значение!";
    QTest::newRow("kept in English") << "CSimpleRegisterDelegat" << "Multiplier: " << "Multiplier: ";
    QTest::newRow("Russian source") << "GlobalSettingsWindow" << "Отмена" << "Отмена";
    QTest::newRow("other context") << "CRegisterDelegat" << "UNSUPPORT" << "";
}

void TestTheme::translation()
{
    QFETCH(QString, context);
    QFETCH(QString, source);
    QFETCH(QString, russian);

    QTranslator translator;
    QVERIFY(translator.load(QStringLiteral(":/iot_orvane_modbus.qm"), QString(), QString(), QString()));
    QCOMPARE(translator.translate(qPrintable(context), source.toUtf8().constData()), russian);
}

QTEST_GUILESS_MAIN(TestTheme)
#include "tst_theme.moc"
