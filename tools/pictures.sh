#!/usr/bin/env bash
# The pictures of README and docs, from what is built in build/release (./dev pictures builds it first).
set -euo pipefail
cd "$(dirname "$0")/.."
player=build/release/apps/player/player wall=build/release/apps/wall/wall
clip=build/clips/clip.mp4
shot() { tools/on-display.sh 1280x800 "$@"; }

mkdir -p docs/images
shot "$player" --overlay --size 960x571 --seconds 3.1 --picture docs/images/player.png $clip
shot "$player" --overlay --keys --renderer mixed --size 960x571 --seconds 3.1 --picture docs/images/grid.png \
    $clip $clip $clip $clip
shot "$wall" --tiles 25 --seconds 4 --picture docs/images/wall.png build/clips/small.mp4
shot build/release/examples/minimal/minimal docs/images/minimal.png
# Colour bars as they are and as they are described, in three planes and as NV12.
bars=build/clips/bars
shot "$player" --bare --once --colors mixed --size 960x540 --seconds 1.5 --picture docs/images/colors.png \
    $bars.mp4 $bars.mp4 $bars.mkv $bars.mkv
