#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QWebSocketServer>

class QWebSocket;

// An in-process network server on 127.0.0.1 and an ephemeral port. It records
// every text message that a client sends and answers by the message's "cmd"
// with the replies set for it. By default it answers the probe with an
// "err_string" and accepts any login.
class FakeNetworkServer : public QObject
{
    Q_OBJECT

public:
    explicit FakeNetworkServer(QObject *parent = nullptr);
    ~FakeNetworkServer() override;

    QUrl url() const;
    QString origin() const { return url().toString(); }

    // Sets the reply to messages whose "cmd" is `cmd`; an empty object means
    // no reply at all.
    void setReply(const QString &cmd, const QJsonObject &reply);
    void push(const QString &text);
    void push(const QJsonObject &message);
    void dropClients();

    int clientCount() const { return m_clients.size(); }
    const QStringList &received() const { return m_received; }
    QStringList receivedWithCmd(const QString &cmd) const;

private:
    void onNewConnection();
    void onTextMessage(const QString &text);

    QWebSocketServer m_server;
    QList<QWebSocket *> m_clients;
    QHash<QString, QJsonObject> m_replies;
    QStringList m_received;
};
