#include "devices/calldevicehandler.h"
#include "logspy.h"
#include "testworkdir.h"
#include "ui/cdevicedelegat.h"
#include "ui/cregisterdelegat.h"
#include "ui/csimpleregisterdelegat.h"
#include "ui/csimpleregistereditwidget.h"
#include "ui/theme.h"

#include <QImage>
#include <QLineEdit>
#include <QPainter>
#include <QStandardItemModel>
#include <QtTest>

#include <memory>

namespace {

// The delegate that paints a card; an int, to sit in a test column.
constexpr int Register = 0, Editor = 1, ModBus = 2, Tcp = 3;

// Its template paints it in #2e86c1.
const QString kClimateEui = QStringLiteral("F1A7C0DE00000101");
const QString kNever = QStringLiteral("NEVER RECEIVING");
constexpr qulonglong kReceived = 1700000000123ULL;

// A register row in the columns of the register table: reg_addr 100, the
// given bit size, type, value and time, name "Flow", start_value 2.5,
// grating_period 3 and unit "bar".
std::unique_ptr<QStandardItemModel> registerModel(int columns, int rows, int bitSize, const QString &dataType,
                                                  const QVariant &fullValue, qulonglong time = 0)
{
    auto model = std::make_unique<QStandardItemModel>(rows, columns);
    const QList<QPair<int, QVariant>> cells = {
        {2, 100}, {3, 2.5}, {4, 3}, {5, bitSize}, {6, dataType}, {8, fullValue}, {9, time}, {10, "Flow"}, {11, "bar"},
    };
    for (int row = 0; row < rows; ++row) {
        for (const auto &cell : cells)
            model->setData(model->index(row, cell.first), cell.second);
    }
    return model;
}

// Device rows in the columns of the device lists: id, name, app EUI, dev EUI, port.
std::unique_ptr<QStandardItemModel> deviceModel(int columns, int rows, const QString &appEui)
{
    auto model = std::make_unique<QStandardItemModel>(rows, columns);
    const QStringList cells = {"7", "Boiler", appEui, "70B3D5000000C001", "65535"};
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < qMin(columns, int(cells.size())); ++column)
            model->setData(model->index(row, column), cells.at(column));
    }
    return model;
}

// Extra value, multiplier and units, in the order the editor makes them.
QList<QLineEdit *> scalingEdits(QWidget *editor)
{
    QList<QLineEdit *> edits = editor->findChildren<QLineEdit *>();
    edits.removeIf([](const QLineEdit *edit) { return edit->objectName() == QStringLiteral("decimalsEdit"); });
    return edits;
}

QStringList editTexts(QWidget *editor)
{
    QStringList texts;
    for (const QLineEdit *edit : scalingEdits(editor))
        texts.append(edit->text());
    return texts;
}

} // namespace

class TestDelegates : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<LogSpy> m_log;

private slots:
    void initTestCase()
    {
        // Reception times are shown in local time.
        qputenv("TZ", "UTC");
        m_log = std::make_unique<LogSpy>();

        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
    }

    void registerTexts_data()
    {
        QTest::addColumn<QString>("dataType");
        QTest::addColumn<int>("bitSize");
        QTest::addColumn<QVariant>("fullValue");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("range");
        QTest::addColumn<QString>("logged");

        const QString one = QStringLiteral("ModBUS register[100]");
        const QString two = QStringLiteral("ModBUS register[100..101]");
        const QVariant sqlNull(QMetaType::fromType<QString>());
        QTest::newRow("integer, 16 bits") << "integer" << 16 << QVariant("FFFE") << "-2 [bar]" << one << "";
        QTest::newRow("uinteger, 16 bits") << "uinteger" << 16 << QVariant("FFFE") << "65534 [bar]" << one << "";
        QTest::newRow("integer, 32 bits") << "integer" << 32 << QVariant("FFFE1DC0") << "-123456 [bar]" << two << "";
        QTest::newRow("24 bits read as 64") << "integer" << 24 << QVariant("FFFFFFFFFFFFFF85") << "-123 [bar]" << two
                                            << "";
        QTest::newRow("short value, zeros after") << "integer" << 32 << QVariant("FFFE") << "-131072 [bar]" << two
                                                  << "";
        QTest::newRow("uinteger, 64 bits") << "uinteger" << 64 << QVariant("FFFFFFFFFFFFFFFF")
                                           << "18446744073709551615 [bar]" << "ModBUS register[100..103]" << "";
        QTest::newRow("never received") << "uinteger" << 16 << sqlNull << kNever << one << "";
        QTest::newRow("text, no unit") << "text" << 64 << QVariant("Шлюз-7") << "Шлюз-7"
                                       << "ModBUS register[100..103]" << "";
        QTest::newRow("boolean with data") << "boolean" << 16 << QVariant("0001") << kNever << one
                                           << "[CRegisterDelegat::paint] Unsupporting dataType: BOOLEAN";
        QTest::newRow("unknown type") << "INTEGER" << 16 << QVariant("0001") << kNever << one
                                      << "[CRegisterDelegat::paint] Unknown data type! INTEGER";
    }

    void registerTexts()
    {
        QFETCH(QString, dataType);
        QFETCH(int, bitSize);
        QFETCH(QVariant, fullValue);
        QFETCH(QString, value);
        QFETCH(QString, range);
        QFETCH(QString, logged);

        // A value comes with the time it was received.
        auto model = registerModel(14, 1, bitSize, dataType, fullValue, fullValue.isNull() ? 0 : kReceived);
        const QModelIndex index = model->index(0, 3);
        m_log->forget();
        QCOMPARE(CRegisterDelegat::valueText(index), value);
        QCOMPARE(m_log->takeLines(), logged.isEmpty() ? QStringList() : QStringList{logged});
        QCOMPARE(CRegisterDelegat::rangeText(index), range);
        QCOMPARE(CRegisterDelegat::receptionText(index), fullValue.isNull() ? kNever : "14-Nov-23 22:13:20");
    }

    void cardColour_data()
    {
        QTest::addColumn<int>("delegate");
        QTest::addColumn<int>("columns");
        QTest::addColumn<QString>("appEui");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("state");
        QTest::addColumn<QColor>("color");
        QTest::addColumn<QString>("refusal");   // nothing is painted

        const int idle = QStyle::State_None;
        const int selected = QStyle::State_Selected;
        const int hovered = QStyle::State_MouseOver;
        const QColor climate(46, 134, 193, 150);
        const QColor none(Qt::transparent);
        const QString registerRefusal = QStringLiteral("[CRegisterDelegat::paint] ERROR: invalid input data size!");
        const QString cardRefusal = QStringLiteral("[CDeviceDelegat::paintAllRow] ERROR: invalid input data size!");
        QTest::newRow("register, even row") << Register << 14 << "" << 0 << idle << QC_GLOB_BLACK6C_10 << "";
        QTest::newRow("register, odd row") << Register << 14 << "" << 1 << idle << QC_GLOB_BLACK6C_25 << "";
        QTest::newRow("register, selected") << Register << 14 << "" << 1 << selected << QC_GLOB_BLACK6C_45 << "";
        QTest::newRow("register, 15 columns") << Register << 15 << "" << 0 << idle << none << registerRefusal;
        QTest::newRow("editor, 15 columns") << Editor << 15 << "" << 1 << idle << QC_GLOB_BLACK6C_25 << "";
        QTest::newRow("editor, 13 columns") << Editor << 13 << "" << 0 << idle << none << cardRefusal;
        QTest::newRow("device, darkened") << ModBus << 6 << kClimateEui << 0 << idle << QColor(35, 103, 148, 60) << "";
        QTest::newRow("device, selected") << ModBus << 6 << kClimateEui << 0 << selected << climate << "";
        QTest::newRow("device, hovered") << ModBus << 6 << kClimateEui << 0 << hovered << climate << "";
        QTest::newRow("tcp template") << Tcp << 5 << "F1A7C0DE00000303" << 0 << idle << QColor(109, 52, 133, 60) << "";
        QTest::newRow("unknown template") << ModBus << 6 << "0000000000000001" << 0 << idle << QColor(0, 0, 0, 60)
                                          << "";
        QTest::newRow("modbus device, 5 columns") << ModBus << 5 << kClimateEui << 0 << selected << none
                                                  << "6 5 " + cardRefusal;
        QTest::newRow("tcp device, 6 columns") << Tcp << 6 << kClimateEui << 0 << selected << none
                                               << "5 6 " + cardRefusal;
    }

    void cardColour()
    {
        QFETCH(int, delegate);
        QFETCH(int, columns);
        QFETCH(QString, appEui);
        QFETCH(int, row);
        QFETCH(int, state);
        QFETCH(QColor, color);
        QFETCH(QString, refusal);

        const auto model = delegate >= ModBus ? deviceModel(columns, 2, appEui)
                                              : registerModel(columns, 2, 16, "text", "6F6B");
        QImage card(400, 65, QImage::Format_ARGB32_Premultiplied);
        card.fill(Qt::transparent);
        QImage reference = card;
        QPainter(&reference).fillRect(reference.rect(), color);
        QPainter painter(&card);
        QStyleOptionViewItem option;
        option.rect = card.rect();
        option.state = QStyle::State(state);
        if (!refusal.isEmpty())
            QTest::ignoreMessage(QtDebugMsg, qPrintable(refusal));
        const QModelIndex index = model->index(row, 0);
        if (delegate == Register)
            CRegisterDelegat().paint(&painter, option, index);
        else if (delegate == Editor)
            CSimpleRegisterDelegat().paint(&painter, option, index);
        else
            CDeviceDelegat(nullptr, delegate == ModBus ? CDeviceDelegat::ModBusMode : CDeviceDelegat::TcpMode)
                    .paint(&painter, option, index);
        painter.end();

        // Bottom right, clear of the texts.
        const QPoint bareSpot(395, 60);
        QCOMPARE(card.pixelColor(bareSpot), reference.pixelColor(bareSpot));
    }

    void editorRoundTrip_data()
    {
        QTest::addColumn<QString>("dataType");
        QTest::addColumn<QStringList>("typed");
        QTest::addColumn<QStringList>("reshown");

        // Typed into the cleared edits, and what a new editor shows of the
        // stored row. Text gets no editor.
        QTest::newRow("new values") << "uinteger" << QStringList{"10.25", "0.5", "kWh"}
                                    << QStringList{"10.250000", "0.500000", "kWh"};
        QTest::newRow("zero multiplier") << "integer" << QStringList{"4.0", "0.0", "V"}
                                         << QStringList{"4.000000", "1.000000", "V"};
        QTest::newRow("no sign, no letters") << "integer" << QStringList{"-3.5", "1e5", "-°C"}
                                             << QStringList{"3.500000", "15.000000", "-°C"};
        QTest::newRow("text") << "text" << QStringList() << QStringList();
    }

    void editorRoundTrip()
    {
        QFETCH(QString, dataType);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, reshown);

        auto model = registerModel(14, 1, 16, dataType, "0001");
        const QModelIndex index = model->index(0, 0);
        CSimpleRegisterDelegat delegate;
        QWidget parent;
        QWidget *editor = delegate.createEditor(&parent, QStyleOptionViewItem(), index);
        QCOMPARE(qobject_cast<CSimpleRegisterEditWidget *>(editor) != nullptr, !typed.isEmpty());
        if (!editor)
            return;

        delegate.setEditorData(editor, index);
        QCOMPARE(editTexts(editor), (QStringList{"2.500000", "3.000000", "bar"}));
        const QList<QLineEdit *> edits = scalingEdits(editor);
        for (int field = 0; field < edits.size(); ++field) {
            edits.at(field)->clear();
            QTest::keyClicks(edits.at(field), typed.at(field));
        }
        delegate.setModelData(editor, model.get(), index);

        QWidget *again = delegate.createEditor(&parent, QStyleOptionViewItem(), index);
        delegate.setEditorData(again, index);
        QCOMPARE(editTexts(again), reshown);
    }
};

QTEST_MAIN(TestDelegates)
#include "tst_delegates.moc"
