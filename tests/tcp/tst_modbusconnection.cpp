#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "logspy.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QThread>
#include <QtTest>

namespace {

DB::SDeviceRegDescription reg(quint32 offset, quint32 bits)
{
    DB::SDeviceRegDescription description;
    description.name = QStringLiteral("r%1").arg(offset);
    description.regAddr = offset;
    description.bitSize = bits;
    return description;
}

// Spaces only group the digits.
QByteArray hex(const QByteArray &text)
{
    return QByteArray::fromHex(text);
}

const QByteArray kValidRequest = hex("00ff 0000 0006 01 03 00c8 0001");
const QByteArray kValidAnswer = hex("00ff 0000 0005 01 03 02 beef");

} // namespace

class TestModbusConnection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void answersReads_data();
    void answersReads();
    void pipelinedRequestsAreAnsweredInOrder();
    void fragmentedRequestIsAnsweredOnce();
    void badFramesAreSkipped_data();
    void badFramesAreSkipped();
    void hugeLengthWaitsWhileOthersAreServed();
    void clientsAreServedIndependently();

private:
    void store(const QString &devEui, quint32 startAddr, const QList<DB::SDeviceRegDescription> &regs,
               const QList<DB::SDbRegValue> &values);
    QByteArray exchange(QTcpSocket &client, const QByteArray &request, int answerSize);

    TestWorkDir m_workDir;
    QThread m_thread;
    CDataBaseHandler *m_store = nullptr;
    CDeviceHandler *m_listener = nullptr;
    LogSpy *m_log = nullptr;
    quint16 m_port = 0;
};

void TestModbusConnection::initTestCase()
{
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());
    m_log = new LogSpy;
    m_store = CDataBaseHandler::getInstance();
    QVERIFY(m_store);
    m_store->moveToThread(&m_thread);
    m_thread.start();
    m_port = freePort();

    // Two devices share the port and its address space.
    store(QStringLiteral("00000000000000A1"), 100, {reg(0, 16), reg(1, 32), reg(3, 16), reg(4, 64)},
          {{"1234", "1234", 0}, {"89ab", "89abcdef", 1}, {"cdef", "", 2}, {"0102", "0102030405060708", 4}});
    store(QStringLiteral("00000000000000A2"), 200, {reg(0, 16)}, {{"beef", "beef", 0}});
    store(QStringLiteral("00000000000000A3"), 65534, {reg(0, 32)}, {{"cafe", "cafe0001", 0}});
    m_listener = new CDeviceHandler(m_port, ProtocolOption::ModBus, QStringLiteral("00000000000000A1"), this);
    QVERIFY(m_listener->isListening());
}

void TestModbusConnection::cleanupTestCase()
{
    delete m_listener;
    m_thread.quit();
    m_thread.wait();
}

void TestModbusConnection::store(const QString &devEui, quint32 startAddr,
                                 const QList<DB::SDeviceRegDescription> &regs, const QList<DB::SDbRegValue> &values)
{
    QVERIFY(m_store->registerNewDevice({devEui, "F1A7C0DE000000A1", devEui, startAddr, regs, m_port},
                                       ProtocolOption::ModBus));
    const DB::SDbDeviceRegDataSet set{devEui, startAddr, values};
    QVERIFY(QMetaObject::invokeMethod(m_store, "saveRegisterData", Qt::BlockingQueuedConnection,
                                      Q_ARG(DB::SDbDeviceRegDataSet, set)));
}

QByteArray TestModbusConnection::exchange(QTcpSocket &client, const QByteArray &request, int answerSize)
{
    client.write(request);
    // Silence is expected: give a wrong answer time to come.
    if (answerSize == 0)
        QTest::qWait(50);
    else if (!QTest::qWaitFor([&client, answerSize] { return client.bytesAvailable() >= answerSize; }, 5000))
        qWarning("No full answer in time");
    return client.readAll();
}

void TestModbusConnection::answersReads_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("two registers, one unset") << hex("0001 0000 0006 01 03 00c8 0002")
                                              << hex("0001 0000 0007 01 03 04 beef 0000");
    QTest::newRow("function 4 reads the same") << hex("0002 0000 0006 01 04 00c8 0002")
                                               << hex("0002 0000 0007 01 04 04 beef 0000");
    QTest::newRow("ids and unit echoed") << hex("abcd 0102 0006 ff 03 00c8 0001") << hex("abcd 0102 0005 ff 03 02 beef");
    QTest::newRow("wide value adds its second word") << hex("0003 0000 0006 01 03 0065 0001")
                                                     << hex("0003 0000 0007 01 03 04 89ab cdef");
    QTest::newRow("wide value begun before the range") << hex("0004 0000 0006 01 03 0066 0002")
                                                       << hex("0004 0000 0007 01 03 04 0000 0000");
    QTest::newRow("narrow and wide values") << hex("0005 0000 0006 01 03 0064 0003")
                                            << hex("0005 0000 0009 01 03 06 1234 89ab cdef");
    QTest::newRow("64-bit value") << hex("0006 0000 0006 01 03 0068 0004")
                                  << hex("0006 0000 000b 01 03 08 0102 0304 0506 0708");
    QTest::newRow("never written") << hex("0007 0000 0006 01 03 01f4 0003") << hex("0007 0000 0009 01 03 06 0000 0000 0000");
    QTest::newRow("count 0") << hex("0008 0000 0006 01 03 0064 0000") << hex("0008 0000 0003 01 03 00");
    QTest::newRow("count 128") << hex("0009 0000 0006 01 03 0190 0080")
                               << hex("0009 0000 0103 01 03 00") + QByteArray(256, '\0');
    QTest::newRow("top of the address space") << hex("000a 0000 0006 01 03 fffe 0001")
                                              << hex("000a 0000 0007 01 03 04 cafe 0001");
    QTest::newRow("function 1") << hex("000b 0000 0006 01 01 0064 0001") << hex("000b 0000 0003 01 81 01");
    QTest::newRow("function 2") << hex("000c 0000 0006 07 02 0064 0001") << hex("000c 0000 0003 07 82 01");
    QTest::newRow("function 6") << hex("000d 0000 0006 01 06 0064 1234") << hex("000d 0000 0003 01 86 01");
    QTest::newRow("function 16, longer frame") << hex("000e 0000 0009 01 10 0064 0001 02 abcd")
                                               << hex("000e 0000 0003 01 90 01");
}

void TestModbusConnection::answersReads()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    const auto client = connectClient(m_port);
    QVERIFY(client);

    QCOMPARE(exchange(*client, request, answer.size()).toHex(), answer.toHex());
    QCOMPARE(exchange(*client, kValidRequest, kValidAnswer.size()).toHex(), kValidAnswer.toHex());
}

void TestModbusConnection::pipelinedRequestsAreAnsweredInOrder()
{
    const auto client = connectClient(m_port);
    QVERIFY(client);
    const QByteArray exception = hex("0002 0000 0003 01 81 01");
    const QByteArray requests = kValidRequest + hex("0002 0000 0006 01 01 00c8 0001");
    QTest::ignoreMessage(QtDebugMsg, "REQ: " + requests.toHex());
    m_log->forget();

    QCOMPARE(exchange(*client, requests, kValidAnswer.size() + exception.size()).toHex(),
             (kValidAnswer + exception).toHex());
    const QString line = QStringLiteral("INFO: [CConnectionHandler] %1: < %2 >");
    QTRY_COMPARE(m_log->lines(), QStringList({line.arg("REQ", requests.toHex()), line.arg("ANS", kValidAnswer.toHex()),
                                             line.arg("ANS", exception.toHex())}));
}

void TestModbusConnection::fragmentedRequestIsAnsweredOnce()
{
    const auto client = connectClient(m_port);
    QVERIFY(client);
    m_log->forget();

    QVERIFY(exchange(*client, kValidRequest.left(3), 0).isEmpty());
    QVERIFY(exchange(*client, kValidRequest.mid(3, 5), 0).isEmpty());
    QCOMPARE(exchange(*client, kValidRequest.mid(8), kValidAnswer.size()).toHex(), kValidAnswer.toHex());
    QTRY_COMPARE(m_log->lines().filter(QStringLiteral("Incomplete")),
                 QStringList({"[CConnectionHandler] Incomplete packet [1]. Wait for continue...",
                              "[CConnectionHandler] Incomplete packet [2]. Wait for continue..."}));
}

void TestModbusConnection::badFramesAreSkipped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QStringList>("incomplete");

    const QString skipped = QStringLiteral("[CConnectionHandler] Incomplete packet [3]. Clear buffer...");
    const QString waiting = QStringLiteral("[CConnectionHandler] Incomplete packet [1]. Wait for continue...");
    QTest::newRow("length 2, then a request") << hex("0009 0000 0002 01 ff") + kValidRequest << kValidAnswer
                                              << QStringList{skipped};
    QTest::newRow("length 0, then a request") << hex("0009 0000 0000") + kValidRequest << kValidAnswer
                                              << QStringList{skipped};
    QTest::newRow("short frame alone") << hex("0009 0000 0005 01 03 0064 00") << QByteArray()
                                       << QStringList{skipped, waiting};
}

void TestModbusConnection::badFramesAreSkipped()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, answer);
    QFETCH(QStringList, incomplete);
    const auto client = connectClient(m_port);
    QVERIFY(client);
    m_log->forget();

    QCOMPARE(exchange(*client, bytes, answer.size()).toHex(), answer.toHex());
    QTRY_COMPARE(m_log->lines().filter(QStringLiteral("Incomplete")), incomplete);
    QCOMPARE(exchange(*client, kValidRequest, kValidAnswer.size()).toHex(), kValidAnswer.toHex());
}

void TestModbusConnection::hugeLengthWaitsWhileOthersAreServed()
{
    const auto waiting = connectClient(m_port);
    QVERIFY(waiting);
    QVERIFY(exchange(*waiting, hex("0001 0000 ffff 01 03 00c8 0001"), 0).isEmpty());
    QVERIFY(exchange(*waiting, kValidRequest, 0).isEmpty());

    const auto other = connectClient(m_port);
    QVERIFY(other);
    QCOMPARE(exchange(*other, kValidRequest, kValidAnswer.size()).toHex(), kValidAnswer.toHex());
    QCOMPARE(waiting->state(), QAbstractSocket::ConnectedState);
    QCOMPARE(m_listener->connections().size(), 2);
}

void TestModbusConnection::clientsAreServedIndependently()
{
    std::vector<std::unique_ptr<QTcpSocket>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(connectClient(m_port));
        QVERIFY(clients.back());
    }
    const auto id = [](int i) { return "000" + QByteArray::number(i); };
    for (int i = 0; i < 8; ++i)
        clients[i]->write(hex(id(i) + " 0000 0006 01 03 0064 0001"));
    for (int i = 0; i < 8; ++i) {
        QTRY_COMPARE(clients[i]->bytesAvailable(), 11);
        QCOMPARE(clients[i]->readAll().toHex(), hex(id(i) + " 0000 0005 01 03 02 1234").toHex());
    }
}

QTEST_GUILESS_MAIN(TestModbusConnection)
#include "tst_modbusconnection.moc"
