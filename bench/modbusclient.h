#pragma once

#include <QtGlobal>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

// A blocking ModBus-TCP client on a bare socket, so that what a benchmark
// measures is the server's work and not a client library's.
namespace ModbusClient {

// A connected socket on 127.0.0.1, or -1.
inline int connectTo(quint16 port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// One read of `registers` holding registers from address 0, unit 1; false
// unless the whole answer came back for this transaction.
inline bool readOnce(int fd, int transaction, quint8 registers)
{
    const unsigned char request[12] = {quint8(transaction >> 8), quint8(transaction), 0, 0, 0, 6, 1, 3, 0, 0, 0,
                                       registers};
    if (::send(fd, request, sizeof(request), 0) != sizeof(request))
        return false;
    const int answerSize = 9 + 2 * registers;
    unsigned char answer[9 + 2 * 255];
    for (int received = 0; received < answerSize;) {
        const ssize_t n = ::recv(fd, answer + received, size_t(answerSize - received), 0);
        if (n <= 0)
            return false;
        received += int(n);
    }
    return answer[0] == request[0] && answer[1] == request[1] && answer[8] == 2 * registers;
}

} // namespace ModbusClient
