#include "cserverhandler.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/cstatusboard.h"
#include "server/cserverlinkwatch.h"
#include "server/sessiontimers.h"

#include <QDateTime>
#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {
constexpr int kLastPacketsLimit = 10;
constexpr int kDownlinkPort = 2;

QJsonObject downlinkRequest(const QString &devEui, bool ack, int port, const QByteArray &hexData)
{
    const QJsonObject downlink{{JsonKey::devEui, devEui},
                               {JsonKey::ack, ack},
                               {JsonKey::port, port},
                               {JsonKey::data, QString::fromLatin1(hexData)}};
    return {{JsonKey::cmd, Command::sendDataReq}, {JsonKey::dataList, QJsonArray{downlink}}};
}
} // namespace

CServerHandler *CServerHandler::getInstance()
{
    static CServerHandler *instance = new CServerHandler();
    return instance;
}

CServerHandler::CServerHandler()
    : m_responseWaitTimer(new QTimer(this))
    , m_socket(QString(), QWebSocketProtocol::Version13)
    , m_handshakeTimer(new QTimer(this))
    , m_reconnectTimer(new QTimer(this))
    , m_linkWatch(new CServerLinkWatch(&m_socket, this))
{
    m_responseWaitTimer->setObjectName(QStringLiteral("responseWaitTimer"));
    m_responseWaitTimer->setSingleShot(true);
    m_handshakeTimer->setObjectName(QStringLiteral("handshakeTimer"));
    m_reconnectTimer->setObjectName(QStringLiteral("reconnectTimer"));

    connect(&m_socket, &QWebSocket::connected, this, &CServerHandler::socketConnectedSlot);
    connect(&m_socket, &QWebSocket::disconnected, this, &CServerHandler::socketDisconnectedSlot);
    connect(&m_socket, &QWebSocket::textMessageReceived, this, &CServerHandler::textMessageReceivedSlot);
    connect(m_handshakeTimer, &QTimer::timeout, this, &CServerHandler::timeoutSlot);
    connect(m_responseWaitTimer, &QTimer::timeout, this, &CServerHandler::waitingServerResponseTimeoutSlot);
    connect(m_reconnectTimer, &QTimer::timeout, this, &CServerHandler::reconnectLastAuthData);
    connect(this, &CServerHandler::changeServerStatus, this,
            [](COMM::EServerStatus status) { CStatusBoard::getInstance()->setSessionState(status); });
    // Queued, so that a request never goes out inside the producer's stack.
    connect(this, &CServerHandler::newTask, this, &CServerHandler::newTaskSlot, Qt::QueuedConnection);
}

const CServerLinkWatch *CServerHandler::linkWatch() const
{
    return m_linkWatch;
}

void CServerHandler::connectSlot(QString _origin, QString _login, QString _password)
{
    // A login the operator asks for starts the session's story afresh: the
    // link it closes was not lost.
    m_outcome = EOutcome::None;
    closeSocket();
    emit changeServerStatus(COMM::Disconnected);

    const QUrl url(_origin, QUrl::TolerantMode);
    if (!url.isValid()) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::connectSlot] Invalid input URL [%1]").arg(_origin));
        return;
    }
    m_login = _login;
    m_password = _password;
    m_origin = _origin;
    openSocket(url);
}

void CServerHandler::reconnectLastAuthData()
{
    closeSocket();
    m_state = StatePing;
    openStoredOrigin(m_origin);
}

bool CServerHandler::openStoredOrigin(const QString &origin)
{
    const QUrl url(origin, QUrl::TolerantMode);
    if (!url.isValid()) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::connectSlot] Invalid input URL [%1]").arg(origin));
        return false;
    }
    openSocket(url);
    return true;
}

void CServerHandler::openSocket(const QUrl &url)
{
    m_linkWatch->attemptStarted();
    m_socket.open(url);
}

void CServerHandler::closeSocket()
{
    // A socket that was aborted would still try to write its close frame.
    if (m_socket.state() == QAbstractSocket::UnconnectedState)
        return;
    m_socket.close(QWebSocketProtocol::CloseCodeNormal, QString());
}

void CServerHandler::socketConnectedSlot()
{
    m_linkOpen = true;
    m_state = StatePing;
    // Answers to requests of an earlier link never come on this one.
    m_bridgeAnswersDue.clear();
    // The probe is a command that no server knows: any answer carrying
    // "err_string" proves a live server of the right kind.
    sendJson({{JsonKey::cmd, JsonKey::cmd}});
    emit changeServerStatus(COMM::PingWaiting);
    m_handshakeTimer->start(SessionTimer::handshakeTimeoutMs);
}

void CServerHandler::socketDisconnectedSlot()
{
    if (std::exchange(m_linkOpen, false))
        CStatusBoard::getInstance()->connectionLost();
    if (m_outcome == EOutcome::Accepted)
        noteOutcome(EOutcome::Lost);
    m_state = StateIdle;
    emit changeServerStatus(COMM::Disconnected);
    m_reconnectTimer->start(SessionTimer::reconnectIntervalMs);
}

void CServerHandler::timeoutSlot()
{
    m_handshakeTimer->stop();
    if (m_state == StatePing) {
        noteOutcome(EOutcome::NoServer, QStringLiteral("no answer"));
        emit changeServerStatus(COMM::InvalidPing);
    } else if (m_state == StateAuth) {
        noteOutcome(EOutcome::Refused, QStringLiteral("no answer to the login"));
        emit changeServerStatus(COMM::InvalidAuth);
    }
}

void CServerHandler::textMessageReceivedSlot(QString msg)
{
    const QJsonDocument document = QJsonDocument::fromJson(msg.toUtf8());
    if (!document.isObject()) {
        qDebug() << "[CServerHandler::textMessageReceivedSlot] Uncknown input message format";
        return;
    }
    const QJsonObject message = document.object();

    switch (m_state) {
    case StateIdle:
        break;
    case StatePing:
        if (message.contains(JsonKey::errString)) {
            m_state = StateAuth;
            sendJson({{JsonKey::cmd, Command::authReq},
                      {JsonKey::login, m_login},
                      {JsonKey::password, m_password}});
            emit changeServerStatus(COMM::AuthWaiting);
        } else {
            CLogFile::addLog(QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=ping: unknown message"));
            noteOutcome(EOutcome::NoServer, QStringLiteral("not the answer of a network server"));
            emit changeServerStatus(COMM::InvalidPing);
        }
        break;
    case StateAuth:
        handleAuthReply(message);
        break;
    case StateVerified:
        handleVerifiedMessage(message);
        break;
    }
}

void CServerHandler::handleAuthReply(const QJsonObject &message)
{
    // Only a good reply leaves the idle state: a refused login keeps the socket
    // open and ignores the server until the next attempt.
    m_state = StateIdle;

    const char *failure = nullptr;
    if (!message.contains(JsonKey::cmd))
        failure = "[CServerHandler::textMessageReceivedSlot] State=auth: unknown message[1]";
    else if (message.value(JsonKey::cmd).toString() != Command::authResp)
        failure = "[CServerHandler::textMessageReceivedSlot] State=auth: unknown message[2]";
    else if (!message.contains(JsonKey::status))
        failure = "[CServerHandler::textMessageReceivedSlot] State=auth: unknown message[3]";

    if (failure) {
        qDebug() << failure;
        noteOutcome(EOutcome::Refused, QStringLiteral("not an answer to the login"));
        emit changeServerStatus(COMM::InvalidAuth);
        return;
    }
    if (!message.value(JsonKey::status).toBool()) {
        const QString reason = message.value(JsonKey::errString).toString();
        qDebug().noquote() << QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=auth: unknown message[4], err[%1]")
                                      .arg(reason);
        noteOutcome(EOutcome::Refused, reason.isEmpty() ? QStringLiteral("no reason given") : reason);
        emit changeServerStatus(COMM::InvalidAuth);
        return;
    }

    m_reconnectTimer->stop();
    m_token = message.value(JsonKey::token).toString();
    m_state = StateVerified;
    noteOutcome(EOutcome::Accepted);
    emit changeServerStatus(COMM::Success);
}

void CServerHandler::noteOutcome(EOutcome outcome, const QString &reason)
{
    const EOutcome previous = std::exchange(m_outcome, outcome);
    if (previous == outcome || outcome == EOutcome::None)
        return;
    QString description;
    switch (outcome) {
    case EOutcome::Accepted:
        description = QStringLiteral("%1logged in to %2 as %3")
                              .arg(previous == EOutcome::None ? QString() : QStringLiteral("back, "), m_origin,
                                   m_login);
        break;
    case EOutcome::Refused:
        description = QStringLiteral("login to %1 as %2 refused: %3").arg(m_origin, m_login, reason);
        break;
    case EOutcome::NoServer:
        description = QStringLiteral("%1 does not answer as a network server: %2").arg(m_origin, reason);
        break;
    case EOutcome::Lost:
        description = QStringLiteral("link to %1 lost").arg(m_origin);
        break;
    case EOutcome::None:
        break;
    }
    CLogFile::addLog(QStringLiteral("[CServerHandler] Session: ") + description);
    emit sessionChanged(outcome == EOutcome::Accepted, description);
}

void CServerHandler::handleVerifiedMessage(const QJsonObject &message)
{
    if (!message.contains(JsonKey::cmd)) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::textMessageReceivedSlot] State=verified: unknown message[1]"));
        return;
    }
    const QString cmd = message.value(JsonKey::cmd).toString();

    if (cmd == Command::rx) {
        const API::SApiDeviceData packet(message);
        if (!packet.devEui.isEmpty())
            emit newPacketReceived(packet);
    } else if (cmd == Command::getDevicesResp) {
        if (m_currentTaskType == TaskGetDevices) {
            handleDevicesList(message);
        } else {
            CLogFile::addLog(QStringLiteral(
                    "[CServerHandler::textMessageReceivedSlot] State=verified: unsheduled packet from server"));
        }
    } else if (cmd == Command::getDataResp) {
        handleLastPackets(message);
    } else if (cmd == Command::sendDataResp && !isBridgeAnswer() && m_currentTaskType == TaskSendDownlink) {
        handleDownlinkAnswer(message);
    }
}

bool CServerHandler::isBridgeAnswer()
{
    const qint64 oldest = QDateTime::currentMSecsSinceEpoch() - SessionTimer::downlinkAnswerTimeoutMs;
    while (!m_bridgeAnswersDue.isEmpty() && m_bridgeAnswersDue.first() < oldest)
        m_bridgeAnswersDue.removeFirst();
    if (m_bridgeAnswersDue.isEmpty())
        return false;
    m_bridgeAnswersDue.removeFirst();
    return true;
}

// With one request in flight, the answer that comes is this downlink's.
void CServerHandler::handleDownlinkAnswer(const QJsonObject &message)
{
    const bool accepted = message.value(JsonKey::status).toBool();
    QString reason = message.value(JsonKey::errString).toString();
    if (!accepted && reason.isEmpty())
        reason = message.contains(JsonKey::status) ? QStringLiteral("no reason given")
                                                   : QStringLiteral("an answer without status");
    m_currentTaskType = TaskGetData;
    waitingServerResponseTimeoutSlot();
    emit downlinkStep(accepted ? DownlinkAccepted : DownlinkRefused, reason);
}

void CServerHandler::handleDevicesList(const QJsonObject &message)
{
    QList<API::SServerDeviceInfo> devices;
    const bool status = message.value(JsonKey::status).toBool();
    if (status) {
        const QJsonArray list = message.value(JsonKey::devicesList).toArray();
        for (const QJsonValue &value : list) {
            const QJsonObject element = value.toObject();
            // A device without an OTAA object has no application EUI to go by.
            if (!element.contains(JsonKey::devEui) || !element.contains(JsonKey::devName)
                || !element.contains(JsonKey::OTAA)) {
                continue;
            }
            API::SServerDeviceInfo info;
            info.devName = element.value(JsonKey::devName).toString();
            info.appEui = element.value(JsonKey::OTAA).toObject().value(JsonKey::appEui).toString();
            info.devEui = element.value(JsonKey::devEui).toString();
            if (!info.appEui.isEmpty())
                devices.append(info);
            qDebug() << "Recived from server: " << info.appEui << info.devEui << info.devName;
        }
    }

    emit getDevicesListResp(status, devices);
    m_currentTaskType = TaskGetData;
    waitingServerResponseTimeoutSlot();
}

void CServerHandler::handleLastPackets(const QJsonObject &message)
{
    // The reply does not release the queue: a get_data_req holds its place
    // until the response timer runs out.
    if (!message.value(JsonKey::status).toBool())
        return;
    const QString devEui = message.value(JsonKey::devEui).toString().toUpper();
    if (devEui.isEmpty() || !message.contains(JsonKey::dataList))
        return;

    API::SApiDeviceData packet;
    const QJsonArray list = message.value(JsonKey::dataList).toArray();
    for (const QJsonValue &value : list) {
        packet = API::SApiDeviceData(value.toObject());
        packet.devEui = devEui;
        if (packet.valid)
            break;
    }
    if (packet.valid && !packet.devEui.isEmpty())
        emit newPacketReceived(packet);
}

bool CServerHandler::getDevicesList(const QStringList &appEuis)
{
    if (appEuis.isEmpty()) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::getDevicesList] Empty input AppEUI list! Return"));
        return false;
    }
    if (m_state != StateVerified) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::getDevicesList] Invalid connection to server! Return"));
        return false;
    }
    enqueueTask(TaskGetDevices, {{JsonKey::cmd, Command::getDevicesReq}});
    return true;
}

void CServerHandler::getDeviceLastPackets(QString devEui)
{
    if (devEui.isEmpty()) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::getDeviceLastPackets] Empty input AppEUI list! Return"));
        return;
    }
    if (m_state != StateVerified) {
        CLogFile::addLog(QStringLiteral("[CServerHandler::getDeviceLastPackets] Invalid connection to server! Return"));
        return;
    }
    const QJsonObject select{{JsonKey::limit, kLastPacketsLimit},
                             {JsonKey::direction, QStringLiteral("UPLINK")}};
    enqueueTask(TaskGetData, {{JsonKey::cmd, Command::getDataReq},
                              {JsonKey::devEui, devEui.toUpper()},
                              {JsonKey::select, select}});
}

void CServerHandler::sendDeviceData(const QString &devEui, const QByteArray &data)
{
    enqueueTask(TaskSendData, downlinkRequest(devEui, true, kDownlinkPort, data));
}

void CServerHandler::setDownlinkSource(DownlinkSource source)
{
    m_downlinkSource = std::move(source);
}

void CServerHandler::downlinkWaiting()
{
    if (std::exchange(m_downlinkTurnQueued, true))
        return;
    // The message is made only when the turn comes.
    enqueueTask(TaskSendDownlink, QJsonObject());
}

bool CServerHandler::sendSourceDownlink()
{
    std::optional<API::SDownlinkFrame> frame;
    if (m_state == StateVerified && m_downlinkSource)
        frame = m_downlinkSource();
    if (!frame)
        return false;
    const QJsonObject message = downlinkRequest(frame->devEui, frame->confirmed, frame->port, frame->payload.toHex());
    const QString text = QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact));
    qDebug().noquote() << "send:" << text;
    m_socket.sendTextMessage(text);
    m_responseWaitTimer->start(SessionTimer::downlinkAnswerTimeoutMs);
    emit downlinkStep(DownlinkSent, QString());
    return true;
}

void CServerHandler::enqueueTask(ETaskType type, const QJsonObject &message)
{
    const QString text = QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact));
    {
        QMutexLocker locker(&m_queueMutex);
        m_taskQueue.append(SServerTask{type, text});
    }
    // While a request is in flight its end emits newTask itself.
    if (!m_waitingMutex.tryLock())
        return;
    m_waitingMutex.unlock();
    if (!m_dispatchMutex.tryLock())
        return;
    m_dispatchMutex.unlock();
    emit newTask();
}

void CServerHandler::newTaskSlot()
{
    QMutexLocker dispatchLocker(&m_dispatchMutex);

    if (!m_waitingMutex.tryLock()) {
        qDebug() << "[CServerHandler::newTaskSlot] Waiting mutex is locked! Return";
        return;
    }

    m_queueMutex.lock();
    if (m_taskQueue.isEmpty()) {
        m_queueMutex.unlock();
        qDebug() << "[CServerHandler::newTaskSlot] Task queue is empty";
        m_waitingMutex.unlock();
        return;
    }
    const SServerTask task = m_taskQueue.takeFirst();
    m_currentTaskType = task.type;
    m_queueMutex.unlock();

    if (task.type == TaskSendDownlink) {
        m_downlinkTurnQueued = false;
        // Nothing to send now, or no session: the source gives the turn back
        // and asks again when it has something to send.
        if (!sendSourceDownlink()) {
            m_currentTaskType = TaskGetData;
            m_waitingMutex.unlock();
            emit newTask();
        }
        return;
    }

    // m_waitingMutex stays locked until waitingServerResponseTimeoutSlot.
    if (task.type == TaskSendData)
        m_bridgeAnswersDue.append(QDateTime::currentMSecsSinceEpoch());
    qDebug().noquote() << "send:" << task.text;
    m_socket.sendTextMessage(task.text);
    m_responseWaitTimer->start(task.type == TaskSendData ? SessionTimer::sendDataPauseMs : SessionTimer::responseTimeoutMs);
}

void CServerHandler::waitingServerResponseTimeoutSlot()
{
    m_responseWaitTimer->stop();
    // Taking the flag first makes the unlock safe when no request is in flight.
    m_waitingMutex.tryLock();
    m_waitingMutex.unlock();

    const ETaskType ended = m_currentTaskType;
    if (ended == TaskGetDevices)
        emit getDevicesListResp(false, QList<API::SServerDeviceInfo>());
    m_currentTaskType = TaskGetData;
    emit newTask();
    if (ended == TaskSendDownlink)
        emit downlinkStep(DownlinkUnanswered, QString());
}

void CServerHandler::sendJson(const QJsonObject &message)
{
    m_socket.sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
}
