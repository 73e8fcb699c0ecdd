// Builds the program's window on a fake network server with three devices and
// live registers, and saves pictures of the window and the device forms.
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "ui/mainwindow.h"
#include "ui/registercolumn.h"
#include "ui/theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QJsonArray>
#include <QLabel>
#include <QListView>
#include <QTest>
#include <QTimer>
#include <QTranslator>

namespace {

const QString kClimateEui = QStringLiteral("F1A7C0DE00000101");
const QString kPulseEui = QStringLiteral("F1A7C0DE00000202");
const QString kGatewayEui = QStringLiteral("F1A7C0DE00000303");

QJsonObject serverDevice(const QString &devEui, const QString &name, const QString &appEui)
{
    return {{"devEui", devEui}, {"devName", name}, {"OTAA", QJsonObject{{"appEui", appEui}}}};
}

void save(QWidget *widget, const QString &path)
{
    QTest::qWait(300);
    widget->grab().save(path);
    qInfo().noquote() << "saved" << path;
}

// Runs the form's modal loop until the picture is taken.
// `prepare`, if given, runs on the shown form just before the picture.
void shootForm(QDialog *form, const std::function<void()> &open, const QString &path,
               const std::function<void()> &prepare = {})
{
    QTimer::singleShot(1500, form, [form, path, prepare] {
        if (prepare) {
            prepare();
            QCoreApplication::processEvents();
        }
        save(form, path);
        form->reject();
    });
    open();
}

// The register editor open on the first register the device itself reports.
void openRegisterEditor(QDialog *form)
{
    auto *list = form->findChild<QListView *>(QStringLiteral("registerList"));
    const QAbstractItemModel *registers = list->model();
    for (int row = 0; row < registers->rowCount(); ++row) {
        if (registers->index(row, RegisterColumn::Source).data().toInt() != 0) {
            list->scrollTo(registers->index(row, 0), QAbstractItemView::PositionAtTop);
            list->edit(registers->index(row, 0));
            return;
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString outDir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("/tmp/quillbar-screenshots");
    QDir().mkpath(outDir);

    // The program's own choice of language, so that LANG=ru_RU shows the translation.
    QTranslator translator;
    if (QLocale::system().name().contains(QLatin1String("ru"))
        && translator.load(QStringLiteral(":/iot_orvane_modbus.qm"))) {
        QCoreApplication::installTranslator(&translator);
    }

    QFile styleFile(QStringLiteral("://style/style.qss"));
    styleFile.open(QIODevice::ReadOnly);
    app.setStyleSheet(expandStyleSheet(QString::fromUtf8(styleFile.readAll())));

    TestWorkDir workDir;
    ProgramCore core(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    FakeNetworkServer server;
    server.setReply(QStringLiteral("get_devices_req"),
                    {{"cmd", "get_devices_resp"},
                     {"status", true},
                     {"devices_list", QJsonArray{serverDevice("70B3D5000000C001", "Boiler room climate", kClimateEui),
                                                 serverDevice("70B3D5000000C003", "Office climate", kClimateEui),
                                                 serverDevice("70B3D5000000C004", "Gas meter", kPulseEui),
                                                 serverDevice("70B3D5000000D002", "Line 2 gateway", kGatewayEui)}}});
    ProgramCore::storeServerSettings(server, QStringLiteral("operator"));
    const quint16 modbusPort = freePort();
    ProgramCore::storeDevice("70B3D5000000C001", kClimateEui, "Boiler room climate", 1000, modbusPort,
                             ProtocolOption::ModBus);
    ProgramCore::storeDevice("70B3D5000000C002", kPulseEui, "Water meter", 2000, modbusPort, ProtocolOption::ModBus);
    ProgramCore::storeDevice("70B3D5000000D001", kGatewayEui, "Line 1 gateway", 0, freePort(), ProtocolOption::TCP);

    MainWindow window;
    window.show();
    auto *status = window.findChild<QLabel *>(QStringLiteral("statusLabel"));
    if (!QTest::qWaitFor([status] { return status->text() == QLatin1String("SUCCESS"); }, 10000))
        qWarning("No login");
    ProgramCore::pushUplink(server, "70B3D5000000C001", "0100eb0202f63e0c");
    ProgramCore::pushUplink(server, "70B3D5000000C001", "04000000000001e2400312e3200");
    ProgramCore::pushUplink(server, "70B3D5000000C002", "0140e2010010270000");
    QTest::qWait(1000);
    window.findChild<QListView *>(QStringLiteral("registerList"))->clearSelection();
    save(&window, outDir + QStringLiteral("/main.png"));

    const QList<QAbstractButton *> panelButtons = window.findChild<QWidget *>(QStringLiteral("CLeftPanel"))
                                                          ->findChildren<QAbstractButton *>(QString(),
                                                                                           Qt::FindDirectChildrenOnly);
    panelButtons.at(0)->click();
    save(&window, outDir + QStringLiteral("/main-login.png"));
    panelButtons.at(2)->click();
    save(&window, outDir + QStringLiteral("/tcp.png"));
    panelButtons.at(1)->click();

    shootForm(CAddNewDeviceForm::getInstance(), [&window] { QMetaObject::invokeMethod(&window, "addNewItemSlot"); },
              outDir + QStringLiteral("/add-modbus.png"));
    shootForm(CAddNewDeviceForm::getInstance(), [&window] { QMetaObject::invokeMethod(&window, "addNewTCPItemSlot"); },
              outDir + QStringLiteral("/add-tcp.png"));
    shootForm(CEditDeviceForm::getInstance(), [&window] { QMetaObject::invokeMethod(&window, "editItemSlot"); },
              outDir + QStringLiteral("/edit-modbus.png"));
    shootForm(CEditDeviceForm::getInstance(), [&window] { QMetaObject::invokeMethod(&window, "editItemSlot"); },
              outDir + QStringLiteral("/edit-register.png"),
              [] { openRegisterEditor(CEditDeviceForm::getInstance()); });
    return 0;
}
