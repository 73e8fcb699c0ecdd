#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

// Spaces only group the digits.
inline QByteArray hex(const QByteArray &text)
{
    return QByteArray::fromHex(text);
}

// A port that was free a moment ago, for a listener that the test makes next.
inline quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::Any, 0);
    return probe.serverPort();
}

// A client of the port on 127.0.0.1, or null if it was refused. The event loop
// turns meanwhile, since the listener usually lives on this thread.
inline std::unique_ptr<QTcpSocket> connectClient(quint16 port)
{
    auto client = std::make_unique<QTcpSocket>();
    client->connectToHost(QHostAddress::LocalHost, port);
    const bool settled = QTest::qWaitFor([&client] { return client->state() == QAbstractSocket::ConnectedState
                                                            || client->state() == QAbstractSocket::UnconnectedState; },
                                         5000);
    return settled && client->state() == QAbstractSocket::ConnectedState ? std::move(client) : nullptr;
}
