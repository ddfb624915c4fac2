# shellcheck shell=bash
# Which folder may include what. Sourced, not run.

# folder, what it may include besides itself, and which libraries it must not know.
arrows() {
    local hits=0 folder allowed unknown
    while read -r folder allowed unknown; do
        if grep -rnE '^#include "' "$folder" --include='*.h' --include='*.cpp' | grep -vE "#include \"($allowed)/"; then
            hits=1
        fi
        if grep -rnE "^#include <($unknown)" "$folder" --include='*.h' --include='*.cpp'; then hits=1; fi
    done <<'TABLE'
platform platform tinyxml2
mp4 mp4|platform tinyxml2|fstream|chrono
ps ps|platform tinyxml2|fstream|chrono
engine engine|plugin/interfaces|platform tinyxml2|fstream|chrono
store store|plugin/interfaces|platform fstream|chrono
convert convert|mp4|ps|plugin/interfaces|platform tinyxml2|fstream
host host|convert|plugin/interfaces|platform fstream
plugin/interfaces plugin/interfaces|platform tinyxml2|fstream
host/documents host/documents|plugin/interfaces|platform fstream
TABLE
    return $hits
}
