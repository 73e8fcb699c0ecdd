// Server messages as the WebSocket delivers them: the record of one uplink
// parsed from any text, and the session's handling of a run of messages in
// each state that it reaches without a socket.
//
// Input: the first byte chooses the state the session starts from (its value
// modulo the number of states, in the order of EStart), the rest is a list
// of text messages separated by line feeds.

#include "fuzzsupport.h"
#include "server/apitypes.h"
#include "server/cserverhandler.h"

#include <QByteArrayList>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cstdint>
#include <cstdlib>

namespace {

enum EStart {
    StartIdle,
    StartPing,
    StartAuth,
    StartVerified,
    StartAwaitingDevices,
    StartCount,
};

const QString kProbeAnswer = QStringLiteral(R"({"err_string":"UNKNOWN_MESSAGE"})");
const QString kLoginAccepted = QStringLiteral(R"({"cmd":"auth_resp","status":true,"token":"t"})");

// A refused object gives an empty device EUI, which is what every user of the
// record tests.
void checkRecord(const QJsonObject &object)
{
    const API::SApiDeviceData record(object);
    if (!record.valid && !record.devEui.isEmpty())
        std::abort();
}

void parseRecords(const QByteArray &message)
{
    const QJsonDocument document = QJsonDocument::fromJson(message);
    if (!document.isObject())
        return;
    const QJsonObject object = document.object();
    checkRecord(object);
    const QJsonArray list = object.value(QStringLiteral("data_list")).toArray();
    for (const QJsonValue &element : list)
        checkRecord(element.toObject());
}

// Walks the session from a lost connection to the chosen state, through its
// own slots: the probe and the login go to a socket that was never opened,
// which drops them.
void reachState(CServerHandler *session, int start)
{
    // Ends whatever request an earlier input left in flight.
    session->waitingServerResponseTimeoutSlot();
    FuzzSupport::deliverPosted();
    session->socketDisconnectedSlot();
    if (start == StartIdle)
        return;
    session->socketConnectedSlot();
    if (start == StartPing)
        return;
    session->textMessageReceivedSlot(kProbeAnswer);
    if (start == StartAuth)
        return;
    session->textMessageReceivedSlot(kLoginAccepted);
    if (start == StartAwaitingDevices) {
        session->getDevicesList({QStringLiteral("F1A7C0DE00000101")});
        FuzzSupport::deliverPosted();
    }
}

// The session's timers belong to real time, not to the input: none may fire
// into the next one.
void stopTimers(CServerHandler *session)
{
    const QList<QTimer *> timers = session->findChildren<QTimer *>();
    for (QTimer *timer : timers)
        timer->stop();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::start();
    registerApiMetaTypes();
    CServerHandler::getInstance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray messages = QByteArray(reinterpret_cast<const char *>(data) + 1, int(size - 1));
    CServerHandler *session = CServerHandler::getInstance();

    reachState(session, data[0] % StartCount);
    const QByteArrayList texts = messages.split('\n');
    for (const QByteArray &text : texts) {
        parseRecords(text);
        session->textMessageReceivedSlot(QString::fromUtf8(text));
    }
    FuzzSupport::deliverPosted();
    stopTimers(session);
    return 0;
}
