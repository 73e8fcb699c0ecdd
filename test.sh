#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test.
set -euo pipefail
cd "$(dirname "$0")"

. scripts/packages.sh
install_missing_packages

build_dir=build
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Debug
cmake --build "$build_dir" --parallel "$(nproc)"
cd "$build_dir"
ctest --output-on-failure --parallel "$(nproc)"
