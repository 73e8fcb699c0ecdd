#!/usr/bin/python3
"""ModBus reads of Quillbar beside the servers plant engineers would otherwise run,
and Quillbar's start-up with many stored devices.

Quillbar is the built program itself, started offscreen in a working folder whose
"server.db" holds the devices: every request runs its SELECT, writes its two log
lines and its debug lines (to /dev/null), as in a plant. The peers keep their
registers in memory and log nothing: pymodbus (asyncio), jsmodbus 4 (Node.js) and
libmodbus's own server, the speed reference. One libmodbus client program makes
the load. Rounds are interleaved, in a rotating order, so that noise of the
machine hits every server alike; the medians are printed.

Usage: peertable.py BUILD_DIR NODE_PATH [ROUNDS] [SECONDS]
"""
import os
import shutil
import socket
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

BENCH_DIR = os.path.dirname(os.path.abspath(__file__))
REGISTERS = 16
CLIENT_COUNTS = (1, 8)
DEVICES_A_PORT = 10

def free_ports(count):
    sockets = []
    for _ in range(count):
        s = socket.socket()
        s.bind(("127.0.0.1", 0))
        sockets.append(s)
    ports = [s.getsockname()[1] for s in sockets]
    for s in sockets:
        s.close()
    return ports


def accepts(port):
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=0.2):
            return True
    except OSError:
        return False


def wait_for_ports(ports, process, limit=60.0):
    deadline = time.monotonic() + limit
    pending = list(ports)
    while pending:
        if process.poll() is not None or time.monotonic() > deadline:
            return False
        if accepts(pending[0]):
            pending.pop(0)
        else:
            time.sleep(0.005)
    return True


def make_schema(build_dir, folder, limit=30.0):
    """Lets the program make its tables and indexes (the last index ends its start) in
    an empty folder, so that the bench fills the very schema it reads from."""
    process = start_quillbar(build_dir, folder)
    try:
        deadline = time.monotonic() + limit
        while time.monotonic() < deadline and process.poll() is None:
            if os.path.exists(os.path.join(folder, "server.db")):
                db = sqlite3.connect(os.path.join(folder, "server.db"), timeout=5)
                try:
                    made = db.execute("SELECT count(*) FROM sqlite_master WHERE type IN ('table', 'index') "
                                      "AND name IN ('devices', 'devicesTCP', 'dev_data', 'idx_port_regaddr')"
                                      ).fetchone()[0]
                except sqlite3.Error:
                    made = 0
                db.close()
                if made == 4:
                    return
            time.sleep(0.05)
        raise RuntimeError("the program made no register file in %s" % folder)
    finally:
        stop(process)


def seed_store(build_dir, folder, ports, devices):
    """Devices with 16 registers each, DEVICES_A_PORT on a port, every register holding a value."""
    make_schema(build_dir, folder)
    db = sqlite3.connect(os.path.join(folder, "server.db"))
    for i in range(devices):
        eui = "70B3D5%010X" % i
        port = ports[i // DEVICES_A_PORT]
        start = (i % DEVICES_A_PORT) * REGISTERS
        cursor = db.execute("INSERT INTO devices (name, app_eui, dev_eui, port, start_addr) VALUES (?, ?, ?, ?, ?)",
                            (eui, "F1A7C0DE00000101", eui, port, start))
        device = cursor.lastrowid
        db.executemany("INSERT INTO dev_data (device, port, reg_addr, start_value, grating_period, bit_size, "
                       "data_type, value, full_value, time, name, unit, parent, source) "
                       "VALUES (?, ?, ?, 0.0, 1.0, 16, 'uinteger', ?, ?, 0, ?, '', 1, 1)",
                       [(device, port, start + r, "%04x" % r, "%04x" % r, "r%d" % r) for r in range(REGISTERS)])
    db.commit()
    db.close()


def start_quillbar(build_dir, folder):
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen", LC_ALL="C")
    env.pop("TZ", None)
    return subprocess.Popen([os.path.join(build_dir, "quillbar")], cwd=folder, env=env,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def stop(process):
    process.terminate()
    try:
        process.wait(5)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def peak_rss_mib(pid):
    with open("/proc/%d/status" % pid) as status:
        for line in status:
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) / 1024.0
    return float("nan")


def cpu_seconds(pid):
    """User plus system time of a whole process so far."""
    with open("/proc/%d/stat" % pid) as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def load(build_dir, port, clients, seconds):
    result = subprocess.run([os.path.join(build_dir, "bench", "bench_modbusload"), "client", str(port),
                             str(clients), str(seconds)], capture_output=True, text=True, timeout=seconds + 60)
    if result.returncode != 0:
        raise RuntimeError("load on port %d failed: %s" % (port, result.stderr.strip()))
    return float(result.stdout)


def peer_table(build_dir, node_path, rounds, seconds):
    folder = tempfile.mkdtemp(prefix="quillbar-peers-")
    ports = dict(zip(("Quillbar", "libmodbus", "pymodbus", "jsmodbus"), free_ports(4)))
    seed_store(build_dir, folder, [ports["Quillbar"]], 1)
    servers = {
        "Quillbar": start_quillbar(build_dir, folder),
        "libmodbus": subprocess.Popen([os.path.join(build_dir, "bench", "bench_modbusload"), "serve",
                                       str(ports["libmodbus"])]),
        "pymodbus": subprocess.Popen(["/usr/bin/python3", os.path.join(BENCH_DIR, "pymodbus_server.py"),
                                      str(ports["pymodbus"])], stderr=subprocess.DEVNULL),
        "jsmodbus": subprocess.Popen(["node", os.path.join(BENCH_DIR, "jsmodbus_server.js"), str(ports["jsmodbus"])],
                                     env=dict(os.environ, NODE_PATH=node_path)),
    }
    try:
        for name, process in servers.items():
            if not wait_for_ports([ports[name]], process):
                raise RuntimeError("%s did not start" % name)
        names = list(servers)
        rates = {(name, clients): [] for name in names for clients in CLIENT_COUNTS}
        costs = {key: [] for key in rates}
        for round_number in range(rounds):
            order = names[round_number % len(names):] + names[:round_number % len(names)]
            for clients in CLIENT_COUNTS:
                for name in order:
                    before = cpu_seconds(servers[name].pid)
                    rate = load(build_dir, ports[name], clients, seconds)
                    rates[(name, clients)].append(rate)
                    costs[(name, clients)].append((cpu_seconds(servers[name].pid) - before) / (rate * seconds) * 1e6)
    finally:
        for process in servers.values():
            stop(process)
        shutil.rmtree(folder, ignore_errors=True)

    median = {key: statistics.median(values) for key, values in rates.items()}
    print("ModBus reads of 16 registers over loopback, requests/s, median of %d interleaved rounds of %.1f s"
          % (rounds, seconds))
    print("| Clients | Quillbar | libmodbus | pymodbus | jsmodbus | Quillbar ÷ pymodbus | Quillbar ÷ jsmodbus "
          "| Quillbar ÷ libmodbus |")
    print("|---|---|---|---|---|---|---|---|")
    for clients in CLIENT_COUNTS:
        q = median[("Quillbar", clients)]
        print("| %d | %.0f | %.0f | %.0f | %.0f | %.2f | %.2f | %.2f |" % (
            clients, q, median[("libmodbus", clients)], median[("pymodbus", clients)],
            median[("jsmodbus", clients)], q / median[("pymodbus", clients)],
            q / median[("jsmodbus", clients)], q / median[("libmodbus", clients)]))
    # What a request costs the server, whichever core it ran on: the figure to
    # set beside bench_requestfloor's least cost of the work every request does.
    print("Server CPU time (user + system) per request, µs, median")
    print("| Clients | Quillbar | libmodbus | pymodbus | jsmodbus |")
    print("|---|---|---|---|---|")
    for clients in CLIENT_COUNTS:
        print("| %d | %s |" % (clients, " | ".join("%.1f" % statistics.median(costs[(name, clients)])
                                                   for name in names)))
    for clients in CLIENT_COUNTS:
        print("rounds, %d client(s): %s" % (clients, "; ".join(
            "%s %s" % (name, " ".join("%.0f" % r for r in rates[(name, clients)])) for name in names)))


def startup(build_dir):
    print("Start-up of the program with stored devices (%d a port, %d registers each)" % (DEVICES_A_PORT, REGISTERS))
    print("| Devices | Ports | Until every port listens | Peak RSS (VmHWM) |")
    print("|---|---|---|---|")
    for devices in (10, 100, 1000):
        folder = tempfile.mkdtemp(prefix="quillbar-start-")
        ports = free_ports(devices // DEVICES_A_PORT)
        seed_store(build_dir, folder, ports, devices)
        began = time.monotonic()
        process = start_quillbar(build_dir, folder)
        try:
            if not wait_for_ports(ports, process):
                raise RuntimeError("the program did not open its %d ports" % len(ports))
            elapsed = time.monotonic() - began
            time.sleep(0.5)
            rss = peak_rss_mib(process.pid)
        finally:
            stop(process)
            shutil.rmtree(folder, ignore_errors=True)
        print("| %d | %d | %.0f ms | %.1f MiB |" % (devices, len(ports), elapsed * 1000, rss))


def main():
    build_dir, node_path = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    seconds = float(sys.argv[4]) if len(sys.argv) > 4 else 1.5
    peer_table(build_dir, node_path, rounds, seconds)
    print()
    startup(build_dir)


if __name__ == "__main__":
    main()
