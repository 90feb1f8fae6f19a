#!/usr/bin/env bash
# Short clips from the ffmpeg program's test sources, as far as they are missing: nothing is downloaded.
#   tools/clips.sh DIRECTORY     clip.mp4 and small.mp4 (H.264), nv12.nut (raw NV12), cut.mp4 (broken off), colour bars of HD
#                                video in three planes and as NV12 (bars.mp4, bars.mkv)
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
hd=(-colorspace bt709 -color_range tv)
make bars.mp4 -f lavfi -i smptehdbars=size=480x270:rate=25 -frames:v 1 -vf scale=out_color_matrix=bt709:out_range=tv,format=yuv420p \
    -c:v libx264 -crf 4 "${hd[@]}"
make bars.mkv -i bars.mp4 -pix_fmt nv12 -c:v rawvideo -allow_raw_vfw 1 "${hd[@]}"
[ -f cut.mp4 ] || head -c 2000 clip.mp4 >cut.mp4
