#!/usr/bin/env bash
# Runs every benchmark that is built, each program that needs a window under an X server of its own.
# run.sh [BUILD_DIRECTORY] [--peers] [CELL...]; see bench_window --help for what it takes.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$here/../build/bench
if [ $# -gt 0 ] && [ -d "$1" ]; then
    build=$1
    shift
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$scratch}
export LIBGL_ALWAYS_SOFTWARE=${LIBGL_ALWAYS_SOFTWARE-1} QT_QPA_PLATFORM=xcb QT_LOGGING_RULES='*.debug=false'
if [ $# -eq 0 ] || [ "$*" = --peers ]; then
    for program in "$build"/bench/bench_{picture,bridge,probes}; do
        [ ! -x "$program" ] || "$program" --benchmark_min_time=0.2
    done
fi
peers=
if [ "${1-}" = --peers ]; then
    peers=1
    shift
fi
# Wide enough for two walls of 64 windows beside each other.
"$here/../tools/on-display.sh" 5760x2400 "$build/bench/bench_window" "$@"
[ -n "$peers" ] || exit 0
# Other players on the same kind of pictures, as far as they are installed.
for program in "$build"/bench/bench_{sdl,qtmultimedia}; do
    [ ! -x "$program" ] || "$here/../tools/on-display.sh" "$program"
done
if command -v mpv ffmpeg >/dev/null; then
    clip=$scratch/clip.y4m
    ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=25 -t 4 -pix_fmt yuv420p "$clip"
    for output in gpu x11; do
        TIMEFORMAT="mpv --vo=$output, 100 frames of 1080p in 1280 x 720 with reading and start: %U s user, %S s system"
        time "$here/../tools/on-display.sh" mpv --no-config --really-quiet --untimed \
            --no-audio --hwdec=no --gpu-sw=yes --geometry=1280x720 --vo=$output "$clip" || echo "mpv --vo=$output fails"
    done
fi
