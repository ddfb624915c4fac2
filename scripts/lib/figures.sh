# shellcheck shell=bash
# Writes measured figures into the blocks of docs/reliability.md. Sourced after setup.sh, not run.

RECORD=no
ARGUMENTS=()

# take_record_option ARGUMENT...: sets RECORD=yes if --record is among the arguments and ARGUMENTS to all others.
take_record_option() {
    local argument
    for argument in "$@"; do
        if [ "$argument" = --record ]; then RECORD=yes; else ARGUMENTS+=("$argument"); fi
    done
}

machine() {
    local processor
    processor=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)
    printf '%s cores, %s' "$(nproc)" "${processor:-$(uname -m)}"
}

# record_figures NAME <TEXT: replaces the block NAME with the text, preceded by date and machine.
record_figures() {
    local document="$ROOT/docs/reliability.md" start="<!-- figures: $1 -->" text="$TMPDIR/figures-$1"
    if ! grep -qxF "$start" "$document"; then
        echo "docs/reliability.md has no block '$start'" >&2
        return 1
    fi
    {
        printf '```text\n%s, %s\n\n' "$(date -u +%Y-%m-%d)" "$(machine)"
        cat
        printf '```\n'
    } >"$text"
    awk -v start="$start" -v text="$text" '
        $0 == start { print; while ((getline line < text) > 0) print line; inside = 1; next }
        $0 == "<!-- end -->" { inside = 0 }
        !inside' "$document" >"$text.md"
    cat "$text.md" >"$document"
    rm -f "$text" "$text.md"
}

# publish_figures NAME <TEXT: prints the text and records it if --record was given.
publish_figures() {
    local text
    text=$(cat)
    printf '%s\n' "$text"
    if [ "$RECORD" = yes ]; then printf '%s\n' "$text" | record_figures "$1"; fi
}
