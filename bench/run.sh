#!/usr/bin/env bash
# Builds the benchmarks in release mode and runs them. libmodbus, the reference
# for the ModBus reads, is installed here if missing: the tests never need it.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! dpkg-query -W -f='${Status}' libmodbus-dev 2>/dev/null | grep -q "install ok installed"; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq libmodbus-dev
fi

build_dir=build-bench
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build_dir" --parallel "${BENCH_JOBS:-2}" --target benchmarks

echo "Machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs), $(nproc) cores; build type Release"
for bench in "$build_dir"/bench/bench_*; do
    [ -f "$bench" ] && [ -x "$bench" ] || continue
    echo "== $(basename "$bench")"
    "$bench" "$@" | grep -E 'QINFO|RESULT|FAIL|SKIP|^ +[0-9]'
done
