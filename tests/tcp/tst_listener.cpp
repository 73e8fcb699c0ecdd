#include "core/cdescriptorlimit.h"
#include "core/cstatusboard.h"
#include "logspy.h"
#include "tcp/cconnectionhandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QProcess>
#include <QtTest>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

int socketOption(qintptr descriptor, int level, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    return ::getsockopt(int(descriptor), level, name, &value, &size) == 0 ? value : -1;
}

const QByteArray kRequest = hex("0001 0000 0006 01 03 0000 0001");
const QByteArray kAnswer = hex("0001 0000 0005 01 03 02 0000");

// The listener runs in another process, which may be slow to answer.
constexpr int kAnswerWaitMs = 10000;
// Of the listener process; clients may take it all but the reserve.
constexpr int kDescriptorLimit = 128;

// The listener process of listenerhelper.cpp.
class ListenerProcess
{
public:
    explicit ListenerProcess(int descriptorLimit)
    {
        m_process.start(QStringLiteral(LISTENER_HELPER), {QString::number(descriptorLimit)});
    }
    ~ListenerProcess()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
    }

    // The lines said so far that start with `word`, without it.
    QStringList said(const QString &word)
    {
        m_output += QString::fromLocal8Bit(m_process.readAllStandardOutput());
        QStringList result;
        for (const QString &line : m_output.split(QLatin1Char('\n'))) {
            if (line.startsWith(word + QLatin1Char(' ')))
                result.append(line.mid(word.size() + 1));
        }
        return result;
    }

    quint16 port()
    {
        (void)QTest::qWaitFor([this] { return !said(QStringLiteral("PORT")).isEmpty(); }, 10000);
        return quint16(said(QStringLiteral("PORT")).value(0).toUInt());
    }

    // The answer to a command of listenerhelper.cpp; empty if none came.
    QString ask(const QString &command)
    {
        const int before = said(command).size();
        m_process.write(command.toLatin1() + '\n');
        (void)QTest::qWaitFor([this, before, &command] { return said(command).size() > before; }, 10000);
        return said(command).value(before);
    }

    qint64 wakes() { return ask(QStringLiteral("WAKES")).toLongLong(); }
    // The log lines that contain a text or match an expression.
    template<typename Pattern>
    QStringList logged(const Pattern &pattern) { return said(QStringLiteral("LOG")).filter(pattern); }

private:
    QProcess m_process;
    QString m_output;
};

} // namespace

class TestListener : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void acceptedConnectionsProbeTheirPeer_data()
    {
        QTest::addColumn<ProtocolOption>("protocol");
        QTest::addColumn<bool>("afterAcceptError");
        QTest::newRow("ModBus") << ProtocolOption::ModBus << false;
        QTest::newRow("TCP") << ProtocolOption::TCP << false;
        QTest::newRow("accept error pauses only for a while") << ProtocolOption::ModBus << true;
    }

    void acceptedConnectionsProbeTheirPeer()
    {
        QFETCH(ProtocolOption, protocol);
        QFETCH(bool, afterAcceptError);
        CDeviceHandler listener(freePort(), protocol, QStringLiteral("00000000000000A1"));
        if (afterAcceptError) {
            // Qt pauses a listener after an accept error it does not count as
            // temporary; the listener resumes by itself.
            listener.pauseAccepting();
            emit listener.acceptError(QAbstractSocket::SocketResourceError);
        }
        const auto client = connectClient(listener.serverPort());
        QVERIFY(client);
        QTRY_COMPARE(listener.connections().size(), 1);

        const qintptr descriptor = listener.connections().first()->socketDescriptor();
        QCOMPARE(socketOption(descriptor, SOL_SOCKET, SO_KEEPALIVE), 1);
        QCOMPARE(socketOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), 60);
        QCOMPARE(socketOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), 10);
        QCOMPARE(socketOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT), 6);
    }

    // A port that another program holds is tried again until it opens, and
    // the log says each only once.
    void takenPortIsTriedAgain()
    {
        LogSpy log;
        QTcpServer otherProgram;
        QVERIFY(otherProgram.listen(QHostAddress::Any, 0));
        const quint16 port = otherProgram.serverPort();
        const auto notOpen = [] {
            const quint16 field = StatusBlock::ListenersNotOpen;
            return CStatusBoard::getInstance()->read(field, 1).value(field);
        };
        CDeviceHandler listener(port, ProtocolOption::ModBus, QStringLiteral("00000000000000A1"));
        listener.setListenRetryInterval(20);
        QVERIFY(!listener.isListening());
        QCOMPARE(notOpen(), quint16(1));
        QTest::qWait(200);
        QCOMPARE(log.takeLines(), QStringList(QStringLiteral("ERROR: [CDeviceHandler] Cannot listen on port %1: "
                                                             "The bound address is already in use").arg(port)));

        otherProgram.close();
        QTRY_VERIFY(listener.isListening());
        QCOMPARE(notOpen(), quint16(0));
        QVERIFY(connectClient(port));
        QTest::qWait(100);
        QCOMPARE(log.takeLines(),
                 QStringList(QStringLiteral("INFO: [CDeviceHandler] Port %1 is free now: listening.").arg(port)));
    }

    // With every descriptor taken the listener waits instead of trying to
    // accept over and over, its client is still served, and it accepts again
    // once descriptors are free.
    void runningOutOfDescriptorsIsSurvived()
    {
        constexpr int idleCount = 100;
        ListenerProcess listener(kDescriptorLimit);
        const quint16 port = listener.port();
        const auto served = connectClient(port);
        QVERIFY(port != 0 && served);
        QCOMPARE(exchange(*served, kRequest, kAnswer.size(), kAnswerWaitMs).toHex(), kAnswer.toHex());
        QVERIFY(listener.ask(QStringLiteral("FILL")).toInt() > 0);

        std::vector<std::unique_ptr<QTcpSocket>> idle;
        for (int i = 0; i < idleCount; ++i) {
            idle.push_back(std::make_unique<QTcpSocket>());
            idle.back()->connectToHost(QHostAddress::LocalHost, port);
        }
        QTRY_COMPARE_WITH_TIMEOUT(listener.logged(QStringLiteral("WARNING")).size(), 1, 10000);
        const QString warning = listener.logged(QStringLiteral("WARNING")).first();
        QVERIFY2(warning.startsWith(QStringLiteral("WARNING: [CDeviceHandler] Cannot accept a connection on port %1: ")
                                            .arg(port)),
                 qPrintable(warning));

        // Over a few pauses the event loop wakes for the timers and the
        // client, not for every failed accept.
        const qint64 wakesBefore = listener.wakes();
        QTest::qWait(1500);
        QCOMPARE(exchange(*served, kRequest, kAnswer.size(), kAnswerWaitMs).toHex(), kAnswer.toHex());
        QVERIFY2(listener.wakes() - wakesBefore < 200, "the listener spins");
        QCOMPARE(listener.logged(QStringLiteral("WARNING")).size(), 1);

        idle.clear();
        QVERIFY(listener.ask(QStringLiteral("FREE")).toInt() > 0);
        // Clients that were waiting may take a place until their closing is seen.
        QTRY_COMPARE_WITH_TIMEOUT(exchange(port, kRequest, kAnswer.size()).toHex(), kAnswer.toHex(), 30000);
    }

    // Idle clients get no further than the reserve: the ones past it are
    // closed at once, said once, while the store can still write and the
    // clients inside are served.
    void idleClientsLeaveTheReserve()
    {
        constexpr int idleCount = 200;
        ListenerProcess listener(kDescriptorLimit);
        const quint16 port = listener.port();
        const auto served = connectClient(port);
        QVERIFY(port != 0 && served);

        // One at a time: a client dropped from an overflowing queue of the
        // listener would think itself connected.
        std::vector<std::unique_ptr<QTcpSocket>> idle;
        for (int i = 0; i < idleCount; ++i) {
            idle.push_back(std::make_unique<QTcpSocket>());
            QTcpSocket &client = *idle.back();
            client.connectToHost(QHostAddress::LocalHost, port);
            (void)QTest::qWaitFor([&client] { return client.state() == QAbstractSocket::ConnectedState
                                                     || client.state() == QAbstractSocket::UnconnectedState; },
                                  1000);
        }
        const auto closedByServer = [&idle] {
            return std::count_if(idle.begin(), idle.end(), [](const std::unique_ptr<QTcpSocket> &client) {
                return client->error() == QAbstractSocket::RemoteHostClosedError;
            });
        };
        const int ceiling = kDescriptorLimit - int(CDescriptorLimit::kReserve);
        QTRY_VERIFY_WITH_TIMEOUT(closedByServer() >= idleCount - ceiling, 30000);
        QTRY_COMPARE_WITH_TIMEOUT(listener.logged(QStringLiteral("refused")).size(), 1, 10000);
        QCOMPARE(listener.logged(QStringLiteral("refused")).first(),
                 QStringLiteral("WARNING: [CDeviceHandler] Connection on port %1 refused: the limit of %2 connections "
                                "is reached, 64 of the %3 descriptors being kept for the store and the logs. Refusals "
                                "are not logged again until a connection is accepted.")
                         .arg(port).arg(ceiling).arg(kDescriptorLimit));
        QCOMPARE(listener.ask(QStringLiteral("WRITE")), QStringLiteral("ok"));
        QCOMPARE(exchange(*served, kRequest, kAnswer.size(), kAnswerWaitMs).toHex(), kAnswer.toHex());

        idle.clear();
        QTRY_COMPARE_WITH_TIMEOUT(exchange(port, kRequest, kAnswer.size()).toHex(), kAnswer.toHex(), 30000);
        // A newcomer that came before the listener saw the idle clients go was
        // refused in an episode of its own: each episode ends in one line.
        QTRY_VERIFY(!listener.logged(QStringLiteral("accepted again")).isEmpty());
        const QStringList episodes = listener.logged(QRegularExpression(QStringLiteral("refused|accepted again")));
        QCOMPARE(episodes.filter(QStringLiteral("refused")).size(), episodes.size() / 2);
        QCOMPARE(episodes.last(),
                 QStringLiteral("INFO: [CDeviceHandler] Connections are accepted again (port %1).").arg(port));
    }
};

QTEST_GUILESS_MAIN(TestListener)
#include "tst_listener.moc"
