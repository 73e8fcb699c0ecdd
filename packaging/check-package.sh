#!/usr/bin/env bash
# Builds the Debian package from a Release build and checks it: lintian finds
# no error, the library scan filled in the dependencies, the desktop entry is
# valid and systemd accepts the unit.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=build-release
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build_dir" --parallel "$(nproc)" --target quillbar_install_parts
rm -f "$build_dir"/quillbar_*.deb
(cd "$build_dir" && cpack -G DEB)
deb=$(ls "$build_dir"/quillbar_*.deb)
echo "Checking $deb"

dpkg-deb -f "$deb" Depends | grep -q 'libqt6core6' \
    || { echo "FAIL: no Qt libraries in Depends: $(dpkg-deb -f "$deb" Depends)"; exit 1; }

lintian --fail-on error --tag-display-limit 0 "$deb"

tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
dpkg-deb -x "$deb" "$tree"
desktop-file-validate "$tree/usr/share/applications/quillbar.desktop"
# The unit as installed, but pointing at the unpacked launcher, which must
# exist. systemd ignores a setting it cannot parse with a mere message, so any
# message fails.
sed "s|^ExecStart=/|ExecStart=$tree/|" "$tree/usr/lib/systemd/system/quillbar.service" > "$tree/quillbar.service"
verdict=$(systemd-analyze verify --man=no "$tree/quillbar.service" 2>&1) || true
[ -z "$verdict" ] || { echo "FAIL: systemd-analyze verify: $verdict"; exit 1; }
echo "PASS: $(basename "$deb") builds, and lintian, desktop-file-validate and systemd-analyze accept it"
