#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "database/storeschema.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr quint32 kPort = 5020;
constexpr int kRegisters = 16;
constexpr int kBatch = 1000;
constexpr int kRequestSize = 12;
constexpr int kAnswerSize = 9 + 2 * kRegisters;

const QByteArray kRequest = QByteArray::fromHex("00c900000006ff0300000010");

QByteArray answerBytes()
{
    QByteArray answer = QByteArray::fromHex("00c900000023ff0320");
    for (int word = 0; word < kRegisters; ++word)
        answer += QByteArray::fromHex(QByteArray::number(word, 16).rightJustified(4, '0'));
    return answer;
}

// A line as the log file has it, of its real length, without its line feed.
QByteArray logLine(const char *kind, const QByteArray &frame)
{
    return QByteArray("[24-Nov-26 00:35:47.346]INFO: [CConnectionHandler] ") + kind + ": < " + frame.toHex() + " >";
}

bool put(int fd, const QByteArray &bytes)
{
    return ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
}
} // namespace

// The least a ModBus read can cost here: the system calls and the SQL that the
// program must make for every request, in a bare loop with nothing around
// them. The request is read as the program's socket reads it (size, then
// bytes); the SELECT is stepped through all its rows on the same kind of file,
// taking and dropping the file's lock as an autocommitted read does; the three
// debug lines go to /dev/null one write each, as the program's do when its
// stream is sent there; the two log lines go to a file in one flushed write;
// the answer is sent. Set beside the peer table's CPU time per request.
class BenchRequestFloor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void floor_data();
    void floor();

private:
    bool connectPair();
    void refill();
    void select();
    void writeLines();
    void exchange();

    const QByteArray m_answer = answerBytes();
    const QByteArray m_requests = kRequest.repeated(kBatch);
    const QByteArray m_requestDebug = "REQ: " + kRequest.toHex() + '\n';
    const QByteArray m_requestLine = logLine("REQ", kRequest);
    const QByteArray m_answerLine = logLine("ANS", answerBytes());
    const QByteArray m_logLines = '\n' + m_requestLine + '\n' + m_answerLine;
    QByteArray m_answers = QByteArray(kBatch * kAnswerSize, '\0');
    QTemporaryDir m_dir;
    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_select = nullptr;
    int m_client = -1;
    int m_server = -1;
    int m_null = -1;
    int m_log = -1;
    int m_pending = 0;
    int m_answered = 0;
    int m_rows = 0;
    bool m_failed = false;
};

void BenchRequestFloor::initTestCase()
{
    QVERIFY(QDir::setCurrent(m_dir.path()));
    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    QVERIFY(store);
    DB::SDeviceRegMapDescription device{QStringLiteral("floor"), QStringLiteral("APP1"),
                                        QStringLiteral("70B3D50000000001"), 0, {}, kPort};
    for (int offset = 0; offset < kRegisters; ++offset)
        device.regs.append({QStringLiteral("r%1").arg(offset), 1, quint32(offset), 16, DataType::integer, 0.0, 1.0,
                            QString()});
    QVERIFY(store->registerNewDevice(device, ProtocolOption::ModBus));

    QCOMPARE(sqlite3_open_v2(FileName::database.toUtf8().constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr),
             SQLITE_OK);
    QCOMPARE(sqlite3_exec(m_db, "UPDATE dev_data SET full_value=printf('%04x', reg_addr);", nullptr, nullptr,
                          nullptr),
             SQLITE_OK);
    const QByteArray sql = QStringLiteral("SELECT * FROM dev_data WHERE port=%1 AND reg_addr BETWEEN 0 AND %2;")
                                   .arg(kPort)
                                   .arg(kRegisters - 1)
                                   .toUtf8();
    QCOMPARE(sqlite3_prepare_v2(m_db, sql.constData(), int(sql.size()), &m_select, nullptr), SQLITE_OK);

    m_null = ::open("/dev/null", O_WRONLY);
    m_log = ::open("floor.log", O_WRONLY | O_CREAT | O_APPEND, 0644);
    QVERIFY(m_null >= 0 && m_log >= 0);
    QVERIFY(connectPair());
}

void BenchRequestFloor::cleanupTestCase()
{
    sqlite3_finalize(m_select);
    sqlite3_close(m_db);
    for (int fd : {m_client, m_server, m_null, m_log})
        if (fd >= 0)
            ::close(fd);
}

bool BenchRequestFloor::connectPair()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (::bind(listener, reinterpret_cast<sockaddr *>(&address), length) != 0 || ::listen(listener, 1) != 0
        || ::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        ::close(listener);
        return false;
    }
    m_client = ::socket(AF_INET, SOCK_STREAM, 0);
    const bool connected = ::connect(m_client, reinterpret_cast<sockaddr *>(&address), length) == 0;
    m_server = connected ? ::accept(listener, nullptr, nullptr) : -1;
    ::close(listener);
    // The answers wait unread for a thousand requests here, which a client
    // never lets happen: without this, Nagle would hold them back.
    const int on = 1;
    ::setsockopt(m_server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    return m_server >= 0;
}

// The client's side, a thousand requests at a time, so that its system calls
// hardly count: it takes back the answers so far and sends the next requests.
void BenchRequestFloor::refill()
{
    const qsizetype expected = qsizetype(m_answered) * kAnswerSize;
    for (qsizetype taken = 0; taken < expected;) {
        const ssize_t n = ::recv(m_client, m_answers.data() + taken, size_t(expected - taken), 0);
        if (n <= 0) {
            m_failed = true;
            break;
        }
        taken += n;
    }
    m_failed |= !put(m_client, m_requests);
    m_pending = kBatch;
    m_answered = 0;
}

void BenchRequestFloor::select()
{
    m_rows = 0;
    while (sqlite3_step(m_select) == SQLITE_ROW)
        ++m_rows;
    sqlite3_reset(m_select);
}

// Each debug line is one write of its own, as the message handler makes it.
void BenchRequestFloor::writeLines()
{
    m_failed |= !put(m_null, m_requestDebug);
    m_failed |= !put(m_null, m_requestLine + '\n');
    m_failed |= !put(m_null, m_answerLine + '\n');
    m_failed |= !put(m_log, m_logLines);
}

void BenchRequestFloor::exchange()
{
    if (m_pending == 0)
        refill();
    int available = 0;
    char request[kRequestSize];
    m_failed |= ::ioctl(m_server, FIONREAD, &available) != 0 || available < kRequestSize
            || ::read(m_server, request, sizeof(request)) != kRequestSize
            || ::send(m_server, m_answer.constData(), size_t(m_answer.size()), MSG_DONTWAIT | MSG_NOSIGNAL)
                    != kAnswerSize;
    --m_pending;
    ++m_answered;
}

void BenchRequestFloor::floor_data()
{
    QTest::addColumn<bool>("query");
    QTest::addColumn<bool>("lines");
    QTest::addColumn<bool>("socket");
    QTest::addColumn<bool>("lockHeld");
    QTest::newRow("the whole floor") << true << true << true << false;
    QTest::newRow("SELECT alone") << true << false << false << false;
    QTest::newRow("log and debug lines alone") << false << true << false << false;
    QTest::newRow("socket alone") << false << false << true << false;
    // Not allowed to the program, which must leave the file free between
    // requests: what the lock taken and dropped by each read costs.
    QTest::newRow("SELECT with the file's lock held throughout") << true << false << false << true;
}

void BenchRequestFloor::floor()
{
    QFETCH(bool, query);
    QFETCH(bool, lines);
    QFETCH(bool, socket);
    QFETCH(bool, lockHeld);
    if (lockHeld)
        QCOMPARE(sqlite3_exec(m_db, "BEGIN; SELECT count(*) FROM dev_data;", nullptr, nullptr, nullptr), SQLITE_OK);
    QBENCHMARK {
        if (socket)
            exchange();
        if (query)
            select();
        if (lines)
            writeLines();
    }
    if (lockHeld)
        QCOMPARE(sqlite3_exec(m_db, StoreSchema::kCommitSql, nullptr, nullptr, nullptr), SQLITE_OK);
    QVERIFY(!m_failed);
    if (query)
        QCOMPARE(m_rows, kRegisters);
}

// The median of nine runs unless the command line asks for something else.
int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    BenchRequestFloor bench;
    QStringList arguments = QCoreApplication::arguments();
    if (!arguments.contains(QStringLiteral("-median")))
        arguments << QStringLiteral("-median") << QStringLiteral("9");
    return QTest::qExec(&bench, arguments);
}
#include "bench_requestfloor.moc"
