#!/usr/bin/env bash
# The life of the packages in a bare system, in which scripts/package runs it: the older ones are installed and used,
# upgraded below a running recorder, used, removed and purged, and nothing stays but what is not theirs. Then two hosts are
# built with what norvanepi-dev has, and run, and what one of them recorded is exported.
# try_packages.sh OLDER NEWER
set -euEo pipefail
trap 'echo "failed in line $LINENO: $BASH_COMMAND" >&2' ERR
older=$1
newer=$2

# A program that starts itself again finds itself below /proc.
if [ -e /proc/self/exe ]; then
    proc=yes
    stories=(retry restart)
else
    proc=
    stories=(retry)
    echo "without /proc: neither restart nor validate" >/tmp/validated
fi

apt_get() {
    DEBIAN_FRONTEND=noninteractive apt-get -qy --no-install-recommends "$@"
}

# offer ARCHIVE: apt takes packages from there.
offer() {
    echo "deb [trusted=yes] file:/try/apt/$1 ./" >>/etc/apt/sources.list.d/try.list
    apt_get update
}

as_user() {
    setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp "$@"
}

# Every file and folder with its rights, what dpkg knows of packages, and the packages with their state; not what apt and
# dpkg keep for themselves.
everything() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /try -o -path /tmp -o -path /var/cache -o -path /var/log \
        -o -path /var/lib/apt -o -path '/var/lib/dpkg/*-old' \) -prune -o -printf '%M %u %g %p %l\n' | sort
    dpkg-query -W -f '${Package} ${db:Status-Abbrev}\n'
}

versions_are() {
    test "$(dpkg-query -W -f '${Version}\n' norvanepi norvanepi-tools norvanepi-dev | uniq)" = "$1"
}

# What operators and other packages keep beside ours.
put_foreign_files() {
    local file
    foreign=("${module%/*}/neighbour.so" /usr/share/doc/norvanepi/notes /srv/recorder/norvanepi_state.xml)
    for file in "${foreign[@]}"; do
        mkdir -p "${file%/*}"
        echo "mine" >"$file"
    done
    sha256sum "${foreign[@]}" >/tmp/foreign
}

foreign_files_are_whole() {
    sha256sum --check --quiet /tmp/foreign
}

# Folders are removed as empty ones: anything left in them is found.
take_foreign_files_away() {
    local file
    for file in "${foreign[@]}"; do
        rm "$file"
        rmdir "${file%/*}"
    done
}

# completes PROGRAM WORD WANTED: what bash offers for the word.
completes() {
    # shellcheck source=/dev/null
    (source "/usr/share/bash-completion/completions/$1" && COMP_WORDS=("$1" "$2") COMP_CWORD=1 &&
        "_${1//-/_}" && test "${COMPREPLY[*]}" = "$3")
}

# The way of a clip and of a restart with the installed module, as an ordinary user.
use() {
    local played story
    for story in "${stories[@]}"; do
        played=$(as_user mktemp -d)
        as_user norvanepi-recorder "$story" --module "$module" --out "$played"
        as_user norvanepi-ps verify --deep "$played/recordings"
        test -n "$(find "$played/recordings" -name '*.ps')"
    done
}

use_everything() {
    test "$(stat -c '%a %U %G' "$module")" = '644 root root'
    use
    test -z "$proc" || as_user norvanepi-recorder validate "$module" | tee /tmp/validated
    zcat /usr/share/man/man1/norvanepi-ps.1.gz | grep '^\.TH'
    zcat /usr/share/man/man1/norvanepi-recorder.1.gz | grep '^\.TH'
    completes norvanepi-ps ver verify
    completes norvanepi-recorder va validate
}

# A recorder that has the older module loaded goes on, and loads the newer one at its next start.
upgrade_below_a_recorder() {
    local recorder
    as_user norvanepi-recorder many --operations 15000 --quiet --module "$module" --out /tmp/busy &
    recorder=$!
    sleep 1
    offer newer
    apt_get dist-upgrade
    kill -0 "$recorder"
    wait "$recorder"
}

install_use_upgrade_remove() {
    everything >/tmp/before
    apt_get install norvanepi-tools norvanepi-dev
    module=$(dpkg -L norvanepi | grep '/norvanepi\.so$')
    versions_are "$older"
    use
    put_foreign_files

    upgrade_below_a_recorder
    versions_are "$newer"
    dpkg --verify norvanepi norvanepi-tools norvanepi-dev | tee /tmp/differing
    test ! -s /tmp/differing
    test -z "$(find / -xdev -path /try -prune -o -name retired -print)"
    foreign_files_are_whole
    use_everything

    apt_get remove norvanepi norvanepi-tools norvanepi-dev
    test ! -e "$module"
    apt_get autoremove --purge norvanepi norvanepi-tools norvanepi-dev
    foreign_files_are_whole
    take_foreign_files_away
    everything >/tmp/after
    diff /tmp/before /tmp/after
}

# runs HOST MODULE: the host closes its gap with the module, in a folder of its own, `here`.
runs() {
    here=$(as_user mktemp -d)
    as_user cp /try/clip.mp4 "$here"
    as_user mkdir "$here/out"
    (cd "$here" && as_user timeout 60 "$1" "$2" "$here/clip.mp4" "$here/tmp" "$here/out/")
    as_user norvanepi-ps verify "$here/out"
    test "$(find "$here/out" -name '*.ps' | wc -l)" = 1
}

build_hosts() {
    local example=/usr/share/doc/norvanepi-dev/examples/minimal_host.c
    apt_get install norvanepi-tools norvanepi-dev gcc libc6-dev pkg-config cmake make
    # shellcheck disable=SC2046  # flags are words
    gcc -Wall -Wextra -Werror $(pkg-config --cflags norvanepi) -pthread -o /tmp/host "$example"
    test "$(pkg-config --modversion norvanepi)" = "$newer"
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

# Of libavformat the programs have nothing but its name: what is suggested is enough for them.
export_recordings() {
    local status=0
    as_user norvanepi-ps export "$here/out" --out "$here/gate.h264"
    as_user norvanepi-ps export "$here/out" --out "$here/gate.mp4" 2>/tmp/refusal || status=$?
    test "$status" = 2
    grep 'libavformat.* is not installed' /tmp/refusal
    apt_get install "$(dpkg-query -W -f '${Suggests}' norvanepi-tools)"
    as_user norvanepi-ps export "$here/out" --out "$here/gate.mp4"
    as_user norvanepi-ps probe "$here/gate.mp4" | grep 'converted, 50 frames'
}

offer older
apt_get dist-upgrade  # the bare system may be an old one
install_use_upgrade_remove
build_hosts
export_recordings
echo "bare Debian $(cat /etc/debian_version): installed, used ($(tail -n 1 /tmp/validated)), upgraded below a recorder, removed without a trace; two hosts built and run, their recording exported"
