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

// Sends a request and waits for answerSize bytes back. With an answerSize of 0
// silence is expected: a wrong answer still gets time to come.
inline QByteArray exchange(QTcpSocket &client, const QByteArray &request, int answerSize, int timeoutMs = 5000)
{
    client.write(request);
    if (answerSize == 0)
        QTest::qWait(50);
    else if (!QTest::qWaitFor([&client, answerSize] { return client.bytesAvailable() >= answerSize; }, timeoutMs))
        qWarning("No full answer in time");
    return client.readAll();
}

// The same through a new client of the port, empty if it was refused.
inline QByteArray exchange(quint16 port, const QByteArray &request, int answerSize)
{
    const auto client = connectClient(port);
    return client ? exchange(*client, request, answerSize) : QByteArray();
}

// A ModBus-TCP read request (functions 3 and 4) or any request of the same shape.
inline QByteArray modbusRequest(quint16 transaction, quint8 unit, quint8 function, quint16 start, quint16 count)
{
    QByteArray frame;
    const auto append = [&frame](quint16 word) {
        frame += char(word >> 8);
        frame += char(word & 0xFF);
    };
    append(transaction);
    append(0);    // protocol
    append(6);    // bytes that follow
    frame += char(unit);
    frame += char(function);
    append(start);
    append(count);
    return frame;
}
