#!/usr/bin/env bash
# Debian packages into build/packages, checked by lintian.
#   tools/package.sh            builds and checks
#   tools/package.sh --try      installs them in a fresh Debian 12 of their own (as root), builds examples/minimal
#                               there in both ways, runs it and the player, and removes them again
# Needs what a build needs, FFmpeg's libraries for the player, dpkg-dev, lintian, file, help2man, desktop-file-utils;
# debootstrap for --try.
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
build=$PWD/build/packages

die() {
    printf 'package: %s\n' "$*" >&2
    exit 1
}

quietly() {
    "$@" >"$build/log" 2>&1 || {
        tail -n 100 "$build/log" >&2
        die "failed: $*"
    }
}

# CPack adds scripts that call ldconfig, which the trigger does already.
without_ldconfig() {
    local tree=$build/unpacked
    rm -rf "$tree"
    dpkg-deb -R "$1" "$tree"
    rm "$tree/DEBIAN/postinst" "$tree/DEBIAN/postrm"
    quietly dpkg-deb --root-owner-group -b "$tree" "$1"
}

make_packages() {
    mkdir -p "$build"
    rm -f "$build"/*.deb
    quietly cmake --preset packages
    quietly nice cmake --build --preset packages
    (cd "$build" && quietly cpack -G DEB)
    without_ldconfig "$build"/libovelrender1_*.deb
    local version
    version=$(sed -nE '1s/.*\((.*)\).*/\1/p' cmake/debian/changelog)
    [ -f "$build/libovelrender1_${version}_$(dpkg --print-architecture).deb" ] ||
        die "cmake/debian/changelog does not begin with the version that is built"
    local as_root=()
    [ "$(id -u)" -ne 0 ] || as_root=(--allow-root)
    desktop-file-validate apps/player/*.desktop
    lintian "${as_root[@]}" --fail-on error,warning "$build"/*.deb
    (cd "$build" && ls -1 -- *.deb)
}

# The commands of the guide, in a root that holds nothing but Debian and the packages.
try_packages() {
    [ "$(id -u)" -eq 0 ] || die "--try needs root"
    local tree=$build/root
    if [ ! -f "$tree/.ready" ]; then
        rm -rf "$tree"
        quietly debootstrap --variant=minbase bookworm "$tree" "${OVEL_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
        touch "$tree/.ready"
    fi
    rm -rf "$tree/try"
    mkdir -p "$tree/try"
    cp "$build"/*.deb "$tree/try"
    cp -r examples/minimal "$tree/try/minimal"
    cp tools/on-display.sh "$tree/try"
    cp /etc/resolv.conf "$tree/etc/resolv.conf"
    cat >"$tree/try/run" <<'RUN'
set -e
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
cd /try
apt-get update -qq
apt-get install -y -qq ./*.deb g++ cmake pkg-config xvfb libgl1-mesa-dri ffmpeg >/dev/null
cmake -S minimal -B by-cmake >/dev/null
cmake --build by-cmake >/dev/null
g++ -std=c++17 -fPIC minimal/main.cpp $(pkg-config --cflags --libs OvelRender) -o by-pkg-config
ffmpeg -v error -y -f lavfi -i testsrc2=size=640x360:rate=25:duration=4 clip.mp4
./on-display.sh by-cmake/minimal by-cmake.png
./on-display.sh ./by-pkg-config by-pkg-config.png
player=$(dpkg -L ovelrender-player | grep 'bin/ovel-player$')
./on-display.sh "$player" --seconds 2 --picture player.png clip.mp4
apt-get purge -y -qq libovelrender1 libovelrender-dev ovelrender-player >/dev/null
if find /usr/lib /usr/include /usr/share/doc -iname '*ovelrender*' | grep .; then exit 1; fi
RUN
    quietly chroot "$tree" bash /try/run
    local picture
    for picture in by-cmake by-pkg-config player; do
        [ -s "$tree/try/$picture.png" ] || die "$picture.png is empty"
        cp "$tree/try/$picture.png" "$build/"
    done
    echo "package: installed, built against, run and removed in a fresh Debian 12; pictures in build/packages"
}

case ${1:-} in
'') make_packages ;;
--try)
    make_packages
    try_packages
    ;;
*) die "unknown option $1 (--try)" ;;
esac
