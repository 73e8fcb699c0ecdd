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
