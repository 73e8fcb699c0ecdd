#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a bounded time, each on a
# temporary copy of its seed corpus so that the tree stays clean. Fails when
# any target meets a crash, a time-out or a sanitizer report, and keeps what
# it found in <build>/fuzz-findings/ to reproduce with the target.
# Usage: fuzz/run.sh <fuzz build folder> [seconds per target]
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=$(realpath "$1")
seconds=${2:-30}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

stat() {
    grep -oP "stat::$1:\s*\K[0-9]+" "$2" || echo "?"
}

failed=()
for fuzzer in "$build_dir"/fuzz/fuzz_*; do
    [ -f "$fuzzer" ] && [ -x "$fuzzer" ] || continue
    name=$(basename "$fuzzer")
    mkdir -p "$work/$name/corpus" "$work/$name/findings"
    if [ -d "fuzz/corpus/$name" ]; then
        cp -r "fuzz/corpus/$name/." "$work/$name/corpus/"
    fi
    log="$work/$name/log"
    # Paths are absolute: the targets work in a temporary folder of their own.
    if "$fuzzer" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
            -artifact_prefix="$work/$name/findings/" "$work/$name/corpus" >"$log" 2>&1; then
        echo "$name: $(stat number_of_executed_units "$log") runs," \
             "$(stat average_exec_per_sec "$log") per second, nothing found"
    else
        failed+=("$name")
        mkdir -p "$build_dir/fuzz-findings/$name"
        cp -r "$work/$name/findings/." "$build_dir/fuzz-findings/$name/"
        echo "$name: FAILED; reproduce with $fuzzer <file of $build_dir/fuzz-findings/$name>"
        tail -n 80 "$log"
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "Fuzz targets with findings: ${failed[*]}"
    exit 1
fi
