// The load client of the peer comparison, built on libmodbus's own client, and
// libmodbus's in-memory server as the speed reference.
//
//   bench_modbusload client PORT CLIENTS SECONDS   prints the requests per second
//   bench_modbusload serve PORT                    serves until it is stopped
#include "libmodbusserver.h"

#include <modbus.h>

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr int kRegisters = 16;
constexpr int kMapSize = 1024;

std::atomic<bool> stopRequested{false};

// Each client reads 16 registers from address 0, one request at a time, until
// the time is up; a failed read counts as a failure of the whole run.
int runClients(int port, int clients, double seconds)
{
    std::atomic<long> requests{0};
    std::atomic<int> failures{0};
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    std::vector<std::thread> threads;
    const auto start = std::chrono::steady_clock::now();
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&] {
            modbus_t *context = modbus_new_tcp("127.0.0.1", port);
            if (!context || modbus_connect(context) != 0) {
                ++failures;
                if (context)
                    modbus_free(context);
                return;
            }
            modbus_set_response_timeout(context, 5, 0);
            uint16_t words[kRegisters];
            long done = 0;
            while (std::chrono::steady_clock::now() < end) {
                if (modbus_read_registers(context, 0, kRegisters, words) != kRegisters) {
                    ++failures;
                    break;
                }
                ++done;
            }
            requests += done;
            modbus_close(context);
            modbus_free(context);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failures != 0) {
        std::fprintf(stderr, "%d client(s) failed\n", failures.load());
        return EXIT_FAILURE;
    }
    std::printf("%.0f\n", requests / elapsed);
    return EXIT_SUCCESS;
}

// The reference server in a process of its own, until SIGTERM or SIGINT.
int serve(int port)
{
    std::signal(SIGTERM, [](int) { stopRequested = true; });
    std::signal(SIGINT, [](int) { stopRequested = true; });
    CLibModbusServer server(kMapSize);
    if (!server.listen(port))
        return EXIT_FAILURE;
    server.serve(stopRequested);
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 5 && std::strcmp(argv[1], "client") == 0)
        return runClients(std::atoi(argv[2]), std::atoi(argv[3]), std::atof(argv[4]));
    if (argc == 3 && std::strcmp(argv[1], "serve") == 0)
        return serve(std::atoi(argv[2]));
    std::fprintf(stderr, "usage: %s client PORT CLIENTS SECONDS | serve PORT\n", argv[0]);
    return EXIT_FAILURE;
}
