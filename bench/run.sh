#!/usr/bin/env bash
# Builds the program and the benchmarks in release mode and runs them. What the
# comparison needs is installed here if missing, never by the tests: libmodbus
# (load client and reference server), pymodbus (Debian's package) and jsmodbus 4
# (from npm, into the build folder).
set -euo pipefail
cd "$(dirname "$0")/.."

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
missing=()
for package in libmodbus-dev python3-pymodbus; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
# Any node.js with its npm will do, Debian's or another.
command -v node >/dev/null && command -v npm >/dev/null || missing+=(nodejs npm)
if [ ${#missing[@]} -gt 0 ]; then
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi

build_dir=build-bench
node_dir="$build_dir/node"
if [ ! -d "$node_dir/node_modules/jsmodbus" ]; then
    mkdir -p "$node_dir"
    npm install --silent --no-audit --no-fund --prefix "$node_dir" jsmodbus@4
fi

cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build_dir" --parallel "${BENCH_JOBS:-2}" --target quillbar benchmarks >/dev/null

echo "Machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs), $(nproc) cores," \
     "load $(cut -d' ' -f1-3 /proc/loadavg); build type Release"
echo "== peer table and start-up"
/usr/bin/python3 bench/peertable.py "$build_dir" "$(realpath "$node_dir")/node_modules" \
    "${BENCH_ROUNDS:-5}" "${BENCH_SECONDS:-1.5}"
for bench in "$build_dir"/bench/bench_*; do
    [ -f "$bench" ] && [ -x "$bench" ] || continue
    [ "$(basename "$bench")" = bench_modbusload ] && continue
    echo "== $(basename "$bench")"
    "$bench" "$@" | grep -E 'QINFO|RESULT|FAIL|SKIP|^ +[0-9]'
done
# The store on a slow disk: every sync 10 ms longer.
echo "== bench_uplinks, each sync 10 ms slower"
LD_PRELOAD="$(realpath "$build_dir/bench/libslowsync.so")" SLOWSYNC_MS=10 "$build_dir/bench/bench_uplinks" \
    pushedUntilReadable readLatencyWhileUplinksArrive | grep -E 'QINFO|FAIL'
echo "== done in ${SECONDS} s"
