#!/usr/bin/env bash
# Runs a command on a private X server, which picks a free display number itself and ends with the command. All that
# needs a screen without having one is started here.
#   tools/on-display.sh [--if-none] [WIDTHxHEIGHT] COMMAND [ARGUMENT...]
# With --if-none the command runs on the display that is there, if there is one. Needs Xvfb.
set -euo pipefail

if [ "$1" = --if-none ]; then
    shift
    if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
        [[ ! $1 =~ ^[0-9]+x[0-9]+$ ]] || shift
        exec "$@"
    fi
fi
size=1920x1200
if [[ $1 =~ ^[0-9]+x[0-9]+$ ]]; then
    size=$1
    shift
fi

scratch=$(mktemp -d)
server=""
finish() {
    [ -z "$server" ] || kill "$server" 2>/dev/null || true
    rm -rf "$scratch"
}
trap finish EXIT
# Without a reset the server lives on while it has no client; its number comes on standard output.
exec {answer}< <(exec Xvfb -displayfd 1 -screen 0 "${size}x24" +extension GLX -nolisten tcp -noreset 2>"$scratch/log")
server=$!
read -r -t 30 display <&"$answer" || {
    cat "$scratch/log" >&2
    echo "on-display: Xvfb does not start" >&2
    exit 1
}
[ -d "${XDG_RUNTIME_DIR:-}" ] || export XDG_RUNTIME_DIR=$scratch
code=0
env -u WAYLAND_DISPLAY DISPLAY=":$display" QT_QPA_PLATFORM=xcb "$@" || code=$?
exit $code
