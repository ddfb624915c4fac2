#!/usr/bin/env bash
# try_packages.sh OLDER NEWER: tries the packages in a bare system, where scripts/package runs it. Installs and uses the older
# version, upgrades it while a simulated host runs, uses, removes and purges it, and checks that only foreign files remain.
# Then builds two hosts with norvanepi-dev, runs them, and exports what one of them recorded.
set -euEo pipefail
trap 'echo "failed in line $LINENO: $BASH_COMMAND" >&2' ERR
older=$1
newer=$2

# A program needs /proc to know its own path: to find the module, and to start itself again.
if [ -e /proc/self/exe ]; then
    proc=yes
    scenarios=(retry restart)
else
    proc=
    scenarios=(retry)
    echo "without /proc: neither restart nor validate" >/tmp/validated
fi

apt_get() {
    DEBIAN_FRONTEND=noninteractive apt-get -qy --no-install-recommends "$@"
}

# offer ARCHIVE: adds the archive to apt's sources.
offer() {
    echo "deb [trusted=yes] file:/try/apt/$1 ./" >>/etc/apt/sources.list.d/try.list
    apt_get update
}

as_user() {
    setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp "$@"
}

# Lists every file and folder with its permissions, and every package with its state; without the files that apt and dpkg
# maintain.
everything() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /try -o -path /tmp -o -path /var/cache -o -path /var/log \
        -o -path /var/lib/apt -o -path '/var/lib/dpkg/*-old' \) -prune -o -printf '%M %u %g %p %l\n' | sort
    dpkg-query -W -f '${Package} ${db:Status-Abbrev}\n'
}

versions_are() {
    test "$(dpkg-query -W -f '${Version}\n' norvanepi norvanepi-tools norvanepi-dev | uniq)" = "$1"
}

# Files of operators and other packages next to ours.
put_foreign_files() {
    local file
    foreign=("${module%/*}/neighbour.so" /usr/share/doc/norvanepi/notes /srv/recorder/norvanepi_state.xml)
    for file in "${foreign[@]}"; do
        mkdir -p "${file%/*}"
        echo "mine" >"$file"
    done
    sha256sum "${foreign[@]}" >/tmp/foreign
}

foreign_files_unchanged() {
    sha256sum --check --quiet /tmp/foreign
}

# rmdir fails if one of our files is left in a folder.
remove_foreign_files() {
    local file
    for file in "${foreign[@]}"; do
        rm "$file"
        rmdir "${file%/*}"
    done
}

# completes PROGRAM WORD EXPECTED: checks what bash completion offers for the word.
completes() {
    # shellcheck source=/dev/null
    (source "/usr/share/bash-completion/completions/$1" && COMP_WORDS=("$1" "$2") COMP_CWORD=1 &&
        "_${1//-/_}" && test "${COMPREPLY[*]}" = "$3")
}

# recorder ARGUMENT...: runs the recorder as an unprivileged user. It must find the installed module itself.
recorder() {
    if [ -n "$proc" ]; then as_user norvanepi-recorder "$@"; else as_user norvanepi-recorder "$@" --module "$module"; fi
}

# Runs the scenarios with the installed module as an unprivileged user.
use() {
    local played scenario
    for scenario in "${scenarios[@]}"; do
        played=$(as_user mktemp -d)
        recorder "$scenario" --out "$played"
        as_user norvanepi-ps verify --deep "$played/recordings"
        test -n "$(find "$played/recordings" -name '*.ps')"
    done
}

use_everything() {
    test "$(stat -c '%a %U %G' "$module")" = '644 root root'
    use
    test -z "$proc" || recorder validate | tee /tmp/validated
    zcat /usr/share/man/man1/norvanepi-ps.1.gz | grep '^\.TH'
    zcat /usr/share/man/man1/norvanepi-recorder.1.gz | grep '^\.TH'
    completes norvanepi-ps ver verify
    completes norvanepi-recorder va validate
}

# A host that has loaded the older module must continue to run during the upgrade.
upgrade_under_a_running_host() {
    local host
    recorder many --operations 15000 --quiet --out /tmp/busy &
    host=$!
    sleep 1
    offer newer
    apt_get dist-upgrade
    kill -0 "$host"
    wait "$host"
}

install_use_upgrade_remove() {
    everything >/tmp/before
    apt_get install norvanepi-tools norvanepi-dev
    module=$(dpkg -L norvanepi | grep '/norvanepi\.so$')
    versions_are "$older"
    use
    put_foreign_files

    upgrade_under_a_running_host
    versions_are "$newer"
    dpkg --verify norvanepi norvanepi-tools norvanepi-dev | tee /tmp/differing
    test ! -s /tmp/differing
    test -z "$(find / -xdev -path /try -prune -o -name retired -print)"
    foreign_files_unchanged
    use_everything

    apt_get remove norvanepi norvanepi-tools norvanepi-dev
    test ! -e "$module"
    apt_get autoremove --purge norvanepi norvanepi-tools norvanepi-dev
    foreign_files_unchanged
    remove_foreign_files
    everything >/tmp/after
    diff /tmp/before /tmp/after
}

# runs HOST MODULE: the host fills its gap with the module in a new folder, $here.
runs() {
    here=$(as_user mktemp -d)
    as_user cp /try/clip.mp4 "$here"
    as_user mkdir "$here/out"
    (cd "$here" && as_user timeout 60 "$1" "$2" "$here/clip.mp4" "$here/tmp" "$here/out/")
    as_user norvanepi-ps verify "$here/out"
    test "$(find "$here/out" -name '*.ps' | wc -l)" = 1
}

# Makers of hosts find the pages where pkg-config says, among them those that the header names.
pages_are_installed() {
    local folder page
    folder=$(pkg-config --variable=docdir norvanepi)
    for page in host-interface host-checklist messages state-file recording-format; do test -s "$folder/$page.md"; done
    grep -o '[a-z-]*\.md' /usr/include/norvanepi.h >/tmp/named
    while read -r page; do test -s "$folder/$page"; done </tmp/named
}

build_hosts() {
    local example=/usr/share/doc/norvanepi-dev/examples/minimal_host.c
    apt_get install norvanepi-tools norvanepi-dev gcc libc6-dev pkg-config cmake make
    # shellcheck disable=SC2046  # flags are words
    gcc -Wall -Wextra -Werror $(pkg-config --cflags norvanepi) -pthread -o /tmp/host "$example"
    test "$(pkg-config --modversion norvanepi)" = "$newer"
    pages_are_installed
    runs /tmp/host "$(pkg-config --variable=moduledir norvanepi)/norvanepi.so"

    mkdir /tmp/project
    cat >/tmp/project/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(Threads REQUIRED)
find_package(norvanepi ${newer%%.*} REQUIRED)
add_executable(host $example)
target_link_libraries(host PRIVATE norvanepi::norvanepi Threads::Threads)
file(GENERATE OUTPUT module CONTENT "\${norvanepi_MODULE}")
END
    cmake -S /tmp/project -B /tmp/project/build
    cmake --build /tmp/project/build
    runs /tmp/project/build/host "$(cat /tmp/project/build/module)"
}

# The programs load libavformat by name at run time, so the suggested package is sufficient.
export_recordings() {
    local status=0
    as_user norvanepi-ps export "$here/out" --out "$here/gate.h264"
    as_user norvanepi-ps export "$here/out" --out "$here/gate.mp4" 2>/tmp/refusal || status=$?
    test "$status" = 2
    grep 'libavformat.*: not installed' /tmp/refusal
    apt_get install "$(dpkg-query -W -f '${Suggests}' norvanepi-tools)"
    as_user norvanepi-ps export "$here/out" --out "$here/gate.mp4"
    as_user norvanepi-ps probe "$here/gate.mp4" | grep 'converted, 50 frames'
}

offer older
apt_get dist-upgrade  # the bare system may be out of date
install_use_upgrade_remove
build_hosts
export_recordings
echo "bare Debian $(cat /etc/debian_version): installed, used ($(tail -n 1 /tmp/validated)), upgraded under a running host, removed without a trace; two hosts built and run, their recording exported"
