#include "fakenetworkserver.h"
#include "logspy.h"
#include "server/cserverhandler.h"
#include "server/cserverlinkwatch.h"
#include "testworkdir.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

using Status = COMM::EServerStatus;

namespace {

// A TCP relay on 127.0.0.1 in front of a server. Gone silent, it swallows the
// bytes of both directions and closes nothing, as a pulled cable does.
class TcpRelay : public QObject
{
public:
    explicit TcpRelay(quint16 targetPort)
        : m_targetPort(targetPort)
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, &TcpRelay::onNewConnection);
    }

    QString origin() const { return QStringLiteral("ws://127.0.0.1:%1").arg(m_server.serverPort()); }
    void setSilent(bool silent) { m_silent = silent; }

private:
    void onNewConnection()
    {
        while (QTcpSocket *client = m_server.nextPendingConnection()) {
            auto *target = new QTcpSocket(client);
            target->connectToHost(QHostAddress::LocalHost, m_targetPort);
            forward(client, target);
            forward(target, client);
        }
    }

    // Bytes, and the end of the connection, from one side to the other.
    void forward(QTcpSocket *from, QTcpSocket *to)
    {
        connect(from, &QTcpSocket::disconnected, to, &QTcpSocket::disconnectFromHost);
        connect(from, &QTcpSocket::readyRead, this, [this, from, to] {
            const QByteArray bytes = from->readAll();
            if (!m_silent && to->isOpen())
                to->write(bytes);
        });
    }

    QTcpServer m_server;
    quint16 m_targetPort = 0;
    bool m_silent = false;
};

QList<Status> statuses(const QSignalSpy &spy)
{
    QList<Status> result;
    for (const QList<QVariant> &arguments : spy)
        result.append(arguments.at(0).value<Status>());
    return result;
}

} // namespace

class TestServerLinkWatch : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    CServerHandler *m_handler = nullptr;
    std::unique_ptr<LogSpy> m_log;
    std::unique_ptr<QSignalSpy> m_statusSpy;

    QTimer *timer(const char *name) const { return m_handler->findChild<QTimer *>(QLatin1String(name)); }

    // What the timer does when it runs out, without waiting for it.
    static bool fire(QTimer *timer) { return timer && QMetaObject::invokeMethod(timer, "timeout"); }

    bool loggedIn() const { return !m_statusSpy->isEmpty() && statuses(*m_statusSpy).last() == COMM::Success; }

private slots:
    void initTestCase()
    {
        registerApiMetaTypes();
        m_log = std::make_unique<LogSpy>();
        m_handler = CServerHandler::getInstance();
        m_statusSpy = std::make_unique<QSignalSpy>(m_handler, &CServerHandler::changeServerStatus);
        for (const char *name : {"openingTimer", "pingTimer", "answerTimer"})
            QVERIFY2(timer(name), name);
    }

    void init()
    {
        m_statusSpy->clear();
        m_log->forget();
    }

    void silentLinkIsClosed()
    {
        FakeNetworkServer server;
        TcpRelay relay(server.url().port());
        m_handler->connectSlot(relay.origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_VERIFY(loggedIn());
        QTimer *ping = timer("pingTimer");
        QTimer *answer = timer("answerTimer");
        QVERIFY(ping->isActive());
        QCOMPARE(ping->interval(), 30000);
        QVERIFY(!answer->isActive());
        QVERIFY(!timer("openingTimer")->isActive());

        // A quiet but live link answers the ping.
        QVERIFY(fire(ping));
        QVERIFY(answer->isActive());
        QCOMPARE(answer->interval(), 10000);
        QTRY_VERIFY(!answer->isActive());

        relay.setSilent(true);
        QSignalSpy failures(m_handler->linkWatch(), &CServerLinkWatch::linkFailed);
        QVERIFY(fire(ping));
        QTest::qWait(200);
        QVERIFY(answer->isActive());
        QVERIFY(m_statusSpy->isEmpty() || statuses(*m_statusSpy).last() == COMM::Success);

        QVERIFY(fire(answer));
        QTRY_COMPARE(statuses(*m_statusSpy).last(), COMM::Disconnected);
        const QString session = QStringLiteral("[CServerHandler] Session: ");
        QCOMPARE(m_log->takeLines(), QStringList({session + "logged in to " + relay.origin() + " as user",
                                                  "WARNING: [CServerHandler] No answer from the server for 40 s, "
                                                  "closing the connection",
                                                  session + "link to " + relay.origin() + " lost"}));
        QCOMPARE(failures.size(), 1);
        QCOMPARE(failures.at(0).at(0).toString(), QStringLiteral("No answer from the server for 40 s"));
        QVERIFY(!ping->isActive());
        QVERIFY(timer("reconnectTimer")->isActive());
        QCOMPARE(timer("reconnectTimer")->interval(), 60000);

        // The link is back: the reconnection logs in again.
        relay.setSilent(false);
        QVERIFY(fire(timer("reconnectTimer")));
        QTRY_VERIFY(loggedIn());
        QCOMPARE(server.receivedWithCmd(QStringLiteral("auth_req")).size(), 2);
        QCOMPARE(m_log->takeLines(), QStringList(session + "back, logged in to " + relay.origin() + " as user"));
    }

    void hangingOpeningIsRetried()
    {
        // Accepts and never answers the opening handshake.
        QTcpServer hanging;
        QVERIFY(hanging.listen(QHostAddress::LocalHost));
        QList<QTcpSocket *> accepted;
        connect(&hanging, &QTcpServer::newConnection, this, [&] { accepted.append(hanging.nextPendingConnection()); });

        QTimer *opening = timer("openingTimer");
        QTimer *reconnect = timer("reconnectTimer");
        m_handler->connectSlot(QStringLiteral("ws://127.0.0.1:%1").arg(hanging.serverPort()), "user", "secret");
        for (int attempt = 1; attempt <= 2; ++attempt) {
            QTRY_COMPARE(accepted.size(), attempt);
            QVERIFY(opening->isActive());
            QCOMPARE(opening->interval(), 30000);

            QVERIFY(fire(opening));
            QTRY_COMPARE(accepted.last()->state(), QAbstractSocket::UnconnectedState);
            QTRY_COMPARE(m_log->lines(), QStringList("ERROR: [CServerHandler] Connection failed: "
                                                     "The connection was not opened within 30 s"));
            m_log->forget();
            QVERIFY(!opening->isActive());
            QVERIFY(reconnect->isActive());
            QCOMPARE(reconnect->interval(), 60000);
            QVERIFY(!statuses(*m_statusSpy).contains(COMM::PingWaiting));
            QVERIFY(fire(reconnect));
        }
        QTRY_COMPARE(accepted.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestServerLinkWatch)
#include "tst_serverlinkwatch.moc"
