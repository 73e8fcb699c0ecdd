#pragma once

#include "server/apitypes.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QWebSocket>

#include <functional>
#include <optional>

class CServerLinkWatch;
class QTimer;
class QUrl;

// The one client of the LoRaWAN network server. It walks the WebSocket session
// through a liveness probe and a login, reconnects by itself after a loss,
// sends queued requests one at a time and turns pushed uplinks into
// newPacketReceived signals.
class CServerHandler : public QObject
{
    Q_OBJECT

public:
    static CServerHandler *getInstance();

    // Queues a get_devices_req. The list is only tested for emptiness: the
    // server is always asked for all of its devices.
    bool getDevicesList(const QStringList &appEuis);
    // Queues a send_data_req whatever the session state; data is the payload
    // as hexadecimal text.
    void sendDeviceData(const QString &devEui, const QByteArray &data);
    // Reports each failure of the link with its reason.
    const CServerLinkWatch *linkWatch() const;

    // What became of a downlink that a ModBus write made.
    enum EDownlinkStep {
        DownlinkSent,
        DownlinkAccepted,
        DownlinkRefused,        // with the server's reason
        DownlinkUnanswered,     // no answer in time: it may or may not go out
    };
    Q_ENUM(EDownlinkStep)

    // Where the downlinks of ModBus writes wait. It is asked for the next one
    // only when that one can go out on a logged-in session, so that a newer
    // write still replaces one that has not been sent.
    using DownlinkSource = std::function<std::optional<API::SDownlinkFrame>()>;
    void setDownlinkSource(DownlinkSource source);
    // Gives the source a turn in the queue, unless it has one already.
    void downlinkWaiting();
    bool isLoggedIn() const { return m_state == StateVerified; }

signals:
    void newTask();
    void changeServerStatus(COMM::EServerStatus _status);
    void getDevicesListResp(bool status,
                            QList<API::SServerDeviceInfo> _regInfoList = QList<API::SServerDeviceInfo>());
    void newPacketReceived(API::SApiDeviceData _devData);
    // Each change of the session that the operator's log tells, in its words.
    void sessionChanged(bool loggedIn, QString description);
    // One step of the downlink that the source gave last.
    void downlinkStep(CServerHandler::EDownlinkStep step, QString reason);

public slots:
    void socketConnectedSlot();
    void socketDisconnectedSlot();
    void textMessageReceivedSlot(QString msg);
    void timeoutSlot();
    void waitingServerResponseTimeoutSlot();
    void newTaskSlot();
    void reconnectLastAuthData();
    void connectSlot(QString _origin, QString _login, QString _password);
    void getDeviceLastPackets(QString devEui);

private:
    enum ESessionState {
        StateIdle = 0,
        StatePing = 1,
        StateAuth = 2,
        StateVerified = 3,
    };

    enum ETaskType {
        TaskGetData = 0,
        TaskGetDevices = 1,
        TaskSendData = 2,
        TaskSendDownlink = 3,   // a turn of the downlink source
    };

    // What the operator's log last said of the session; each change is said once.
    enum class EOutcome {
        None,
        Accepted,
        Refused,
        NoServer,
        Lost,
    };

    struct SServerTask
    {
        ETaskType type;
        QString text;
    };

    CServerHandler();

    void handleAuthReply(const QJsonObject &message);
    void handleVerifiedMessage(const QJsonObject &message);
    void handleDevicesList(const QJsonObject &message);
    void handleLastPackets(const QJsonObject &message);
    void handleDownlinkAnswer(const QJsonObject &message);
    bool isBridgeAnswer();
    // Sends the source's next downlink; false when there is none to send now.
    bool sendSourceDownlink();
    void closeSocket();
    bool openStoredOrigin(const QString &origin);
    void openSocket(const QUrl &url);
    void sendJson(const QJsonObject &message);
    void enqueueTask(ETaskType type, const QJsonObject &message);
    void noteOutcome(EOutcome outcome, const QString &reason = QString());

    ESessionState m_state = StateIdle;
    bool m_linkOpen = false;    // from connected to disconnected
    EOutcome m_outcome = EOutcome::None;
    ETaskType m_currentTaskType = TaskGetData;
    QList<SServerTask> m_taskQueue;
    QMutex m_queueMutex;
    QMutex m_dispatchMutex;
    // Held from the sending of a request until its reply or time-out, across
    // turns of the event loop: a busy flag tested only with tryLock.
    QMutex m_waitingMutex;
    QTimer *m_responseWaitTimer = nullptr;
    QWebSocket m_socket;
    QString m_login;
    QString m_password;
    QString m_token;
    QString m_origin;
    QTimer *m_handshakeTimer = nullptr;
    QTimer *m_reconnectTimer = nullptr;
    CServerLinkWatch *m_linkWatch = nullptr;
    DownlinkSource m_downlinkSource;
    bool m_downlinkTurnQueued = false;
    // When the TCP bridge's downlinks went, each until its answer comes or
    // the answer bound has passed: answers come in the order of the requests,
    // and a late one must not be taken for a ModBus write's.
    QList<qint64> m_bridgeAnswersDue;
};
