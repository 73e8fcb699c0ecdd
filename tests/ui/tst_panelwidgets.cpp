#include "ui/cabstractpanelbutton.h"
#include "ui/csearcheditwidget.h"
#include "ui/theme.h"

#include <QApplication>
#include <QFile>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QtTest>

#include <tuple>

namespace {

QString shippedStyleSheet()
{
    // The path as the entry function spells it.
    QFile file(QStringLiteral("://style/style.qss"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QStringList texts(const QSignalSpy &spy)
{
    QStringList result;
    for (const QList<QVariant> &arguments : spy)
        result.append(arguments.at(0).toString());
    return result;
}

// Each palette constant by its name, with its colour as written; in the order of expansion.
const QList<std::tuple<QString, QColor, QString>> kPalette = {
    {"QC_GLOB_BLACK6C_80", QC_GLOB_BLACK6C_80, "#414951"}, {"QC_GLOB_BLACK6C_65", QC_GLOB_BLACK6C_65, "#656B72"},
    {"QC_GLOB_BLACK6C_45", QC_GLOB_BLACK6C_45, "#94999D"}, {"QC_GLOB_BLACK6C_28", QC_GLOB_BLACK6C_28, "#bdbfc2"},
    {"QC_GLOB_BLACK6C_25", QC_GLOB_BLACK6C_25, "#c4c6c9"}, {"QC_GLOB_BLACK6C_13", QC_GLOB_BLACK6C_13, "#e0e1e3"},
    {"QC_GLOB_BLACK6C_10", QC_GLOB_BLACK6C_10, "#e7e8ea"},
    {"QC_GLOB_WHITE1_D1", QC_GLOB_WHITE1_D1, "#b2b4b5"}, {"QC_GLOB_WHITE1_D2", QC_GLOB_WHITE1_D2, "#4c7a9d"},
    {"QC_GLOB_WHITE1_L1", QC_GLOB_WHITE1_L1, "#f3f6f9"}, {"QC_GLOB_WHITE1_L2", QC_GLOB_WHITE1_L2, "#f5f7f9"},
    {"QC_GLOB_WHITE1", QC_GLOB_WHITE1, "#EBEFF2"},
    {"QC_GLOB_BLACK1_D2", QC_GLOB_BLACK1_D2, "#071114"}, {"QC_GLOB_BLACK1_D1", QC_GLOB_BLACK1_D1, "#131617"},
    {"QC_GLOB_BLACK1_L0", QC_GLOB_BLACK1_L0, "#263034"}, {"QC_GLOB_BLACK1_L1", QC_GLOB_BLACK1_L1, "#73888f"},
    {"QC_GLOB_BLACK1_L2", QC_GLOB_BLACK1_L2, "#7b8a8f"}, {"QC_GLOB_BLACK1_E1B", QC_GLOB_BLACK1_E1B, "#1a1b22"},
    {"QC_GLOB_BLACK1_E2G", QC_GLOB_BLACK1_E2G, "#1b241e"}, {"QC_GLOB_BLACK1", QC_GLOB_BLACK1, "#171d1f"},
    {"QC_GLOB_RED1_D2", QC_GLOB_RED1_D2, "#9f181b"}, {"QC_GLOB_RED1_D1", QC_GLOB_RED1_D1, "#b85759"},
    {"QC_GLOB_RED1_L1", QC_GLOB_RED1_L1, "#fa767a"}, {"QC_GLOB_RED1_L2", QC_GLOB_RED1_L2, "#fa999c"},
    {"QC_GLOB_RED1", QC_GLOB_RED1, "#f5494d"},
    {"QC_GLOB_GREEN1_D2", QC_GLOB_GREEN1_D2, "#137854"}, {"QC_GLOB_GREEN1_D1", QC_GLOB_GREEN1_D1, "#438a71"},
    {"QC_GLOB_GREEN1_L1", QC_GLOB_GREEN1_L1, "#6adcb3"}, {"QC_GLOB_GREEN1_L2", QC_GLOB_GREEN1_L2, "#88dcbe"},
    {"QC_GLOB_GREEN1_L3", QC_GLOB_GREEN1_L3, "#92fdd8"}, {"QC_GLOB_GREEN1_L4", QC_GLOB_GREEN1_L4, "#b3ffe4"},
    {"QC_GLOB_GREEN1", QC_GLOB_GREEN1, "#39b88c"},
    {"QC_GLOB_GREEN2_D2", QC_GLOB_GREEN2_D2, "#408a6a"}, {"QC_GLOB_GREEN2_D1", QC_GLOB_GREEN2_D1, "#035b2c"},
    {"QC_GLOB_GREEN2_L1", QC_GLOB_GREEN2_L1, "#3cc67c"}, {"QC_GLOB_GREEN2_L2", QC_GLOB_GREEN2_L2, "#61c68f"},
    {"QC_GLOB_GREEN2_L3", QC_GLOB_GREEN2_L3, "#8ce3b4"}, {"QC_GLOB_GREEN2", QC_GLOB_GREEN2, "#0a8c46"},
    {"QC_GLOB_BLUE1_D2", QC_GLOB_BLUE1_D2, "#154675"}, {"QC_GLOB_BLUE1_D1", QC_GLOB_BLUE1_D1, "#466787"},
    {"QC_GLOB_BLUE1_L1", QC_GLOB_BLUE1_L1, "#71a6d9"}, {"QC_GLOB_BLUE1_L2", QC_GLOB_BLUE1_L2, "#8db4d9"},
    {"QC_GLOB_BLUE1_L3", QC_GLOB_BLUE1_L3, "#aeceec"}, {"QC_GLOB_BLUE1_L4", QC_GLOB_BLUE1_L4, "#C5DEF6"},
    {"QC_GLOB_BLUE1_L5", QC_GLOB_BLUE1_L5, "#D2E4F6"}, {"QC_GLOB_BLUE1", QC_GLOB_BLUE1, "#417bb3"},
    {"QC_GLOB_ORANGE1_D2", QC_GLOB_ORANGE1_D2, "#a15004"}, {"QC_GLOB_ORANGE1_D1", QC_GLOB_ORANGE1_D1, "#b97635"},
    {"QC_GLOB_ORANGE1_L1", QC_GLOB_ORANGE1_L1, "#fb9f48"}, {"QC_GLOB_ORANGE1_L2", QC_GLOB_ORANGE1_L2, "#fbb878"},
    {"QC_GLOB_ORANGE1_L3", QC_GLOB_ORANGE1_L3, "#fdca9a"}, {"QC_GLOB_ORANGE1_L4", QC_GLOB_ORANGE1_L4, "#FED8B3"},
    {"QC_GLOB_ORANGE1_L5", QC_GLOB_ORANGE1_L5, "#FEE2C7"}, {"QC_GLOB_ORANGE1", QC_GLOB_ORANGE1, "#f77f0c"},
    {"QC_GLOB_PINK1_L1", QC_GLOB_PINK1_L1, "#ff7e7b"}, {"QC_GLOB_PINK1_L2", QC_GLOB_PINK1_L2, "#ffa19e"},
    {"QC_GLOB_PINK1_D1", QC_GLOB_PINK1_D1, "#bf5f5c"}, {"QC_GLOB_PINK1_D2", QC_GLOB_PINK1_D2, "#a61d1a"},
    {"QC_GLOB_PINK1", QC_GLOB_PINK1, "#ff534f"},
    {"QC_GLOB_LILAC1_D1", QC_GLOB_LILAC1_D1, "#6c4181"}, {"QC_GLOB_LILAC1_D2", QC_GLOB_LILAC1_D2, "#501370"},
    {"QC_GLOB_LILAC1_L1", QC_GLOB_LILAC1_L1, "#b26cd6"}, {"QC_GLOB_LILAC1_L2", QC_GLOB_LILAC1_L2, "#bb88d6"},
    {"QC_GLOB_LILAC1_L3", QC_GLOB_LILAC1_L3, "#db95ff"}, {"QC_GLOB_LILAC1_L4", QC_GLOB_LILAC1_L4, "#e3adff"},
    {"QC_GLOB_LILAC1", QC_GLOB_LILAC1, "#863bac"},
    {"QC_GLOB_YELLOW1_D1", QC_GLOB_YELLOW1_D1, "#b9ac3b"}, {"QC_GLOB_YELLOW1_D2", QC_GLOB_YELLOW1_D2, "#a19107"},
    {"QC_GLOB_YELLOW1_L1", QC_GLOB_YELLOW1_L1, "#fbea50"}, {"QC_GLOB_YELLOW1_L2", QC_GLOB_YELLOW1_L2, "#fbee7e"},
    {"QC_GLOB_YELLOW1_L3", QC_GLOB_YELLOW1_L3, "#FDF39F"}, {"QC_GLOB_YELLOW1_L4", QC_GLOB_YELLOW1_L4, "#FDF6B8"},
    {"QC_GLOB_YELLOW1", QC_GLOB_YELLOW1, "#f7e017"},
    {"QC_GLOB_LOGO1_D2", QC_GLOB_LOGO1_D2, "#10404d"}, {"QC_GLOB_LOGO1_D1", QC_GLOB_LOGO1_D1, "#315059"},
    {"QC_GLOB_LOGO1_L1", QC_GLOB_LOGO1_L1, "#67a9bb"}, {"QC_GLOB_LOGO1_L2", QC_GLOB_LOGO1_L2, "#7eadbb"},
    {"QC_GLOB_LOGO1", QC_GLOB_LOGO1, "#306777"},
    {"QC_GRAPH_BACK_GR2", QC_GRAPH_BACK_GR2, "#3A434B"}, {"QC_GRAPH_BACK", QC_GRAPH_BACK, "#414951"},
    {"QC_GRAPH_AXIS", QC_GRAPH_AXIS, "#c4c6c9"}, {"QC_GRAPH_GRID", QC_GRAPH_GRID, "#8c8c8c"},
    {"QC_STAT_TOTAL", QC_STAT_TOTAL, "#0038A8"}, {"QC_STAT_VALID", QC_STAT_VALID, "#009E0F"},
    {"QC_STAT_INVALID", QC_STAT_INVALID, "#D81E05"}, {"QC_STAT_BUSY", QC_STAT_BUSY, "#F7B50C"},
    {"QCT_GLOB_BLUE1_LIKE_D2", QCT_GLOB_BLUE1_LIKE_D2, "#033e6b"},
    {"QCT_GLOB_BLUE1_LIKE_D1", QCT_GLOB_BLUE1_LIKE_D1, "#25567b"},
    {"QCT_GLOB_BLUE1_LIKE_L2", QCT_GLOB_BLUE1_LIKE_L2, "#66a3d2"},
    {"QCT_GLOB_BLUE1_LIKE_L1", QCT_GLOB_BLUE1_LIKE_L1, "#3f92d2"},
    {"QCT_GLOB_BLUE1_LIKE", QCT_GLOB_BLUE1_LIKE, "#0b61a4"},
    {"QCT_GLOB_BLUE1_D1", QCT_GLOB_BLUE1_D1, "#27424c"}, {"QCT_GLOB_BLUE1_D2", QCT_GLOB_BLUE1_D2, "#0c3342"},
    {"QCT_GLOB_BLUE1_L1", QCT_GLOB_BLUE1_L1, "#5c9ab2"}, {"QCT_GLOB_BLUE1_L2", QCT_GLOB_BLUE1_L2, "#73a1b2"},
    {"QCT_GLOB_BLUE1_L3", QCT_GLOB_BLUE1_L3, "#d9e1e4"}, {"QCT_GLOB_BLUE1_L4", QCT_GLOB_BLUE1_L4, "#ebeff2"},
    {"QCT_GLOB_BLUE1", QCT_GLOB_BLUE1, "#245365"},
};

// Records the keys that reach a widget.
class KeySpy : public QObject
{
public:
    QList<int> keys;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress)
            keys.append(static_cast<QKeyEvent *>(event)->key());
        return false;
    }
};

} // namespace

class TestPanelWidgets : public QObject
{
    Q_OBJECT

private slots:
    void expansion_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expanded");

        QTest::newRow("longer name before its prefix") << "color: QC_GLOB_BLACK1_D2;" << "color: #071114;";
        QTest::newRow("nested prefixes") << "QCT_GLOB_BLUE1_LIKE_L1 QCT_GLOB_BLUE1_LIKE QCT_GLOB_BLUE1 QC_GLOB_BLUE1"
                                         << "#3f92d2 #0b61a4 #245365 #417bb3";
        QTest::newRow("every occurrence, no word end") << "QC_GLOB_RED1 QC_GLOB_RED1X" << "#f5494d #f5494dX";
        QTest::newRow("unknown name kept") << "color: QC_GLOB_WHITE;" << "color: QC_GLOB_WHITE;";
    }

    void expansion()
    {
        QFETCH(QString, text);
        QFETCH(QString, expanded);
        QCOMPARE(expandStyleSheet(text), expanded);
    }

    void paletteColours_data()
    {
        QTest::addColumn<QColor>("constant");
        QTest::addColumn<QString>("colour");

        for (const auto &[name, constant, colour] : kPalette)
            QTest::newRow(qPrintable(name)) << constant << colour;
    }

    // Each palette name, alone in a text, expands to its colour in lower case;
    // a longer name expanded after its prefix would come out half replaced.
    void paletteColours()
    {
        QFETCH(QColor, constant);
        QFETCH(QString, colour);

        QCOMPARE(constant, QColor(colour));
        QCOMPARE(expandStyleSheet(QString::fromLatin1(QTest::currentDataTag())), colour.toLower());
    }

    void shippedStyleSheetLeavesOnlyUnknownName()
    {
        QSet<QString> leftovers;
        const QRegularExpression placeholder(QStringLiteral("QCT?_[A-Z0-9_]+"));
        for (const QRegularExpressionMatch &match : placeholder.globalMatch(expandStyleSheet(shippedStyleSheet())))
            leftovers.insert(match.captured());
        QCOMPARE(leftovers, QSet<QString>({QStringLiteral("QC_GLOB_WHITE")}));
    }

    void styleSheetBackgrounds_data()
    {
        QTest::addColumn<QString>("widget");
        QTest::addColumn<QPoint>("point");
        QTest::addColumn<QColor>("color");

        // Points clear of the stripe, the labels, the buttons and the rounded corners.
        QTest::newRow("panel button") << "button" << QPoint(10, 15) << QC_GLOB_BLACK1;
        QTest::newRow("checked panel button") << "checked" << QPoint(10, 15) << QC_GLOB_BLACK1_E2G;
        QTest::newRow("search edit frame") << "search" << QPoint(1, 15) << QC_GLOB_BLUE1_L1;
    }

    void styleSheetBackgrounds()
    {
        QFETCH(QString, widget);
        QFETCH(QPoint, point);
        QFETCH(QColor, color);

        qApp->setStyleSheet(expandStyleSheet(shippedStyleSheet()));
        CSearchEditWidget search;
        CAbstractPanelButton button(QStringLiteral("TCP"), QIcon());
        button.setChecked(widget == QLatin1String("checked"));
        QWidget &subject = widget == QLatin1String("search") ? static_cast<QWidget &>(search) : button;
        subject.resize(200, 30);
        const QColor actual = subject.grab().toImage().pixelColor(point);
        qApp->setStyleSheet(QString());
        QCOMPARE(actual, color);
    }

    void buttonGroupAndStripe_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<bool>("boxShown");
        QTest::addColumn<bool>("titleShown");
        QTest::addColumn<bool>("red");

        QTest::newRow("ModBus starts active") << "ModBus" << "" << false << true << true;
        QTest::newRow("modbus does not") << "modbus" << "" << false << true << false;
        QTest::newRow("checked, no full view") << "TCP" << "item check" << false << true << true;
        QTest::newRow("unchecked again") << "TCP" << "full item check check" << false << true << false;
        QTest::newRow("full view opens group") << "TCP" << "full item check" << true << true << true;
        QTest::newRow("added to closed group") << "TCP" << "full check item" << false << true << true;
        QTest::newRow("extra group, then full view") << "TCP" << "item check extra full" << true << true << true;
        QTest::newRow("extra group while inactive") << "TCP" << "full item extra" << false << true << false;
        QTest::newRow("bare icon") << "TCP" << "item check extra nofull" << false << false << true;
    }

    void buttonGroupAndStripe()
    {
        QFETCH(QString, title);
        QFETCH(QString, steps);
        QFETCH(bool, boxShown);
        QFETCH(bool, titleShown);
        QFETCH(bool, red);

        CAbstractPanelButton button(title, QIcon());
        button.resize(200, 120);
        for (const QString &step : steps.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            if (step == QLatin1String("item"))
                button.addWidget(new QLabel(QStringLiteral("field")));
            else if (step == QLatin1String("check"))
                button.click();
            else if (step.endsWith(QLatin1String("full")))
                button.setFullView(step == QLatin1String("full"));
            else
                button.setExtraGroupVisible(true);
        }

        QCOMPARE(!button.findChild<QGroupBox *>(QStringLiteral("mainBox"))->isHidden(), boxShown);
        QCOMPARE(!button.findChild<QLabel *>(QStringLiteral("titleLable"))->isHidden(), titleShown);
        QCOMPARE(button.grab().toImage().pixelColor(2, 10) == QColor(0xf5494d), red);
    }

    void picAlign_data()
    {
        QTest::addColumn<bool>("withIcon");
        QTest::addColumn<QList<int>>("values");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("stretch");

        QTest::newRow("current value moves nothing") << false << QList<int>{1} << 1 << 0;
        QTest::newRow("no icon, to the right") << false << QList<int>{2} << 2 << 1;
        QTest::newRow("right and back") << true << QList<int>{2, 1} << 1 << 1;
        QTest::newRow("unsupported goes left") << true << QList<int>{2, 3} << 1 << 1;
    }

    void picAlign()
    {
        QFETCH(bool, withIcon);
        QFETCH(QList<int>, values);
        QFETCH(int, index);
        QFETCH(int, stretch);

        CAbstractPanelButton button(QStringLiteral("TCP"), withIcon ? QIcon(QStringLiteral(":/addIco.png")) : QIcon());
        if (values.contains(3)) {
            QTest::ignoreMessage(QtDebugMsg, "[CAbstractPanelButton::setPicAlign] Current alingn for ICO is not "
                                             "supported. Auto-apply with Qt::AlignLeft");
        }
        for (const int value : values)
            button.setPicAlign(value);

        auto *top = qobject_cast<QHBoxLayout *>(button.layout()->itemAt(0)->layout());
        const int actual = top->indexOf(button.findChild<QLabel *>(QStringLiteral("icoLab")));
        QCOMPARE(actual, index);
        QCOMPARE(top->stretch(actual), stretch);
    }

    void searchSignals_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("finish");
        QTest::addColumn<QStringList>("searches");
        QTest::addColumn<QStringList>("immediate");

        QTest::newRow("typing alone") << "ab" << "" << QStringList{} << QStringList{"a", "ab"};
        QTest::newRow("Return") << "ab" << "Return" << QStringList{"ab"} << QStringList{"a", "ab"};
        QTest::newRow("keypad Enter") << "x" << "Enter" << QStringList{"x"} << QStringList{"x"};
        QTest::newRow("other keys pass") << "x" << "Escape" << QStringList{} << QStringList{"x"};
        QTest::newRow("search button") << "pu" << "search" << QStringList{"pu"} << QStringList{"p", "pu"};
        QTest::newRow("clear button") << "pu" << "clear" << QStringList{""} << QStringList{"p", "pu", ""};
    }

    void searchSignals()
    {
        QFETCH(QString, typed);
        QFETCH(QString, finish);
        QFETCH(QStringList, searches);
        QFETCH(QStringList, immediate);

        QWidget parent;
        KeySpy keysReachingParent;
        parent.installEventFilter(&keysReachingParent);
        auto *search = new CSearchEditWidget(&parent);
        QSignalSpy searchSpy(search, &CSearchEditWidget::textChangedSignal);
        QSignalSpy immediateSpy(search, &CSearchEditWidget::textImmediatelyChanged);
        auto *edit = search->findChild<QLineEdit *>();
        const QList<QPushButton *> buttons = search->findChildren<QPushButton *>(QStringLiteral("searchBtn"));

        QTest::keyClicks(edit, typed);
        const QMap<QString, Qt::Key> keys = {{"Return", Qt::Key_Return}, {"Enter", Qt::Key_Enter},
                                             {"Escape", Qt::Key_Escape}};
        if (keys.contains(finish))
            QTest::keyClick(edit, keys.value(finish));
        else if (!finish.isEmpty())
            QTest::mouseClick(buttons.at(finish == QLatin1String("clear") ? 1 : 0), Qt::LeftButton);

        QCOMPARE(texts(searchSpy), searches);
        QCOMPARE(texts(immediateSpy), immediate);
        QCOMPARE(edit->text(), finish == QLatin1String("clear") ? QString() : typed);
        // Return and Enter are used up by the search; other keys go on.
        const QList<int> passedOn = finish == QLatin1String("Escape") ? QList<int>{Qt::Key_Escape} : QList<int>{};
        QCOMPARE(keysReachingParent.keys, passedOn);
    }
};

QTEST_MAIN(TestPanelWidgets)
#include "tst_panelwidgets.moc"
