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

namespace {

QString shippedStyleSheet()
{
    // The path as the entry function spells it.
    QFile file(QStringLiteral("://style/style.qss"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QColor pixelAt(QWidget &widget, const QPoint &point)
{
    return widget.grab().toImage().pixelColor(point);
}

QStringList texts(const QSignalSpy &spy)
{
    QStringList result;
    for (const QList<QVariant> &arguments : spy)
        result.append(arguments.at(0).toString());
    return result;
}

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

        // In the order of expansion.
        QTest::newRow("QC_GLOB_BLACK6C_80") << QC_GLOB_BLACK6C_80 << QStringLiteral("#414951");
        QTest::newRow("QC_GLOB_BLACK6C_65") << QC_GLOB_BLACK6C_65 << QStringLiteral("#656B72");
        QTest::newRow("QC_GLOB_BLACK6C_45") << QC_GLOB_BLACK6C_45 << QStringLiteral("#94999D");
        QTest::newRow("QC_GLOB_BLACK6C_28") << QC_GLOB_BLACK6C_28 << QStringLiteral("#bdbfc2");
        QTest::newRow("QC_GLOB_BLACK6C_25") << QC_GLOB_BLACK6C_25 << QStringLiteral("#c4c6c9");
        QTest::newRow("QC_GLOB_BLACK6C_13") << QC_GLOB_BLACK6C_13 << QStringLiteral("#e0e1e3");
        QTest::newRow("QC_GLOB_BLACK6C_10") << QC_GLOB_BLACK6C_10 << QStringLiteral("#e7e8ea");
        QTest::newRow("QC_GLOB_WHITE1_D1") << QC_GLOB_WHITE1_D1 << QStringLiteral("#b2b4b5");
        QTest::newRow("QC_GLOB_WHITE1_D2") << QC_GLOB_WHITE1_D2 << QStringLiteral("#4c7a9d");
        QTest::newRow("QC_GLOB_WHITE1_L1") << QC_GLOB_WHITE1_L1 << QStringLiteral("#f3f6f9");
        QTest::newRow("QC_GLOB_WHITE1_L2") << QC_GLOB_WHITE1_L2 << QStringLiteral("#f5f7f9");
        QTest::newRow("QC_GLOB_WHITE1") << QC_GLOB_WHITE1 << QStringLiteral("#EBEFF2");
        QTest::newRow("QC_GLOB_BLACK1_D2") << QC_GLOB_BLACK1_D2 << QStringLiteral("#071114");
        QTest::newRow("QC_GLOB_BLACK1_D1") << QC_GLOB_BLACK1_D1 << QStringLiteral("#131617");
        QTest::newRow("QC_GLOB_BLACK1_L0") << QC_GLOB_BLACK1_L0 << QStringLiteral("#263034");
        QTest::newRow("QC_GLOB_BLACK1_L1") << QC_GLOB_BLACK1_L1 << QStringLiteral("#73888f");
        QTest::newRow("QC_GLOB_BLACK1_L2") << QC_GLOB_BLACK1_L2 << QStringLiteral("#7b8a8f");
        QTest::newRow("QC_GLOB_BLACK1_E1B") << QC_GLOB_BLACK1_E1B << QStringLiteral("#1a1b22");
        QTest::newRow("QC_GLOB_BLACK1_E2G") << QC_GLOB_BLACK1_E2G << QStringLiteral("#1b241e");
        QTest::newRow("QC_GLOB_BLACK1") << QC_GLOB_BLACK1 << QStringLiteral("#171d1f");
        QTest::newRow("QC_GLOB_RED1_D2") << QC_GLOB_RED1_D2 << QStringLiteral("#9f181b");
        QTest::newRow("QC_GLOB_RED1_D1") << QC_GLOB_RED1_D1 << QStringLiteral("#b85759");
        QTest::newRow("QC_GLOB_RED1_L1") << QC_GLOB_RED1_L1 << QStringLiteral("#fa767a");
        QTest::newRow("QC_GLOB_RED1_L2") << QC_GLOB_RED1_L2 << QStringLiteral("#fa999c");
        QTest::newRow("QC_GLOB_RED1") << QC_GLOB_RED1 << QStringLiteral("#f5494d");
        QTest::newRow("QC_GLOB_GREEN1_D2") << QC_GLOB_GREEN1_D2 << QStringLiteral("#137854");
        QTest::newRow("QC_GLOB_GREEN1_D1") << QC_GLOB_GREEN1_D1 << QStringLiteral("#438a71");
        QTest::newRow("QC_GLOB_GREEN1_L1") << QC_GLOB_GREEN1_L1 << QStringLiteral("#6adcb3");
        QTest::newRow("QC_GLOB_GREEN1_L2") << QC_GLOB_GREEN1_L2 << QStringLiteral("#88dcbe");
        QTest::newRow("QC_GLOB_GREEN1_L3") << QC_GLOB_GREEN1_L3 << QStringLiteral("#92fdd8");
        QTest::newRow("QC_GLOB_GREEN1_L4") << QC_GLOB_GREEN1_L4 << QStringLiteral("#b3ffe4");
        QTest::newRow("QC_GLOB_GREEN1") << QC_GLOB_GREEN1 << QStringLiteral("#39b88c");
        QTest::newRow("QC_GLOB_GREEN2_D2") << QC_GLOB_GREEN2_D2 << QStringLiteral("#408a6a");
        QTest::newRow("QC_GLOB_GREEN2_D1") << QC_GLOB_GREEN2_D1 << QStringLiteral("#035b2c");
        QTest::newRow("QC_GLOB_GREEN2_L1") << QC_GLOB_GREEN2_L1 << QStringLiteral("#3cc67c");
        QTest::newRow("QC_GLOB_GREEN2_L2") << QC_GLOB_GREEN2_L2 << QStringLiteral("#61c68f");
        QTest::newRow("QC_GLOB_GREEN2_L3") << QC_GLOB_GREEN2_L3 << QStringLiteral("#8ce3b4");
        QTest::newRow("QC_GLOB_GREEN2") << QC_GLOB_GREEN2 << QStringLiteral("#0a8c46");
        QTest::newRow("QC_GLOB_BLUE1_D2") << QC_GLOB_BLUE1_D2 << QStringLiteral("#154675");
        QTest::newRow("QC_GLOB_BLUE1_D1") << QC_GLOB_BLUE1_D1 << QStringLiteral("#466787");
        QTest::newRow("QC_GLOB_BLUE1_L1") << QC_GLOB_BLUE1_L1 << QStringLiteral("#71a6d9");
        QTest::newRow("QC_GLOB_BLUE1_L2") << QC_GLOB_BLUE1_L2 << QStringLiteral("#8db4d9");
        QTest::newRow("QC_GLOB_BLUE1_L3") << QC_GLOB_BLUE1_L3 << QStringLiteral("#aeceec");
        QTest::newRow("QC_GLOB_BLUE1_L4") << QC_GLOB_BLUE1_L4 << QStringLiteral("#C5DEF6");
        QTest::newRow("QC_GLOB_BLUE1_L5") << QC_GLOB_BLUE1_L5 << QStringLiteral("#D2E4F6");
        QTest::newRow("QC_GLOB_BLUE1") << QC_GLOB_BLUE1 << QStringLiteral("#417bb3");
        QTest::newRow("QC_GLOB_ORANGE1_D2") << QC_GLOB_ORANGE1_D2 << QStringLiteral("#a15004");
        QTest::newRow("QC_GLOB_ORANGE1_D1") << QC_GLOB_ORANGE1_D1 << QStringLiteral("#b97635");
        QTest::newRow("QC_GLOB_ORANGE1_L1") << QC_GLOB_ORANGE1_L1 << QStringLiteral("#fb9f48");
        QTest::newRow("QC_GLOB_ORANGE1_L2") << QC_GLOB_ORANGE1_L2 << QStringLiteral("#fbb878");
        QTest::newRow("QC_GLOB_ORANGE1_L3") << QC_GLOB_ORANGE1_L3 << QStringLiteral("#fdca9a");
        QTest::newRow("QC_GLOB_ORANGE1_L4") << QC_GLOB_ORANGE1_L4 << QStringLiteral("#FED8B3");
        QTest::newRow("QC_GLOB_ORANGE1_L5") << QC_GLOB_ORANGE1_L5 << QStringLiteral("#FEE2C7");
        QTest::newRow("QC_GLOB_ORANGE1") << QC_GLOB_ORANGE1 << QStringLiteral("#f77f0c");
        QTest::newRow("QC_GLOB_PINK1_L1") << QC_GLOB_PINK1_L1 << QStringLiteral("#ff7e7b");
        QTest::newRow("QC_GLOB_PINK1_L2") << QC_GLOB_PINK1_L2 << QStringLiteral("#ffa19e");
        QTest::newRow("QC_GLOB_PINK1_D1") << QC_GLOB_PINK1_D1 << QStringLiteral("#bf5f5c");
        QTest::newRow("QC_GLOB_PINK1_D2") << QC_GLOB_PINK1_D2 << QStringLiteral("#a61d1a");
        QTest::newRow("QC_GLOB_PINK1") << QC_GLOB_PINK1 << QStringLiteral("#ff534f");
        QTest::newRow("QC_GLOB_LILAC1_D1") << QC_GLOB_LILAC1_D1 << QStringLiteral("#6c4181");
        QTest::newRow("QC_GLOB_LILAC1_D2") << QC_GLOB_LILAC1_D2 << QStringLiteral("#501370");
        QTest::newRow("QC_GLOB_LILAC1_L1") << QC_GLOB_LILAC1_L1 << QStringLiteral("#b26cd6");
        QTest::newRow("QC_GLOB_LILAC1_L2") << QC_GLOB_LILAC1_L2 << QStringLiteral("#bb88d6");
        QTest::newRow("QC_GLOB_LILAC1_L3") << QC_GLOB_LILAC1_L3 << QStringLiteral("#db95ff");
        QTest::newRow("QC_GLOB_LILAC1_L4") << QC_GLOB_LILAC1_L4 << QStringLiteral("#e3adff");
        QTest::newRow("QC_GLOB_LILAC1") << QC_GLOB_LILAC1 << QStringLiteral("#863bac");
        QTest::newRow("QC_GLOB_YELLOW1_D1") << QC_GLOB_YELLOW1_D1 << QStringLiteral("#b9ac3b");
        QTest::newRow("QC_GLOB_YELLOW1_D2") << QC_GLOB_YELLOW1_D2 << QStringLiteral("#a19107");
        QTest::newRow("QC_GLOB_YELLOW1_L1") << QC_GLOB_YELLOW1_L1 << QStringLiteral("#fbea50");
        QTest::newRow("QC_GLOB_YELLOW1_L2") << QC_GLOB_YELLOW1_L2 << QStringLiteral("#fbee7e");
        QTest::newRow("QC_GLOB_YELLOW1_L3") << QC_GLOB_YELLOW1_L3 << QStringLiteral("#FDF39F");
        QTest::newRow("QC_GLOB_YELLOW1_L4") << QC_GLOB_YELLOW1_L4 << QStringLiteral("#FDF6B8");
        QTest::newRow("QC_GLOB_YELLOW1") << QC_GLOB_YELLOW1 << QStringLiteral("#f7e017");
        QTest::newRow("QC_GLOB_LOGO1_D2") << QC_GLOB_LOGO1_D2 << QStringLiteral("#10404d");
        QTest::newRow("QC_GLOB_LOGO1_D1") << QC_GLOB_LOGO1_D1 << QStringLiteral("#315059");
        QTest::newRow("QC_GLOB_LOGO1_L1") << QC_GLOB_LOGO1_L1 << QStringLiteral("#67a9bb");
        QTest::newRow("QC_GLOB_LOGO1_L2") << QC_GLOB_LOGO1_L2 << QStringLiteral("#7eadbb");
        QTest::newRow("QC_GLOB_LOGO1") << QC_GLOB_LOGO1 << QStringLiteral("#306777");
        QTest::newRow("QC_GRAPH_BACK_GR2") << QC_GRAPH_BACK_GR2 << QStringLiteral("#3A434B");
        QTest::newRow("QC_GRAPH_BACK") << QC_GRAPH_BACK << QStringLiteral("#414951");
        QTest::newRow("QC_GRAPH_AXIS") << QC_GRAPH_AXIS << QStringLiteral("#c4c6c9");
        QTest::newRow("QC_GRAPH_GRID") << QC_GRAPH_GRID << QStringLiteral("#8c8c8c");
        QTest::newRow("QC_STAT_TOTAL") << QC_STAT_TOTAL << QStringLiteral("#0038A8");
        QTest::newRow("QC_STAT_VALID") << QC_STAT_VALID << QStringLiteral("#009E0F");
        QTest::newRow("QC_STAT_INVALID") << QC_STAT_INVALID << QStringLiteral("#D81E05");
        QTest::newRow("QC_STAT_BUSY") << QC_STAT_BUSY << QStringLiteral("#F7B50C");
        QTest::newRow("QCT_GLOB_BLUE1_LIKE_D2") << QCT_GLOB_BLUE1_LIKE_D2 << QStringLiteral("#033e6b");
        QTest::newRow("QCT_GLOB_BLUE1_LIKE_D1") << QCT_GLOB_BLUE1_LIKE_D1 << QStringLiteral("#25567b");
        QTest::newRow("QCT_GLOB_BLUE1_LIKE_L2") << QCT_GLOB_BLUE1_LIKE_L2 << QStringLiteral("#66a3d2");
        QTest::newRow("QCT_GLOB_BLUE1_LIKE_L1") << QCT_GLOB_BLUE1_LIKE_L1 << QStringLiteral("#3f92d2");
        QTest::newRow("QCT_GLOB_BLUE1_LIKE") << QCT_GLOB_BLUE1_LIKE << QStringLiteral("#0b61a4");
        QTest::newRow("QCT_GLOB_BLUE1_D1") << QCT_GLOB_BLUE1_D1 << QStringLiteral("#27424c");
        QTest::newRow("QCT_GLOB_BLUE1_D2") << QCT_GLOB_BLUE1_D2 << QStringLiteral("#0c3342");
        QTest::newRow("QCT_GLOB_BLUE1_L1") << QCT_GLOB_BLUE1_L1 << QStringLiteral("#5c9ab2");
        QTest::newRow("QCT_GLOB_BLUE1_L2") << QCT_GLOB_BLUE1_L2 << QStringLiteral("#73a1b2");
        QTest::newRow("QCT_GLOB_BLUE1_L3") << QCT_GLOB_BLUE1_L3 << QStringLiteral("#d9e1e4");
        QTest::newRow("QCT_GLOB_BLUE1_L4") << QCT_GLOB_BLUE1_L4 << QStringLiteral("#ebeff2");
        QTest::newRow("QCT_GLOB_BLUE1") << QCT_GLOB_BLUE1 << QStringLiteral("#245365");
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
        const QString expanded = expandStyleSheet(shippedStyleSheet());
        QSet<QString> leftovers;
        const QRegularExpression placeholder(QStringLiteral("QCT?_[A-Z0-9_]+"));
        for (const QRegularExpressionMatch &match : placeholder.globalMatch(expanded))
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
        const QColor actual = pixelAt(subject, point);
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
        QCOMPARE(pixelAt(button, QPoint(2, 10)) == QColor(0xf5494d), red);
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
