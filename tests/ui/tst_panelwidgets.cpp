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
#include <QtTest>

namespace {

QColor pixelAt(QWidget &widget, const QPoint &point)
{
    return widget.grab().toImage().pixelColor(point);
}

bool stripeIsRed(CAbstractPanelButton &button)
{
    return pixelAt(button, QPoint(2, 10)) == QColor(0xf5494d);
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
    void buttonGroupAndStripe_data();
    void buttonGroupAndStripe();
    void picAlign_data();
    void picAlign();
    void searchSignals_data();
    void searchSignals();
    void styleSheetBackgrounds_data();
    void styleSheetBackgrounds();
};

void TestPanelWidgets::buttonGroupAndStripe_data()
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
    QTest::newRow("full view needs extra group") << "TCP" << "item check full" << false << true << true;
    QTest::newRow("extra group, then full view") << "TCP" << "item check extra full" << true << true << true;
    QTest::newRow("extra group while inactive") << "TCP" << "full item extra" << false << true << false;
    QTest::newRow("extra group shows empty box") << "TCP" << "full check extra" << true << true << true;
    QTest::newRow("bare icon") << "TCP" << "item check extra nofull" << false << false << true;
}

void TestPanelWidgets::buttonGroupAndStripe()
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
            button.setExtraGroupVisible(step == QLatin1String("extra"));
    }

    QCOMPARE(!button.findChild<QGroupBox *>(QStringLiteral("mainBox"))->isHidden(), boxShown);
    QCOMPARE(!button.findChild<QLabel *>(QStringLiteral("titleLable"))->isHidden(), titleShown);
    QCOMPARE(stripeIsRed(button), red);
}

void TestPanelWidgets::picAlign_data()
{
    QTest::addColumn<bool>("withIcon");
    QTest::addColumn<QList<int>>("values");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("stretch");
    QTest::addColumn<bool>("message");

    QTest::newRow("current value moves nothing") << false << QList<int>{1} << 1 << 0 << false;
    QTest::newRow("no icon, to the right") << false << QList<int>{2} << 2 << 1 << false;
    QTest::newRow("right and back") << true << QList<int>{2, 1} << 1 << 1 << false;
    QTest::newRow("unsupported goes left") << true << QList<int>{2, 3} << 1 << 1 << true;
}

void TestPanelWidgets::picAlign()
{
    QFETCH(bool, withIcon);
    QFETCH(QList<int>, values);
    QFETCH(int, index);
    QFETCH(int, stretch);
    QFETCH(bool, message);

    CAbstractPanelButton button(QStringLiteral("TCP"), withIcon ? QIcon(QStringLiteral(":/addIco.png")) : QIcon());
    if (message) {
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

void TestPanelWidgets::searchSignals_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("finish");
    QTest::addColumn<QStringList>("immediate");
    QTest::addColumn<QStringList>("searches");

    QTest::newRow("typing alone") << "" << "ab" << "" << QStringList{"a", "ab"} << QStringList{};
    QTest::newRow("Return") << "" << "ab" << "Return" << QStringList{"a", "ab"} << QStringList{"ab"};
    QTest::newRow("keypad Enter") << "" << "x" << "Enter" << QStringList{"x"} << QStringList{"x"};
    QTest::newRow("other keys pass") << "" << "x" << "Escape" << QStringList{"x"} << QStringList{};
    QTest::newRow("search button") << "pump" << "" << "search" << QStringList{"pump"} << QStringList{"pump"};
    QTest::newRow("clear button") << "pump" << "" << "clear" << QStringList{"pump", ""} << QStringList{""};
    QTest::newRow("clear when empty") << "" << "" << "clear" << QStringList{} << QStringList{""};
}

void TestPanelWidgets::searchSignals()
{
    QFETCH(QString, preset);
    QFETCH(QString, typed);
    QFETCH(QString, finish);
    QFETCH(QStringList, immediate);
    QFETCH(QStringList, searches);

    QWidget parent;
    KeySpy keysReachingParent;
    parent.installEventFilter(&keysReachingParent);
    auto *search = new CSearchEditWidget(&parent);
    QSignalSpy immediateSpy(search, &CSearchEditWidget::textImmediatelyChanged);
    QSignalSpy searchSpy(search, &CSearchEditWidget::textChangedSignal);
    auto *edit = search->findChild<QLineEdit *>();
    const QList<QPushButton *> buttons = search->findChildren<QPushButton *>(QStringLiteral("searchBtn"));

    if (!preset.isEmpty())
        search->setText(preset);
    QTest::keyClicks(edit, typed);
    const QMap<QString, Qt::Key> keys = {
        {QStringLiteral("Return"), Qt::Key_Return},
        {QStringLiteral("Enter"), Qt::Key_Enter},
        {QStringLiteral("Escape"), Qt::Key_Escape},
    };
    if (keys.contains(finish))
        QTest::keyClick(edit, keys.value(finish));
    else if (finish == QLatin1String("search") || finish == QLatin1String("clear"))
        QTest::mouseClick(buttons.at(finish == QLatin1String("clear") ? 1 : 0), Qt::LeftButton);

    QCOMPARE(texts(immediateSpy), immediate);
    QCOMPARE(texts(searchSpy), searches);
    // Return and Enter are used up by the search; other keys go on.
    QCOMPARE(keysReachingParent.keys, finish == QLatin1String("Escape") ? QList<int>{Qt::Key_Escape} : QList<int>{});
}

void TestPanelWidgets::styleSheetBackgrounds_data()
{
    QTest::addColumn<QString>("widget");
    QTest::addColumn<QPoint>("point");
    QTest::addColumn<QColor>("color");

    // Points clear of the stripe, the labels, the buttons and the rounded corners.
    QTest::newRow("panel button") << "button" << QPoint(10, 15) << QC_GLOB_BLACK1;
    QTest::newRow("checked panel button") << "checked" << QPoint(10, 15) << QC_GLOB_BLACK1_E2G;
    QTest::newRow("search edit frame") << "search" << QPoint(1, 15) << QC_GLOB_BLUE1_L1;
}

void TestPanelWidgets::styleSheetBackgrounds()
{
    QFETCH(QString, widget);
    QFETCH(QPoint, point);
    QFETCH(QColor, color);

    QFile file(QStringLiteral(":/style/style.qss"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(expandStyleSheet(QString::fromUtf8(file.readAll())));
    CSearchEditWidget search;
    CAbstractPanelButton button(QStringLiteral("TCP"), QIcon());
    button.setChecked(widget == QLatin1String("checked"));
    QWidget &subject = widget == QLatin1String("search") ? static_cast<QWidget &>(search) : button;
    subject.resize(200, 30);
    const QColor actual = pixelAt(subject, point);
    qApp->setStyleSheet(QString());
    QCOMPARE(actual, color);
}

QTEST_MAIN(TestPanelWidgets)
#include "tst_panelwidgets.moc"
