#!/usr/bin/env bash
# Short clips from the ffmpeg program's test sources, as far as they are missing: nothing is downloaded.
#   tools/clips.sh DIRECTORY     clip.mp4 and small.mp4 (H.264), nv12.nut (raw NV12), cut.mp4 (broken off)
set -euo pipefail
directory=$1
mkdir -p "$directory"
cd "$directory"

# make FILE FFMPEG-ARGUMENT...: whole or not at all.
make() {
    local file=$1
    shift
    [ -f "$file" ] && return 0
    ffmpeg -nostdin -v error -y "$@" "part-$file"
    mv "part-$file" "$file"
}

h264() { make "$1" -f lavfi -i "testsrc2=size=$2:rate=25:duration=10" -c:v libx264 -preset veryfast -pix_fmt yuv420p -g 25; }
h264 clip.mp4 1280x720
h264 small.mp4 320x180
make nv12.nut -i clip.mp4 -t 3 -vf scale=642x362 -pix_fmt nv12 -c:v rawvideo
[ -f cut.mp4 ] || head -c 2000 clip.mp4 >cut.mp4
