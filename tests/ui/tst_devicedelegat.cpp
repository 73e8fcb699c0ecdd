#include "core/clogfile.h"
#include "core/csettings.h"
#include "devices/calldevicehandler.h"
#include "testworkdir.h"
#include "ui/cdevicedelegat.h"

#include <QDir>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QStandardItemModel>
#include <QtTest>

namespace {

const QString kProbeEui = QStringLiteral("A1B2C3D4E5F60718");
const QString kGatewayEui = QStringLiteral("F1A7C0DE00000303");
const QRect kCard(0, 0, 300, 60);
const QColor kBackground(200, 220, 240);
// Below both lines of text.
const QPoint kBareSpot(150, 50);

QImage background()
{
    QImage image(kCard.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(kBackground);
    return image;
}

QImage paintRow(int mode, int columns, const QString &appEui, QStyle::State state)
{
    QStandardItemModel model(1, columns);
    const QStringList cells = {QStringLiteral("7"), QStringLiteral("Boiler"), appEui, QStringLiteral("70B3D5000000C001"),
                               QStringLiteral("65535")};
    for (int column = 0; column < qMin(columns, int(cells.size())); ++column)
        model.setData(model.index(0, column), cells.at(column));

    CDeviceDelegat delegate(nullptr, mode);
    QStyleOptionViewItem option;
    option.rect = kCard;
    option.state = state;
    QImage image = background();
    QPainter painter(&image);
    delegate.paint(&painter, option, model.index(0, 0));
    return image;
}

} // namespace

class TestDeviceDelegat : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cardColour_data();
    void cardColour();
    void refusesModelOfOtherWidth_data();
    void refusesModelOfOtherWidth();

private:
    TestWorkDir m_workDir;
};

void TestDeviceDelegat::initTestCase()
{
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());

    // A sample template under another EUI and in the colour (13, 26, 39).
    QFile sample(QStringLiteral(SAMPLE_TEMPLATES_DIR "/ClimateSensor_TH20.json"));
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QJsonObject probe = QJsonDocument::fromJson(sample.readAll()).object();
    probe.insert(QStringLiteral("app_eui"), kProbeEui);
    probe.insert(QStringLiteral("color"), QStringLiteral("#0d1a27"));
    QVERIFY(QDir().mkdir(QStringLiteral("deviceFolder")));
    QFile probeFile(QStringLiteral("deviceFolder/probe.json"));
    QVERIFY(probeFile.open(QIODevice::WriteOnly));
    probeFile.write(QJsonDocument(probe).toJson());
    probeFile.close();
    QVERIFY(QFile::copy(QStringLiteral(SAMPLE_TEMPLATES_DIR "/TCP.json"), QStringLiteral("deviceFolder/TCP.json")));
    QVERIFY(CAllDeviceHandler::getInstance()->hasTemplate(kProbeEui));
}

void TestDeviceDelegat::cardColour_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("appEui");
    QTest::addColumn<int>("state");
    QTest::addColumn<QColor>("expected");

    const int idle = QStyle::State_None;
    QTest::newRow("idle: darkened") << 1 << kProbeEui << idle << QColor(10, 20, 30, 60);
    QTest::newRow("selected") << 1 << kProbeEui << int(QStyle::State_Selected) << QColor(13, 26, 39, 150);
    QTest::newRow("hovered") << 1 << kProbeEui << int(QStyle::State_MouseOver) << QColor(13, 26, 39, 150);
    QTest::newRow("tcp template") << 2 << kGatewayEui << idle << QColor(109, 52, 133, 60);
    QTest::newRow("unknown template") << 1 << QStringLiteral("0000000000000001") << idle << QColor(0, 0, 0, 60);
    QTest::newRow("unknown, selected") << 1 << QStringLiteral("0000000000000001") << int(QStyle::State_Selected)
                                       << QColor(0, 0, 0, 150);
    QTest::newRow("modbus template looked up as tcp") << 2 << QStringLiteral("F1A7C0DE00000101") << idle
                                                      << QColor(0, 0, 0, 60);
}

void TestDeviceDelegat::cardColour()
{
    QFETCH(int, mode);
    QFETCH(QString, appEui);
    QFETCH(int, state);
    QFETCH(QColor, expected);

    QImage reference = background();
    QPainter(&reference).fillRect(kCard, expected);
    const int columns = mode == 1 ? 6 : 5;
    const QImage card = paintRow(mode, columns, appEui, QStyle::State(state));
    QCOMPARE(card.pixelColor(kBareSpot), reference.pixelColor(kBareSpot));
}

void TestDeviceDelegat::refusesModelOfOtherWidth_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("message");

    QTest::newRow("modbus row of a tcp table") << 1 << 5 << "6 5 [CDeviceDelegat::paintAllRow] ERROR: invalid input data size!";
    QTest::newRow("tcp row of a modbus table") << 2 << 6 << "5 6 [CDeviceDelegat::paintAllRow] ERROR: invalid input data size!";
    QTest::newRow("unknown mode") << 3 << 6 << "0 6 [CDeviceDelegat::paintAllRow] ERROR: invalid input data size!";
}

void TestDeviceDelegat::refusesModelOfOtherWidth()
{
    QFETCH(int, mode);
    QFETCH(int, columns);
    QFETCH(QString, message);

    QTest::ignoreMessage(QtDebugMsg, message.toLatin1().constData());
    QCOMPARE(paintRow(mode, columns, kProbeEui, QStyle::State_Selected), background());
}

QTEST_MAIN(TestDeviceDelegat)
#include "tst_devicedelegat.moc"
