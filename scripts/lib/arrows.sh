# shellcheck shell=bash
# Which libraries a folder must not include. Sourced, not run. Includes between folders need no check here: each folder
# is a CMake target that sees only the folders it uses, so a wrong include does not compile.

# Each line: a folder and the headers it must not include, as an extended regular expression.
forbidden_libraries() {
    local hits=0 folder headers
    while read -r folder headers; do
        if grep -rnE "^#include <($headers)" "$folder" --include='*.h' --include='*.cpp'; then hits=1; fi
    done <<'TABLE'
platform tinyxml2
mp4 tinyxml2|fstream|chrono
ps tinyxml2|fstream|chrono
engine tinyxml2|fstream|chrono
store fstream|chrono
convert tinyxml2|fstream
host fstream
plugin/interfaces tinyxml2|fstream
tools/model tinyxml2|fstream|chrono
tools/clip_maker tinyxml2
TABLE
    return $hits
}
