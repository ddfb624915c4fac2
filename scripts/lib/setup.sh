# shellcheck shell=bash disable=SC2034  # the lists of packages are for the scripts
# Shared by the scripts of this folder: where the project is, its packages, and quiet steps. Sourced, not run.

set -euo pipefail
export LC_ALL=C.UTF-8

usage() {
    echo "usage: scripts/$(basename -- "$0")"
    sed -n '2,/^[^#]/ s/^# \{0,1\}//p' "$0"  # the comment that a script begins with
}

if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    usage
    exit 0
fi

# takes_nothing "$@": for scripts without arguments.
takes_nothing() {
    [ $# -gt 0 ] || return 0
    usage >&2
    exit 2
}

# takes_no_option "$@": for scripts whose arguments are paths.
takes_no_option() {
    case "${1:-}" in
        -*) takes_nothing "$@" ;;
    esac
}

project_root() {
    cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd -P
}

ROOT=$(project_root)
LOG="$ROOT/build/log"
export TMPDIR="$ROOT/build/tmp"  # compilers, tests and tools leave nothing elsewhere
mkdir -p "$LOG" "$TMPDIR"

# What the module, its tools and its tests are made from, as Debian 12 names it.
BUILD_PACKAGES=(g++ cmake ninja-build libtinyxml2-dev libboost-dev libboost-filesystem-dev libboost-system-dev
    libcli11-dev libfmt-dev nlohmann-json3-dev pkg-config libavformat-dev)
TEST_PACKAGES=(libgtest-dev libgmock-dev ffmpeg libavformat59 util-linux python3-jsonschema)
DEMO_PACKAGES=(ffmpeg fonts-dejavu-core libavformat59)
BENCH_PACKAGES=(libbenchmark-dev ffmpeg strace)
LINT_PACKAGES=(clang clang-format clang-tidy cppcheck git shellcheck)
FUZZ_PACKAGES=(clang libclang-rt-14-dev llvm)
ABI_PACKAGES=(abigail-tools)
WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix wine wine64 dpkg-dev googletest ffmpeg)
PACKAGE_PACKAGES=(abigail-tools debhelper debootstrap dpkg-dev ffmpeg git lintian locales)

# step NAME COMMAND...: runs a command quietly; its output is kept in build/log and shown only when it fails.
step() {
    local name=$1
    shift
    if ! "$@" >"$LOG/$name.log" 2>&1; then
        printf 'FAILED: %s\n' "$*" >&2
        tail -n 60 "$LOG/$name.log" >&2
        return 1
    fi
}

installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo -n "$@"
    else
        echo "packages are missing, and neither root nor sudo is at hand to install them" >&2
        return 1
    fi
}

apt_get() {
    # Without our TMPDIR: the package manager works as a user of its own, who may not get there.
    as_root env -u TMPDIR DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@" </dev/null
}

# need_packages PACKAGE...: installs those that are missing, without a question.
need_packages() {
    local missing=() package
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    step packages-update apt_get update
    step packages-install apt_get install -y --no-install-recommends "${missing[@]}"
}

# build_preset PRESET: configures and builds in build/PRESET.
build_preset() {
    (
        cd "$ROOT"
        step "configure-$1" cmake --preset "$1"
        step "build-$1" cmake --build --preset "$1"
    )
}

# reachable_tmpdir: some tests run as an ordinary user, and some need short paths. Where that user cannot reach the build
# folder, or it lies too deep, the tests' files go to a folder of their own that is removed behind them.
reachable_tmpdir() {
    if [ ${#TMPDIR} -le 60 ]; then
        [ "$(id -u)" = 0 ] || return 0
        if setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$TMPDIR"; then return 0; fi
    fi
    TMPDIR=$(mktemp -d /tmp/norvanepi-tests.XXXXXX)
    trap 'rm -rf "$TMPDIR"' EXIT
    chmod 755 "$TMPDIR"
}
