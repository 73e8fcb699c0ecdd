# Debian packages that building, running and testing need. Sourced by run.sh
# and test.sh.
QUILLBAR_PACKAGES=(
    cmake g++ make
    qt6-base-dev qt6-websockets-dev libqt6sql6-sqlite
    qt6-l10n-tools qt6-tools-dev qt6-tools-dev-tools fonts-dejavu-core
    libsqlite3-dev
)
# What test.sh needs besides to build the Debian package (dpkg-shlibdeps,
# file) and check it.
QUILLBAR_PACKAGING_PACKAGES=(
    dpkg-dev file lintian desktop-file-utils systemd
)
# What test.sh needs besides to build and run the fuzz targets.
QUILLBAR_FUZZ_PACKAGES=(
    clang libclang-rt-14-dev
)

# install_missing_packages [extra package...]
install_missing_packages() {
    local missing=()
    local package
    for package in "${QUILLBAR_PACKAGES[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" \
            || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    echo "Installing missing packages: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}
