#include "core/clogfile.h"
#include "core/csettings.h"
#include "testworkdir.h"
#include "ui/cdevicesearchmodel.h"
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

// Extra value, multiplier and units, in the order the editor makes them.
QStringList editTexts(QWidget *editor)
{
    QStringList texts;
    for (const QLineEdit *edit : editor->findChildren<QLineEdit *>())
        texts.append(edit->text());
    return texts;
}

} // namespace

class TestDelegates : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void valueText_data();
    void valueText();
    void rangeAndReception_data();
    void rangeAndReception();
    void cardColour_data();
    void cardColour();
    void editorRoundTrip_data();
    void editorRoundTrip();
    void searchByName_data();
    void searchByName();

private:
    TestWorkDir m_workDir;
    QSignalSpy *m_logSpy = nullptr;
};

void TestDelegates::initTestCase()
{
    // Reception times are shown in local time.
    qputenv("TZ", "UTC");
    CSettings::getInstance(QStringLiteral("settings.conf"));
    m_logSpy = new QSignalSpy(CLogFile::getInstance(QStringLiteral("history"), QString()), &CLogFile::addLogSignal);
}

void TestDelegates::valueText_data()
{
    QTest::addColumn<QString>("dataType");
    QTest::addColumn<int>("bitSize");
    QTest::addColumn<QVariant>("fullValue");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("logged");

    const QString never = QStringLiteral("NEVER RECEIVING");
    QTest::newRow("integer, 16 bits") << "integer" << 16 << QVariant("FFFE") << "-2 [bar]" << "";
    QTest::newRow("uinteger, 16 bits") << "uinteger" << 16 << QVariant("FFFE") << "65534 [bar]" << "";
    QTest::newRow("integer, 32 bits") << "integer" << 32 << QVariant("FFFE1DC0") << "-123456 [bar]" << "";
    QTest::newRow("24 bits read as 64") << "integer" << 24 << QVariant("FFFFFFFFFFFFFF85") << "-123 [bar]" << "";
    QTest::newRow("short value, zeros after") << "integer" << 32 << QVariant("FFFE") << "-131072 [bar]" << "";
    QTest::newRow("uinteger, 64 bits") << "uinteger" << 64 << QVariant("FFFFFFFFFFFFFFFF")
                                       << "18446744073709551615 [bar]" << "";
    QTest::newRow("never received") << "integer" << 16 << QVariant() << never << "";
    QTest::newRow("SQL null") << "uinteger" << 16 << QVariant(QMetaType::fromType<QString>()) << never << "";
    QTest::newRow("text, no unit") << "text" << 64 << QVariant("Шлюз-7") << "Шлюз-7" << "";
    QTest::newRow("boolean with data") << "boolean" << 16 << QVariant("0001") << never
                                       << "[CRegisterDelegat::paint] Unsupporting dataType: BOOLEAN";
    QTest::newRow("unknown type") << "INTEGER" << 16 << QVariant("0001") << never
                                  << "[CRegisterDelegat::paint] Unknown data type! INTEGER";
}

void TestDelegates::valueText()
{
    QFETCH(QString, dataType);
    QFETCH(int, bitSize);
    QFETCH(QVariant, fullValue);
    QFETCH(QString, text);
    QFETCH(QString, logged);

    auto model = registerModel(14, 1, bitSize, dataType, fullValue);
    m_logSpy->clear();
    QCOMPARE(CRegisterDelegat::valueText(model->index(0, 0)), text);
    QCoreApplication::processEvents();
    QCOMPARE(m_logSpy->size(), logged.isEmpty() ? 0 : 1);
    QVERIFY(logged.isEmpty() || m_logSpy->at(0).at(0).toString().endsWith(logged));
}

void TestDelegates::rangeAndReception_data()
{
    QTest::addColumn<int>("bitSize");
    QTest::addColumn<qulonglong>("time");
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("reception");

    QTest::newRow("16 bits") << 16 << 0ULL << "ModBUS register[100]" << "NEVER RECEIVING";
    QTest::newRow("17 bits") << 17 << 0ULL << "ModBUS register[100..101]" << "NEVER RECEIVING";
    QTest::newRow("33 bits") << 33 << 0ULL << "ModBUS register[100..102]" << "NEVER RECEIVING";
    QTest::newRow("64 bits, received") << 64 << 1700000000123ULL << "ModBUS register[100..103]"
                                       << "14-Nov-23 22:13:20";
}

void TestDelegates::rangeAndReception()
{
    QFETCH(int, bitSize);
    QFETCH(qulonglong, time);
    QFETCH(QString, range);
    QFETCH(QString, reception);

    auto model = registerModel(14, 1, bitSize, "integer", "0001", time);
    QCOMPARE(CRegisterDelegat::rangeText(model->index(0, 3)), range);
    QCOMPARE(CRegisterDelegat::receptionText(model->index(0, 3)), reception);
}

void TestDelegates::cardColour_data()
{
    QTest::addColumn<bool>("editor");
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("state");
    QTest::addColumn<QColor>("color");

    const QColor nothing(Qt::transparent);
    QTest::newRow("even row") << false << 14 << 0 << int(QStyle::State_None) << QC_GLOB_BLACK6C_10;
    QTest::newRow("odd row") << false << 14 << 1 << int(QStyle::State_None) << QC_GLOB_BLACK6C_25;
    QTest::newRow("selected odd row") << false << 14 << 1 << int(QStyle::State_Selected) << QC_GLOB_BLACK6C_45;
    QTest::newRow("hovered even row") << false << 14 << 0 << int(QStyle::State_MouseOver) << QC_GLOB_BLACK6C_45;
    QTest::newRow("13 columns") << false << 13 << 0 << int(QStyle::State_None) << nothing;
    QTest::newRow("15 columns") << false << 15 << 0 << int(QStyle::State_None) << nothing;
    QTest::newRow("editor rows, 13 columns") << true << 13 << 0 << int(QStyle::State_None) << nothing;
    QTest::newRow("editor rows, 15 columns") << true << 15 << 1 << int(QStyle::State_None) << QC_GLOB_BLACK6C_25;
    QTest::newRow("editor rows, selected") << true << 14 << 0 << int(QStyle::State_Selected) << QC_GLOB_BLACK6C_45;
}

void TestDelegates::cardColour()
{
    QFETCH(bool, editor);
    QFETCH(int, columns);
    QFETCH(int, row);
    QFETCH(int, state);
    QFETCH(QColor, color);

    auto model = registerModel(columns, 2, 16, "text", "6F6B");
    QImage image(400, 65, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QStyleOptionViewItem option;
    option.rect = image.rect();
    option.state = QStyle::State(state);
    if (color.alpha() == 0) {
        QTest::ignoreMessage(QtDebugMsg, editor ? "[CDeviceDelegat::paintAllRow] ERROR: invalid input data size!"
                                                : "[CRegisterDelegat::paint] ERROR: invalid input data size!");
    }
    if (editor)
        CSimpleRegisterDelegat().paint(&painter, option, model->index(row, 0));
    else
        CRegisterDelegat().paint(&painter, option, model->index(row, 0));
    painter.end();

    // Bottom right, clear of the texts.
    QCOMPARE(image.pixelColor(395, 60), color);
}

void TestDelegates::editorRoundTrip_data()
{
    QTest::addColumn<QString>("dataType");
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QStringList>("accepted");
    QTest::addColumn<QStringList>("reshown");

    // Typed into the cleared edits, what the edits accept of it, and what a
    // new editor shows of the stored row. Text and boolean get no editor.
    QTest::newRow("new values") << "uinteger" << QStringList{"10.25", "0.5", "kWh"}
                                << QStringList{"10.25", "0.5", "kWh"} << QStringList{"10.250000", "0.500000", "kWh"};
    QTest::newRow("emptied") << "integer" << QStringList{"", "", ""} << QStringList{"", "", ""}
                             << QStringList{"0.000000", "1.000000", ""};
    QTest::newRow("zero multiplier") << "integer" << QStringList{"4.0", "0.0", "V"} << QStringList{"4.0", "0.0", "V"}
                                     << QStringList{"4.000000", "1.000000", "V"};
    QTest::newRow("no minus sign") << "integer" << QStringList{"-3.5", "-0.25", "-"}
                                   << QStringList{"3.5", "0.25", "-"} << QStringList{"3.500000", "0.250000", "-"};
    QTest::newRow("no letters") << "integer" << QStringList{"1e5", "2,5", "°C/h"} << QStringList{"15", "25", "°C/h"}
                                << QStringList{"15.000000", "25.000000", "°C/h"};
    QTest::newRow("text") << "text" << QStringList() << QStringList() << QStringList();
    QTest::newRow("boolean") << "boolean" << QStringList() << QStringList() << QStringList();
    QTest::newRow("type in capitals") << "INTEGER" << QStringList() << QStringList() << QStringList();
}

void TestDelegates::editorRoundTrip()
{
    QFETCH(QString, dataType);
    QFETCH(QStringList, typed);
    QFETCH(QStringList, accepted);
    QFETCH(QStringList, reshown);

    auto model = registerModel(14, 1, 16, dataType, "0001");
    const QModelIndex index = model->index(0, 0);
    CSimpleRegisterDelegat delegate;
    QWidget parent;
    QWidget *editor = delegate.createEditor(&parent, QStyleOptionViewItem(), index);
    QCOMPARE(qobject_cast<CSimpleRegisterEditWidget *>(editor) != nullptr, !typed.isEmpty());
    if (!editor)
        return;
    QCOMPARE(editor->parentWidget(), &parent);

    delegate.setEditorData(editor, index);
    QCOMPARE(editTexts(editor), (QStringList{"2.500000", "3.000000", "bar"}));
    const QList<QLineEdit *> edits = editor->findChildren<QLineEdit *>();
    for (int field = 0; field < edits.size(); ++field) {
        edits.at(field)->clear();
        QTest::keyClicks(edits.at(field), typed.at(field));
    }
    QCOMPARE(editTexts(editor), accepted);
    delegate.setModelData(editor, model.get(), index);

    QWidget *again = delegate.createEditor(&parent, QStyleOptionViewItem(), index);
    delegate.setEditorData(again, index);
    QCOMPARE(editTexts(again), reshown);
}

void TestDelegates::searchByName_data()
{
    QTest::addColumn<QString>("search");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("empty shows all") << "" << QStringList{"xabcx", "Boiler", "ABC meter"};
    QTest::newRow("any case") << "ABC" << QStringList{"xabcx", "ABC meter"};
    QTest::newRow("name column only") << "70B3" << QStringList{};
}

void TestDelegates::searchByName()
{
    QFETCH(QString, search);
    QFETCH(QStringList, names);

    QStandardItemModel devices(0, 6);
    for (const char *name : {"xabcx", "Boiler", "ABC meter"})
        devices.appendRow({new QStandardItem("70B3"), new QStandardItem(name), new QStandardItem("70B3D5")});
    CDeviceSearchModel proxy;
    proxy.setSourceModel(&devices);
    proxy.setSearchValue(QStringLiteral("boil"));
    proxy.setSearchValue(search);

    QStringList shown;
    for (int row = 0; row < proxy.rowCount(); ++row)
        shown.append(proxy.index(row, 1).data().toString());
    QCOMPARE(shown, names);
}

QTEST_MAIN(TestDelegates)
#include "tst_delegates.moc"
