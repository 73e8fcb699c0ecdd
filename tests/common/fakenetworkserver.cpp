#include "fakenetworkserver.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QWebSocket>

FakeNetworkServer::FakeNetworkServer(QObject *parent)
    : QObject(parent)
    , m_server(QStringLiteral("fake network server"), QWebSocketServer::NonSecureMode)
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QWebSocketServer::newConnection, this, &FakeNetworkServer::onNewConnection);

    setReply(QStringLiteral("cmd"), {{QStringLiteral("err_string"), QStringLiteral("unknown_cmd")}});
    setReply(QStringLiteral("auth_req"), {{QStringLiteral("cmd"), QStringLiteral("auth_resp")},
                                          {QStringLiteral("status"), true},
                                          {QStringLiteral("token"), QStringLiteral("token-1")}});
}

FakeNetworkServer::~FakeNetworkServer()
{
    // The server deletes its sockets after our members are gone: stop
    // listening to them first.
    for (QWebSocket *client : qAsConst(m_clients))
        disconnect(client, nullptr, this, nullptr);
}

QUrl FakeNetworkServer::url() const
{
    return QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(m_server.serverPort()));
}

void FakeNetworkServer::setReply(const QString &cmd, const QJsonObject &reply)
{
    m_replies.insert(cmd, reply);
}

void FakeNetworkServer::push(const QString &text)
{
    for (QWebSocket *client : qAsConst(m_clients))
        client->sendTextMessage(text);
}

void FakeNetworkServer::push(const QJsonObject &message)
{
    push(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
}

void FakeNetworkServer::dropClients()
{
    for (QWebSocket *client : qAsConst(m_clients))
        client->close();
}

QStringList FakeNetworkServer::receivedWithCmd(const QString &cmd) const
{
    QStringList result;
    for (const QString &text : m_received) {
        if (QJsonDocument::fromJson(text.toUtf8()).object().value(QStringLiteral("cmd")).toString() == cmd)
            result.append(text);
    }
    return result;
}

void FakeNetworkServer::onNewConnection()
{
    while (QWebSocket *client = m_server.nextPendingConnection()) {
        m_clients.append(client);
        connect(client, &QWebSocket::textMessageReceived, this, &FakeNetworkServer::onTextMessage);
        connect(client, &QWebSocket::disconnected, this, [this, client] {
            m_clients.removeAll(client);
            client->deleteLater();
        });
    }
}

void FakeNetworkServer::onTextMessage(const QString &text)
{
    m_received.append(text);

    auto *client = qobject_cast<QWebSocket *>(sender());
    const QString cmd = QJsonDocument::fromJson(text.toUtf8()).object().value(QStringLiteral("cmd")).toString();
    const QJsonObject reply = m_replies.value(cmd);
    if (client && !reply.isEmpty())
        client->sendTextMessage(QString::fromUtf8(QJsonDocument(reply).toJson(QJsonDocument::Compact)));
}
