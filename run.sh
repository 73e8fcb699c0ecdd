#!/usr/bin/env bash
# Installs what is missing, builds a release, prepares the working folder and
# starts the program there.
set -euo pipefail
cd "$(dirname "$0")"
root=$(pwd)

. scripts/packages.sh
install_missing_packages

build_dir=build-release
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build_dir" --parallel "$(nproc)" --target quillbar

work_dir="$root/workdir"
mkdir -p "$work_dir"
if [ -d resources/deviceFolder ] && [ ! -d "$work_dir/deviceFolder" ]; then
    cp -r resources/deviceFolder "$work_dir/deviceFolder"
fi

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    export QT_QPA_PLATFORM=offscreen
    echo "No display found: running headless (QT_QPA_PLATFORM=offscreen); the bridge serves as usual."
fi

cd "$work_dir"
exec "$root/$build_dir/quillbar"
