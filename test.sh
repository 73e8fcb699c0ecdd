#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test,
# builds and checks the Debian package, and runs the fuzz targets for a while.
set -euo pipefail
cd "$(dirname "$0")"

. scripts/packages.sh
install_missing_packages "${QUILLBAR_PACKAGING_PACKAGES[@]}" "${QUILLBAR_FUZZ_PACKAGES[@]}"

build_dir=build
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Debug
cmake --build "$build_dir" --parallel "$(nproc)"

./packaging/check-package.sh

# The fuzz targets, built with clang and its sanitizers in a folder of their
# own, each run for a bounded time.
if command -v clang++ >/dev/null; then
    CC=clang CXX=clang++ cmake -S . -B build-fuzz -DQUILLBAR_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cmake --build build-fuzz --parallel "$(nproc)"
    fuzz/run.sh build-fuzz 30
else
    echo "clang++ is missing: the fuzz targets are skipped"
fi

# Last, so that its summary closes the output.
cd "$build_dir"
ctest --output-on-failure --parallel "$(nproc)"
