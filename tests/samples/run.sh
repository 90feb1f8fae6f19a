#!/usr/bin/env bash
# Runs a sample as its users do and looks at what it leaves.
#   run.sh [--exit CODE] [--says TEXT] [--picture FILE] PROGRAM [ARGUMENT...]
set -euo pipefail
code=0 text="" picture=""
while [[ $1 == --* ]]; do
    case $1 in
    --exit) code=$2 ;;
    --says) text=$2 ;;
    --picture) picture=$2 ;;
    esac
    shift 2
done
if [ -z "${DISPLAY:-}" ]; then
    echo "skipped: there is no display"
    exit 77
fi

fail() {
    printf 'run: %s\n' "$*" >&2
    exit 1
}

rm -f "$picture"
output=$("$@" 2>&1) && ended=0 || ended=$?
printf '%s\n' "$output"
[ "$ended" -eq "$code" ] || fail "ended with $ended instead of $code"
[[ $output == *"$text"* ]] || fail "did not say: $text"
[ -n "$picture" ] || exit 0
[ "$(head -c 8 "$picture" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "no picture $picture"
# A single colour packs into a few bytes per row.
[ "$(wc -c <"$picture")" -gt 2000 ] || fail "$picture shows nothing"
