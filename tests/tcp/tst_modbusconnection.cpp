#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "logspy.h"
#include "tcp/cconnectionhandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QDeadlineTimer>
#include <QThread>
#include <QtTest>

#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

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
const QByteArray kSecondRequest = hex("0002 0000 0006 01 04 00c8 0001");
const QByteArray kSecondAnswer = hex("0002 0000 0005 01 04 02 beef");

// The operator's line of a request ("REQ") or an answer ("ANS").
QString journal(const char *kind, const QByteArray &bytes)
{
    return QStringLiteral("INFO: [CConnectionHandler] %1: < %2 >")
            .arg(QLatin1String(kind), QString::fromLatin1(bytes.toHex()));
}

// Sends `bytes` from `client` the moment a debug line equal to `trigger` is
// reported, and waits until they stand in the socket of `peer`.
struct SSendOnDebugLine
{
    QString trigger;
    QTcpSocket *client = nullptr;
    qintptr peer = -1;
    QByteArray bytes;
    QtMessageHandler previous = nullptr;
};
SSendOnDebugLine g_sendOnDebugLine;

void sendOnDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    SSendOnDebugLine &hook = g_sendOnDebugLine;
    if (hook.client && message == hook.trigger) {
        hook.client->write(hook.bytes);
        hook.client->flush();
        hook.client = nullptr;
        int pending = 0;
        const QDeadlineTimer timeout(5000);
        while (::ioctl(int(hook.peer), FIONREAD, &pending) == 0 && pending < hook.bytes.size() && !timeout.hasExpired())
            QThread::usleep(100);
    }
    hook.previous(type, context, message);
}

// A client socket outside the event loop that reads only when told to, with a
// small receive buffer so that a few answers fill it.
class RawClient
{
public:
    explicit RawClient(quint16 port)
        : m_fd(::socket(AF_INET, SOCK_STREAM, 0))
    {
        const int bufferSize = 4096;
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_connected = ::connect(m_fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~RawClient() { ::close(m_fd); }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool isConnected() const { return m_connected; }
    quint16 localPort() const
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(m_fd, reinterpret_cast<sockaddr *>(&address), &size);
        return ntohs(address.sin_port);
    }
    bool send(const QByteArray &bytes) { return ::send(m_fd, bytes.constData(), bytes.size(), 0) == bytes.size(); }
    QByteArray readAvailable()
    {
        QByteArray result;
        char chunk[65536];
        for (ssize_t got; (got = ::recv(m_fd, chunk, sizeof chunk, MSG_DONTWAIT)) > 0;)
            result.append(chunk, int(got));
        return result;
    }

private:
    int m_fd = -1;
    bool m_connected = false;
};

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

    // The listener's side of the client on `clientPort`, once accepted.
    CConnectionHandler *accepted(quint16 clientPort) const
    {
        for (CConnectionHandler *connection : m_listener->connections()) {
            if (connection->peerPort() == clientPort)
                return connection;
        }
        return nullptr;
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

    void cleanup()
    {
        m_listener->setRegisterSource(CModbusFraming::storeSource());
    }

    void cleanupTestCase()
    {
        delete m_listener;
        m_thread.quit();
        m_thread.wait();
    }

    void answers_data()
    {
        QTest::addColumn<bool>("strict");
        QTest::addColumn<QList<QByteArray>>("reads");   // written one after the other
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QStringList>("incomplete");

        const auto row = [](const char *name, const QList<QByteArray> &reads, const QByteArray &answer,
                            const QStringList &incomplete = {}, bool strict = false) {
            QTest::newRow(name) << strict << reads << answer << incomplete;
        };
        // One request in one read, and its answer.
        const auto single = [&row](const char *name, const char *request, const char *answer) {
            row(name, {hex(request)}, hex(answer));
        };
        single("two registers, one unset", "0001 0000 0006 01 03 00c8 0002", "0001 0000 0007 01 03 04 beef 0000");
        single("function 4 reads the same", "0002 0000 0006 01 04 00c8 0002", "0002 0000 0007 01 04 04 beef 0000");
        single("ids and unit echoed", "abcd 0102 0006 ff 03 00c8 0001", "abcd 0102 0005 ff 03 02 beef");
        single("narrow and wide values", "0005 0000 0006 01 03 0064 0003", "0005 0000 0009 01 03 06 1234 89ab cdef");
        single("count 0", "0008 0000 0006 01 03 0064 0000", "0008 0000 0003 01 03 00");
        row("count 128, byte count wraps", {hex("0009 0000 0006 01 03 0190 0080")},
            hex("0009 0000 0103 01 03 00") + QByteArray(256, '\0'));
        single("function 1", "000b 0000 0006 01 01 0064 0001", "000b 0000 0003 01 81 01");
        single("function 2, unit 7", "000c 0000 0006 07 02 0064 0001", "000c 0000 0003 07 82 01");
        single("function 16, longer frame", "000e 0000 0009 01 10 0064 0001 02 abcd", "000e 0000 0003 01 90 01");

        const QString waiting = QStringLiteral("[CConnectionHandler] Incomplete packet [%1]. Wait for continue...");
        const QString skipped = QStringLiteral("[CConnectionHandler] Incomplete packet [3]. Clear buffer...");
        row("two requests in one read", {kValidRequest + hex("0002 0000 0006 01 01 00c8 0001")},
            kValidAnswer + hex("0002 0000 0003 01 81 01"));
        row("one request in three reads", {kValidRequest.left(3), kValidRequest.mid(3, 5), kValidRequest.mid(8)},
            kValidAnswer, {waiting.arg(1), waiting.arg(2)});
        row("length 2, then a request", {hex("0009 0000 0002 01 ff") + kValidRequest}, kValidAnswer, {skipped});
        row("length 0, then a request", {hex("0009 0000 0000") + kValidRequest}, kValidAnswer, {skipped});
        row("short frame alone", {hex("0009 0000 0005 01 03 0064 00")}, QByteArray(), {skipped, waiting.arg(1)});

        // Opt-in: a mistyped address is told to the client instead of read as 0.
        const auto strict = [&row](const char *name, const char *request, const char *answer) {
            row(name, {hex(request)}, hex(answer), {}, true);
        };
        single("strict off, nothing stored", "0001 0000 0006 01 03 012c 0002", "0001 0000 0007 01 03 04 0000 0000");
        strict("strict, nothing stored", "0001 0000 0006 01 03 012c 0002", "0001 0000 0003 01 83 02");
        strict("strict, range partly stored", "0002 0000 0006 01 03 00c7 0002", "0002 0000 0007 01 03 04 0000 beef");
        strict("strict, count 0", "0003 0000 0006 01 04 00c8 0000", "0003 0000 0003 01 04 00");
    }

    // Each case ends with a good request: the connection must still answer it.
    void answers()
    {
        QFETCH(bool, strict);
        QFETCH(QList<QByteArray>, reads);
        QFETCH(QByteArray, answer);
        QFETCH(QStringList, incomplete);
        // The source takes the setting when it is made; cleanup() makes a lenient one again.
        CSettings::writeValue(SettingsKey::strictAddresses, strict);
        m_listener->setRegisterSource(CModbusFraming::storeSource());
        CSettings::writeValue(SettingsKey::strictAddresses, false);
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
        for (const QByteArray &buffered : {kValidRequest.left(5), kValidRequest})
            QTest::ignoreMessage(QtDebugMsg, ("REQ: " + buffered.toHex()).constData());

        QVERIFY(exchange(*client, kValidRequest.left(5), 0).isEmpty());
        QCOMPARE(exchange(*client, kValidRequest.mid(5), kValidAnswer.size()).toHex(), kValidAnswer.toHex());
        QCOMPARE(m_log->takeLines(), QStringList({journal("REQ", kValidRequest.left(5)),
                                                  "[CConnectionHandler] Incomplete packet [1]. Wait for continue...",
                                                  journal("REQ", kValidRequest), journal("ANS", kValidAnswer)}));
    }

    // The second request comes while the first answer is written; the write
    // wait reads it in, which raises no readyRead of its own.
    void requestDuringAnAnswerIsAnswered()
    {
        const auto client = connectClient(m_port);
        QVERIFY(client);
        QTRY_VERIFY(accepted(client->localPort()));
        m_log->forget();
        g_sendOnDebugLine = {QStringLiteral("REQ: ") + QString::fromLatin1(kValidRequest.toHex()), client.get(),
                             accepted(client->localPort())->socketDescriptor(), kSecondRequest, nullptr};
        g_sendOnDebugLine.previous = qInstallMessageHandler(sendOnDebugLine);

        const QByteArray answers = exchange(*client, kValidRequest, kValidAnswer.size() + kSecondAnswer.size());
        qInstallMessageHandler(g_sendOnDebugLine.previous);
        QVERIFY(!g_sendOnDebugLine.client);
        QCOMPARE(answers.toHex(), (kValidAnswer + kSecondAnswer).toHex());
        QCOMPARE(m_log->takeLines(), QStringList({journal("REQ", kValidRequest), journal("ANS", kValidAnswer),
                                                  journal("REQ", kSecondRequest), journal("ANS", kSecondAnswer)}));
    }

    // A client that pipelines the largest reads and does not read the answers
    // gets no further answer until it reads; meanwhile the others are served.
    void unreadAnswersHoldOnlyTheirClient()
    {
        constexpr int requestCount = 6;
        const auto other = connectClient(m_port);
        QVERIFY(other);
        const QByteArray values = exchange(*other, hex("0000 0000 0006 01 03 0000 ffff"), 9 + 2 * 0xffff).mid(9);
        QByteArray requests;
        QByteArray expected;
        for (int i = 0; i < requestCount; ++i) {
            const QByteArray id = QByteArray::number(i, 16).rightJustified(4, '0');
            requests += hex(id + "0000 0006 01 03 0000 ffff");
            expected += hex(id + "0000 0001 01 03 fe") + values;   // 2 × 65535 + 3, cut to 16 bits
        }
        RawClient stalled(m_port);
        QVERIFY(stalled.isConnected());
        QTRY_VERIFY(accepted(stalled.localPort()));
        accepted(stalled.localPort())->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 4096);
        m_log->forget();

        QVERIFY(stalled.send(requests));
        QTRY_COMPARE(m_log->lines().filter(QStringLiteral("ANS")).size(), 1);
        QCOMPARE(exchange(*other, kValidRequest, kValidAnswer.size()).toHex(), kValidAnswer.toHex());
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("ANS")).size(), 2);

        QByteArray answers;
        QVERIFY(QTest::qWaitFor([&] { answers += stalled.readAvailable(); return answers.size() >= expected.size(); },
                                30000));
        QCOMPARE(answers.size(), expected.size());
        QVERIFY(answers == expected);
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("ANS")).size(), requestCount - 1);
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
