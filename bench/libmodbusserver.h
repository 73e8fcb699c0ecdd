#pragma once

#include <modbus.h>

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

// The speed reference of the ModBus benchmarks: libmodbus serving reads from
// an in-memory map in which register i holds i, with select() over the
// listening socket and every connection, one reply per request.
class CLibModbusServer
{
public:
    explicit CLibModbusServer(int registers)
        : m_map(modbus_mapping_new(0, 0, registers, registers))
    {
        for (int i = 0; i < registers; ++i)
            m_map->tab_registers[i] = m_map->tab_input_registers[i] = uint16_t(i);
    }

    ~CLibModbusServer()
    {
        if (m_listener >= 0)
            ::close(m_listener);
        if (m_context)
            modbus_free(m_context);
        modbus_mapping_free(m_map);
    }

    CLibModbusServer(const CLibModbusServer &) = delete;
    CLibModbusServer &operator=(const CLibModbusServer &) = delete;

    bool listen(int port)
    {
        m_context = modbus_new_tcp("127.0.0.1", port);
        m_listener = m_context ? modbus_tcp_listen(m_context, 64) : -1;
        return m_listener >= 0;
    }

    // Runs until stop is set; call it after listen succeeded.
    void serve(const std::atomic<bool> &stop)
    {
        fd_set sockets;
        FD_ZERO(&sockets);
        FD_SET(m_listener, &sockets);
        int highest = m_listener;
        unsigned char query[MODBUS_TCP_MAX_ADU_LENGTH];
        while (!stop) {
            fd_set ready = sockets;
            timeval timeout{0, 100000};
            if (::select(highest + 1, &ready, nullptr, nullptr, &timeout) <= 0)
                continue;
            for (int fd = 0; fd <= highest; ++fd) {
                if (!FD_ISSET(fd, &ready))
                    continue;
                if (fd == m_listener) {
                    const int client = ::accept(m_listener, nullptr, nullptr);
                    if (client >= 0 && client < FD_SETSIZE) {
                        FD_SET(client, &sockets);
                        highest = std::max(highest, client);
                    }
                    continue;
                }
                modbus_set_socket(m_context, fd);
                const int size = modbus_receive(m_context, query);
                if (size > 0) {
                    modbus_reply(m_context, query, size, m_map);
                } else if (size == -1) {
                    ::close(fd);
                    FD_CLR(fd, &sockets);
                }
            }
        }
    }

private:
    modbus_mapping_t *m_map = nullptr;
    modbus_t *m_context = nullptr;
    int m_listener = -1;
};
