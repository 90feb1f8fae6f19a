#!/usr/bin/env bash
# Runs a command on a private display server, which ends with the command. All that needs a screen without having one
# is started here.
#   tools/on-display.sh [--if-none | --wayland] [WIDTHxHEIGHT] COMMAND [ARGUMENT...]
# With --if-none the command runs on the display that is there, if there is one. Needs Xvfb; with --wayland weston and
# Qt's plug-in for Wayland instead: without weston it ends with 77.
set -euo pipefail

if [ "$1" = --if-none ]; then
    shift
    if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
        [[ ! $1 =~ ^[0-9]+x[0-9]+$ ]] || shift
        exec "$@"
    fi
fi
kind=x11
if [ "$1" = --wayland ]; then
    shift
    kind=wayland
    command -v weston >/dev/null || {
        echo "on-display: skipped, there is no weston" >&2
        exit 77
    }
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

fail() {
    cat "$scratch/log" >&2
    echo "on-display: $1 does not start" >&2
    exit 1
}

if [ $kind = wayland ]; then
    export XDG_RUNTIME_DIR=$scratch
    weston --backend=headless-backend.so --no-config --idle-time=0 --socket=display "--width=${size%x*}" \
        "--height=${size#*x}" >"$scratch/log" 2>&1 &
    server=$!
    for ((i = 0; i < 300; i++)); do
        [ ! -S "$scratch/display" ] || break
        kill -0 $server 2>/dev/null || fail weston
        sleep 0.1
    done
    code=0
    env -u DISPLAY WAYLAND_DISPLAY=display QT_QPA_PLATFORM=wayland "$@" || code=$?
    exit $code
fi

# Without a reset the server lives on while it has no client. It picks a free number and says it through the pipe.
mkfifo "$scratch/number"
Xvfb -displayfd 1 -screen 0 "${size}x24" +extension GLX -nolisten tcp -noreset >"$scratch/number" 2>"$scratch/log" &
server=$!
read -r -t 30 display <"$scratch/number" || fail Xvfb
[ -d "${XDG_RUNTIME_DIR:-}" ] || export XDG_RUNTIME_DIR=$scratch
code=0
env -u WAYLAND_DISPLAY DISPLAY=":$display" QT_QPA_PLATFORM=xcb "$@" || code=$?
exit $code
