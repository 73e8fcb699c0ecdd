#include "devices/cdownlinkencoder.h"
#include "devices/devicetemplate.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QJsonDocument>
#include <QtTest>

namespace {

using Words = QList<quint16>;

// One entry "D" with one field at register 0 and payload byte 1, after the type byte 0x20.
QByteArray actuatorTemplate(const QByteArray &field)
{
    return R"({"app_eui":"F1A7C0DE000000E1","dev_type":"Encoder test","device_packets":[{"packet_type":1,)"
           R"("packet_size":2,"packet_fields":[{"data_name":"u","packet_bias":1,"data_bit_bias":0,"data_bit_size":8,)"
           R"("data_type":"uinteger","reg_map_bias":40,"reg_bit_bias":0,"reg_bit_size":16}]}],)"
           R"("downlinks":[{"name":"D","port":10,"packet_type":32,"status_reg":50,"status_time_reg":51,)"
           R"("packet_fields":[{"data_name":"V","reg_map_bias":0,"packet_bias":1)" + field + "}]}]}";
}

} // namespace

// The payload of each field type, width, byte order and scaling, as the
// program's encoder builds it from register words and as quillbar-tool
// encode builds it from the value a SCADA would write.
class TestToolEncode : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void payloads_data()
    {
        QTest::addColumn<QByteArray>("field");
        QTest::addColumn<QString>("value");
        QTest::addColumn<Words>("words");
        QTest::addColumn<QString>("payload");   // empty: refused, and then the reason
        QTest::addColumn<QString>("refusal");

        const QByteArray u8 = R"(,"data_type":"uinteger","data_bit_size":8)";
        const QByteArray i8 = R"(,"data_type":"integer","data_bit_size":8)";
        QTest::newRow("uinteger 8") << u8 << "200" << Words{200} << "20c8" << "";
        QTest::newRow("integer 8, negative") << i8 << "-5" << Words{0xFFFB} << "20fb" << "";
        QTest::newRow("integer 8 cannot hold -129")
                << i8 << "-129" << Words{0xFF7F} << ""
                << "V = -129 gives the raw value -129, which integer 8 bits cannot hold";
        QTest::newRow("uinteger 8 cannot hold 256")
                << u8 << "256" << Words{256} << "" << "V = 256 gives the raw value 256, which uinteger 8 bits cannot hold";
        QTest::newRow("uinteger 16, little-endian")
                << QByteArray(R"(,"data_type":"uinteger","data_bit_size":16)") << "0x1234" << Words{0x1234} << "203412"
                << "";
        QTest::newRow("integer 16, big-endian")
                << QByteArray(R"(,"data_type":"integer","data_bit_size":16,"endianness":"BE")") << "-2"
                << Words{0xFFFE} << "20fffe" << "";
        QTest::newRow("integer 32 from two registers, little-endian")
                << QByteArray(R"(,"data_type":"integer","data_bit_size":32,"reg_bit_size":32)") << "-100000"
                << Words{0xFFFE, 0x7960} << "206079feff" << "";
        QTest::newRow("uinteger 32, big-endian")
                << QByteArray(R"(,"data_type":"uinteger","data_bit_size":32,"reg_bit_size":32,"endianness":"be")")
                << "100000" << Words{0x0001, 0x86A0} << "20000186a0" << "";
        QTest::newRow("uinteger 64 keeps every bit")
                << QByteArray(R"(,"data_type":"uinteger","data_bit_size":64,"reg_bit_size":64,"endianness":"be")")
                << "0xfedcba9876543211" << Words{0xFEDC, 0xBA98, 0x7654, 0x3211} << "20fedcba9876543211" << "";
        QTest::newRow("integer 64, -1")
                << QByteArray(R"(,"data_type":"integer","data_bit_size":64,"reg_bit_size":64)") << "-1"
                << Words{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF} << "20ffffffffffffffff" << "";
        QTest::newRow("scaled back: 21.5 of 0.1 with offset -40")
                << QByteArray(R"(,"data_type":"integer","data_bit_size":16,"endianness":"be","multiplier":0.1,)"
                              R"("offset":-40)")
                << "215" << Words{215} << "2009f6" << "";
        QTest::newRow("scaled back: a half rounds away from zero")
                << QByteArray(R"(,"data_type":"integer","data_bit_size":8,"multiplier":2)") << "-5" << Words{0xFFFB}
                << "20fd" << "";
        QTest::newRow("text of 4 bytes in two registers")
                << QByteArray(R"(,"data_type":"text","data_bit_size":32,"reg_bit_size":32)") << "AB"
                << Words{0x4142, 0x0000} << "2041420000" << "";
        QTest::newRow("above the limit")
                << QByteArray(R"(,"data_type":"uinteger","data_bit_size":8,"max":100)") << "101" << Words{101} << ""
                << "V = 101 is outside 0 to 100";
    }

    void payloads()
    {
        QFETCH(QByteArray, field);
        QFETCH(QString, value);
        QFETCH(Words, words);
        QFETCH(QString, payload);
        QFETCH(QString, refusal);

        const QByteArray text = actuatorTemplate(field);
        writeFile(QStringLiteral("actuator.json"), text);
        const SDeviceTemplate parsed(QJsonDocument::fromJson(text).object());
        QCOMPARE(parsed.downlinks.size(), 1);
        const SDownlink &entry = parsed.downlinks.first();
        CDownlinkEncoder::Words registers;
        for (int word = 0; word < words.size(); ++word)
            registers.insert(word, words.at(word));
        QString programRefusal = CDownlinkEncoder::outsideLimits(entry.fields.first(), registers);
        const CDownlinkEncoder::SResult built = CDownlinkEncoder::encode(entry, registers);
        if (programRefusal.isEmpty())
            programRefusal = built.refusal;
        QCOMPARE(programRefusal, refusal);
        QCOMPARE(QString::fromLatin1(refusal.isEmpty() ? built.payload.toHex() : QByteArray()), payload);

        const SToolRun run = runTool({QStringLiteral("encode"), QStringLiteral("actuator.json"),
                                      QStringLiteral("0=") + value});
        QCOMPARE(run.exitCode, refusal.isEmpty() ? 0 : 1);
        QCOMPARE(run.outLines(),
                 (QStringList{QStringLiteral("downlink \"D\": LoRaWAN port 10, unconfirmed"),
                              refusal.isEmpty() ? QStringLiteral("  payload ") + payload
                                                : QStringLiteral("  refused with exception 03: ") + refusal}));
    }

    void commandLineFaults_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");

        QTest::newRow("no value") << QStringList{"actuator.json"} << 2
                                  << "quillbar-tool encode: needs TEMPLATE.json and at least one OFFSET=VALUE";
        QTest::newRow("no field there") << QStringList{"actuator.json", "40=1"} << 1
                                        << "quillbar-tool encode: no downlink field starts at register 40";
        QTest::newRow("register too narrow") << QStringList{"actuator.json", "0=65536"} << 2
                                             << "quillbar-tool encode: bad value \"65536\" for V: a number that 1 "
                                                "register(s) hold";
        QTest::newRow("a ModBus address with --start") << QStringList{"actuator.json", "--start", "1000", "999=1"} << 2
                                                       << "quillbar-tool encode: bad register value \"999=1\": "
                                                          "OFFSET=VALUE";
    }

    void commandLineFaults()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, error);

        writeFile(QStringLiteral("actuator.json"), actuatorTemplate(R"(,"data_type":"uinteger","data_bit_size":8)"));
        const SToolRun run = runTool(QStringList{QStringLiteral("encode")} + arguments);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err, QStringList{error});
    }
};

QTEST_GUILESS_MAIN(TestToolEncode)
#include "tst_toolencode.moc"
