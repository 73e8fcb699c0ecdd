#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test,
# and builds and checks the Debian package.
set -euo pipefail
cd "$(dirname "$0")"

. scripts/packages.sh
install_missing_packages "${QUILLBAR_PACKAGING_PACKAGES[@]}"

build_dir=build
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Debug
cmake --build "$build_dir" --parallel "$(nproc)"

./packaging/check-package.sh

cd "$build_dir"
ctest --output-on-failure --parallel "$(nproc)"
