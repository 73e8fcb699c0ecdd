#!/usr/bin/env bash
# Takes pictures of the main window and the device forms under a virtual X
# display, with three devices and live registers on an in-process server.
# Run by hand: tools/screenshots.sh [output folder, default /tmp/quillbar-screenshots]
set -euo pipefail
cd "$(dirname "$0")/.."

needed=()
for package in xvfb xauth; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || needed+=("$package")
done
if [ ${#needed[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${needed[@]}"
fi

out_dir=${1:-/tmp/quillbar-screenshots}
cmake -S . -B build -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build --parallel 2 --target screenshooter
QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1280x900x24" build/tools/screenshooter "$out_dir"
LANG=ru_RU.UTF-8 QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1280x900x24" build/tools/screenshooter "$out_dir/ru"
