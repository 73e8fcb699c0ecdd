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

const QByteArray kValidRequest = hex("00ff 0000 0006 01 03 00c8 0001");
const QByteArray kValidAnswer = hex("00ff 0000 0005 01 03 02 beef");

} // namespace

class TestModbusConnection : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    QThread m_thread;
    CDataBaseHandler *m_store = nullptr;
    CDeviceHandler *m_listener = nullptr;
    LogSpy *m_log = nullptr;
    quint16 m_port = 0;

    void store(const QString &devEui, quint32 startAddr, const QList<DB::SDeviceRegDescription> &regs,
               const QList<DB::SDbRegValue> &values)
    {
        QVERIFY(m_store->registerNewDevice({devEui, "F1A7C0DE000000A1", devEui, startAddr, regs, m_port},
                                           ProtocolOption::ModBus));
        const DB::SDbDeviceRegDataSet set{devEui, startAddr, values};
        QVERIFY(QMetaObject::invokeMethod(m_store, "saveRegisterData", Qt::BlockingQueuedConnection,
                                          Q_ARG(DB::SDbDeviceRegDataSet, set)));
    }

    QByteArray exchange(QTcpSocket &client, const QByteArray &request, int answerSize)
    {
        client.write(request);
        // Silence is expected: give a wrong answer time to come.
        if (answerSize == 0)
            QTest::qWait(50);
        else if (!QTest::qWaitFor([&client, answerSize] { return client.bytesAvailable() >= answerSize; }, 5000))
            qWarning("No full answer in time");
        return client.readAll();
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
        m_log = new LogSpy;
        m_store = CDataBaseHandler::getInstance();
        QVERIFY(m_store);
        m_store->moveToThread(&m_thread);
        m_thread.start();
        m_port = freePort();

        // Two devices share the port and its address space.
        store(QStringLiteral("00000000000000A1"), 100, {reg(0, 16), reg(1, 32)},
              {{"1234", "1234", 0}, {"89ab", "89abcdef", 1}, {"cdef", "", 2}});
        store(QStringLiteral("00000000000000A2"), 200, {reg(0, 16)}, {{"beef", "beef", 0}});
        m_listener = new CDeviceHandler(m_port, ProtocolOption::ModBus, QStringLiteral("00000000000000A1"), this);
        QVERIFY(m_listener->isListening());
    }

    void cleanupTestCase()
    {
        delete m_listener;
        m_thread.quit();
        m_thread.wait();
    }

    void answers_data()
    {
        QTest::addColumn<QList<QByteArray>>("reads");   // written one after the other
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QStringList>("incomplete");

        const auto one = [](const QByteArray &digits) { return QList<QByteArray>{hex(digits)}; };
        const QStringList none;
        QTest::newRow("two registers, one unset") << one("0001 0000 0006 01 03 00c8 0002")
                                                  << hex("0001 0000 0007 01 03 04 beef 0000") << none;
        QTest::newRow("function 4 reads the same") << one("0002 0000 0006 01 04 00c8 0002")
                                                   << hex("0002 0000 0007 01 04 04 beef 0000") << none;
        QTest::newRow("ids and unit echoed") << one("abcd 0102 0006 ff 03 00c8 0001")
                                             << hex("abcd 0102 0005 ff 03 02 beef") << none;
        QTest::newRow("narrow and wide values") << one("0005 0000 0006 01 03 0064 0003")
                                                << hex("0005 0000 0009 01 03 06 1234 89ab cdef") << none;
        QTest::newRow("count 0") << one("0008 0000 0006 01 03 0064 0000") << hex("0008 0000 0003 01 03 00") << none;
        QTest::newRow("count 128, byte count wraps") << one("0009 0000 0006 01 03 0190 0080")
                                                     << hex("0009 0000 0103 01 03 00") + QByteArray(256, '\0') << none;
        QTest::newRow("function 1") << one("000b 0000 0006 01 01 0064 0001") << hex("000b 0000 0003 01 81 01") << none;
        QTest::newRow("function 2, unit 7") << one("000c 0000 0006 07 02 0064 0001") << hex("000c 0000 0003 07 82 01")
                                            << none;
        QTest::newRow("function 16, longer frame") << one("000e 0000 0009 01 10 0064 0001 02 abcd")
                                                   << hex("000e 0000 0003 01 90 01") << none;

        const QString waiting = QStringLiteral("[CConnectionHandler] Incomplete packet [%1]. Wait for continue...");
        const QString skipped = QStringLiteral("[CConnectionHandler] Incomplete packet [3]. Clear buffer...");
        QTest::newRow("two requests in one read")
                << QList<QByteArray>{kValidRequest + hex("0002 0000 0006 01 01 00c8 0001")}
                << kValidAnswer + hex("0002 0000 0003 01 81 01") << none;
        QTest::newRow("one request in three reads")
                << QList<QByteArray>{kValidRequest.left(3), kValidRequest.mid(3, 5), kValidRequest.mid(8)}
                << kValidAnswer << QStringList({waiting.arg(1), waiting.arg(2)});
        QTest::newRow("length 2, then a request") << QList<QByteArray>{hex("0009 0000 0002 01 ff") + kValidRequest}
                                                  << kValidAnswer << QStringList{skipped};
        QTest::newRow("length 0, then a request") << QList<QByteArray>{hex("0009 0000 0000") + kValidRequest}
                                                  << kValidAnswer << QStringList{skipped};
        QTest::newRow("short frame alone") << one("0009 0000 0005 01 03 0064 00") << QByteArray()
                                           << QStringList{skipped, waiting.arg(1)};
    }

    // Each case ends with a good request: the connection must still answer it.
    void answers()
    {
        QFETCH(QList<QByteArray>, reads);
        QFETCH(QByteArray, answer);
        QFETCH(QStringList, incomplete);
        const auto client = connectClient(m_port);
        QVERIFY(client);
        m_log->forget();

        QByteArray answered;
        for (int i = 0; i < reads.size(); ++i)
            answered += exchange(*client, reads.at(i), i + 1 < reads.size() ? 0 : answer.size());
        QCOMPARE(answered.toHex(), answer.toHex());
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("Incomplete")), incomplete);
        QCOMPARE(exchange(*client, kValidRequest, kValidAnswer.size()).toHex(), kValidAnswer.toHex());
    }

    // Each read logs everything buffered so far, and each answer its own bytes.
    void requestsAndAnswersAreLogged()
    {
        const auto client = connectClient(m_port);
        QVERIFY(client);
        m_log->forget();
        const QString start = QString::fromLatin1(kValidRequest.left(5).toHex());
        const QString whole = QString::fromLatin1(kValidRequest.toHex());
        QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("REQ: ") + start));
        QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("REQ: ") + whole));

        QVERIFY(exchange(*client, kValidRequest.left(5), 0).isEmpty());
        QCOMPARE(exchange(*client, kValidRequest.mid(5), kValidAnswer.size()).toHex(), kValidAnswer.toHex());
        QCOMPARE(m_log->takeLines(),
                 QStringList({QStringLiteral("INFO: [CConnectionHandler] REQ: < %1 >").arg(start),
                              "[CConnectionHandler] Incomplete packet [1]. Wait for continue...",
                              QStringLiteral("INFO: [CConnectionHandler] REQ: < %1 >").arg(whole),
                              QStringLiteral("INFO: [CConnectionHandler] ANS: < %1 >")
                                      .arg(QString::fromLatin1(kValidAnswer.toHex()))}));
    }

    void hugeLengthWaitsWhileOthersAreServed()
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
};

QTEST_GUILESS_MAIN(TestModbusConnection)
#include "tst_modbusconnection.moc"
