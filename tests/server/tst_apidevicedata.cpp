#include "server/apitypes.h"

#include <QJsonDocument>
#include <QtTest>

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

class TestApiDeviceData : public QObject
{
    Q_OBJECT

private slots:
    void uplinkKinds_data();
    void uplinkKinds();
    void fieldsOfAnUplink();
    void wrongJsonTypesReadAsZero();
};

void TestApiDeviceData::uplinkKinds_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("valid");

    QTest::newRow("unconfirmed") << "UNCONF_UP" << true;
    QTest::newRow("confirmed") << "CONF_UP" << true;
    QTest::newRow("with mac command") << "UNCONF_UP+MAC_LINKCHECK_REQ" << true;
    QTest::newRow("mac command first") << "MAC_LINKCHECK_REQ+CONF_UP" << true;
    QTest::newRow("empty parts kept") << "+CONF_UP+" << true;
    QTest::newRow("downlink") << "UNCONF_DOWN" << false;
    QTest::newRow("join") << "JOIN_REQ" << false;
    QTest::newRow("lower case") << "unconf_up" << false;
    QTest::newRow("part of a word") << "UNCONF_UPX" << false;
}

void TestApiDeviceData::uplinkKinds()
{
    QFETCH(QString, type);
    QFETCH(bool, valid);

    if (!valid)
        QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("[SApiDeviceData] Not UPLINK message: ") + type));
    const API::SApiDeviceData packet(QJsonObject{{QStringLiteral("type"), type},
                                                 {QStringLiteral("data"), QStringLiteral("01")},
                                                 {QStringLiteral("devEui"), QStringLiteral("aa")}});
    QCOMPARE(packet.valid, valid);
    QCOMPARE(packet.devEui.isEmpty(), !valid);
}

void TestApiDeviceData::fieldsOfAnUplink()
{
    const API::SApiDeviceData packet(json(R"({"cmd":"rx","type":"CONF_UP","devEui":"00aa11bb",
        "ts":1700000000123,"gatewayId":"abc+def","ack":true,"fcnt":4000000000,"port":65539,
        "data":"01 02ff","freq":868100000,"dr":5,"rssi":-113,"snr":-7.25})"));
    QVERIFY(packet.valid);
    QCOMPARE(packet.devEui, QStringLiteral("00AA11BB"));
    QCOMPARE(packet.ts, Q_UINT64_C(1700000000123));
    QCOMPARE(packet.gatewayId, QStringLiteral("ABC"));
    QCOMPARE(packet.ack, true);
    QCOMPARE(packet.fcnt, 4000000000u);
    QCOMPARE(packet.port, quint16(3));
    QCOMPARE(packet.data, QByteArray("\x01\x02\xff", 3));
    QCOMPARE(packet.freq, 868100000u);
    QCOMPARE(packet.dr, qint16(5));
    QCOMPARE(packet.rssi, qint16(-113));
    QCOMPARE(packet.snr, -7.25);

    // Only the presence of "data" counts: an empty payload is still an uplink.
    const API::SApiDeviceData empty(json(R"({"type":"UNCONF_UP","data":"","devEui":"1"})"));
    QVERIFY(empty.valid);
    QVERIFY(empty.data.isEmpty());

    QTest::ignoreMessage(QtDebugMsg, "[SApiDeviceData] DATA is not exist");
    QVERIFY(!API::SApiDeviceData(json(R"({"type":"UNCONF_UP","devEui":"1"})")).valid);
    QTest::ignoreMessage(QtDebugMsg, "[SApiDeviceData] Uncknown JSON message format!");
    QVERIFY(!API::SApiDeviceData(json(R"({"data":"01","devEui":"1"})")).valid);
    QVERIFY(!API::SApiDeviceData(QJsonObject()).valid);
}

void TestApiDeviceData::wrongJsonTypesReadAsZero()
{
    const API::SApiDeviceData packet(json(R"({"type":"UNCONF_UP","devEui":12,"data":7,
        "ts":"x","rssi":"-5","snr":"1.5","ack":"yes","gatewayId":[1],"port":{}})"));
    QVERIFY(packet.valid);
    QVERIFY(packet.devEui.isEmpty());
    QVERIFY(packet.data.isEmpty());
    QCOMPARE(packet.ts, quint64(0));
    QCOMPARE(packet.rssi, qint16(0));
    QCOMPARE(packet.snr, 0.0);
    QCOMPARE(packet.ack, false);
    QVERIFY(packet.gatewayId.isEmpty());
    QCOMPARE(packet.port, quint16(0));
}

QTEST_GUILESS_MAIN(TestApiDeviceData)
#include "tst_apidevicedata.moc"
