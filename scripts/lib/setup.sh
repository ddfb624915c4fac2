# shellcheck shell=bash disable=SC2034  # the lists of packages are for the scripts
# Shared by all scripts: project folders, package lists, quiet steps. Sourced, not run.

set -euo pipefail
export LC_ALL=C.UTF-8

usage() {
    echo "usage: scripts/$(basename -- "$0")"
    sed -n '2,/^[^#]/ s/^# \{0,1\}//p' "$0"  # the script's first comment
}

if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    usage
    exit 0
fi

# takes_nothing "$@": exits with the usage if there are arguments.
takes_nothing() {
    [ $# -gt 0 ] || return 0
    usage >&2
    exit 2
}

# takes_no_option "$@": exits with the usage if the first argument is an option. For scripts that take paths.
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
export TMPDIR="$ROOT/build/tmp"  # compilers, tests and tools write only below build/
mkdir -p "$LOG" "$TMPDIR"

# Debian 12 packages, by what needs them.
BUILD_PACKAGES=(g++ cmake ninja-build libtinyxml2-dev libboost-dev libboost-filesystem-dev libboost-system-dev
    libcli11-dev libfmt-dev nlohmann-json3-dev pkg-config libavformat-dev)
TEST_PACKAGES=(libgtest-dev libgmock-dev ffmpeg libavformat59 util-linux python3-jsonschema)
DEMO_PACKAGES=(ffmpeg fonts-dejavu-core libavformat59)
BENCH_PACKAGES=(libbenchmark-dev ffmpeg)
LINT_PACKAGES=(clang clang-format clang-tidy cppcheck git shellcheck)
FUZZ_PACKAGES=(clang libclang-rt-14-dev llvm)
ABI_PACKAGES=(abigail-tools)
WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix wine wine64 dpkg-dev googletest ffmpeg)
PACKAGE_PACKAGES=(abigail-tools debhelper debootstrap dpkg-dev ffmpeg git lintian locales)

# step NAME COMMAND...: runs a command quietly, without standard input. Its output goes to build/log/NAME.log and is shown
# only if it fails. A function runs in a subshell with set -e in force: it starts in the background, because bash ignores
# set -e in a command that a condition tests. Do not call step in a condition either.
step() {
    local name=$1 status=0
    shift
    ("$@") >"$LOG/$name.log" 2>&1 </dev/null &
    wait $! || status=$?
    if [ "$status" != 0 ]; then
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
        echo "packages are missing; run this as root or install sudo" >&2
        return 1
    fi
}

apt_get() {
    # apt runs as its own user, who may not be able to read our TMPDIR.
    as_root env -u TMPDIR DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@" </dev/null
}

# need_packages PACKAGE...: installs the missing ones without asking.
need_packages() {
    local missing=() package
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    step packages-update apt_get update
    step packages-install apt_get install -y --no-install-recommends "${missing[@]}"
}

# build_preset PRESET [TARGET...]: configures and builds in build/PRESET: the given targets, or all.
build_preset() {
    (
        cd "$ROOT"
        preset=$1
        shift
        step "configure-$preset" cmake --preset "$preset"
        step "build-$preset" cmake --build --preset "$preset" ${1:+--target "$@"}
    )
}

# reachable_tmpdir: some tests run as an unprivileged user, and some need short paths. If that user cannot enter the build
# folder, or its path is too long, TMPDIR becomes a temporary folder that is removed at exit.
reachable_tmpdir() {
    if [ ${#TMPDIR} -le 60 ]; then
        [ "$(id -u)" = 0 ] || return 0
        if setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$TMPDIR"; then return 0; fi
    fi
    TMPDIR=$(mktemp -d /tmp/norvanepi-tests.XXXXXX)
    trap 'rm -rf "$TMPDIR"' EXIT
    chmod 755 "$TMPDIR"
}
