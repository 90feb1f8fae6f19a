#!/usr/bin/env bash
# Debian packages into build/packages, checked by lintian.
#   tools/package.sh            builds and checks
#   tools/package.sh --try      installs them in a fresh Debian 12 of their own (as root), runs the player on Wayland
#                               alone, builds examples/minimal in both ways, runs it and the player under X, and
#                               removes them again
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
    desktop-file-validate apps/*/*.desktop
    lintian "${as_root[@]}" --fail-on error,warning "$build"/*.deb
    (cd "$build" && ls -1 -- *.deb)
}

# The commands of the guide, in a root that holds nothing but Debian and the packages.
try_packages() {
    [ "$(id -u)" -eq 0 ] || die "--try needs root"
    local fresh=$build/fresh tree=$build/root
    if [ ! -f "$fresh/.ready" ]; then
        rm -rf "$fresh"
        quietly debootstrap --variant=minbase bookworm "$fresh" ${OVEL_DEBIAN_MIRROR:+"$OVEL_DEBIAN_MIRROR"}
        touch "$fresh/.ready"
    fi
    rm -rf "$tree"
    cp -a "$fresh" "$tree"
    mkdir "$tree/try"
    cp "$build"/*.deb "$tree/try"
    cp -r examples/minimal "$tree/try/minimal"
    cp tools/on-display.sh "$tree/try"
    cp /etc/resolv.conf "$tree/etc/resolv.conf"
    cat >"$tree/try/run" <<'RUN'
set -e
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
cd /try
apt-get update -qq
apt-get install -y -qq ./libovelrender1_*.deb ./ovelrender-player_*.deb >/dev/null
apt-get install -y -qq --no-install-recommends ffmpeg weston >/dev/null
ffmpeg -v error -y -f lavfi -i testsrc2=size=640x360:rate=25:duration=4 clip.mp4
# Wayland alone, as a session has it: the player finds its platform itself.
if command -v Xvfb || command -v Xorg || command -v Xwayland; then exit 1; fi
./on-display.sh --wayland env -u QT_QPA_PLATFORM ovel-player --seconds 2 --picture wayland.png clip.mp4
for program in player wall; do
    zcat "/usr/share/man/man1/ovel-$program.1.gz" | sed 's/[\\]//g' >page
    "ovel-$program" --help | grep -oE -- '--[a-z-]+' | while read -r option; do grep -qF -e "$option" page; done
done
apt-get install -y -qq ./*.deb g++ cmake pkg-config xvfb >/dev/null
cmake -S minimal -B by-cmake >/dev/null
cmake --build by-cmake >/dev/null
g++ -std=c++17 -fPIC minimal/main.cpp $(pkg-config --cflags --libs OvelRender) -o by-pkg-config
./on-display.sh by-cmake/minimal by-cmake.png
./on-display.sh ./by-pkg-config by-pkg-config.png
./on-display.sh ovel-player --seconds 2 --picture player.png clip.mp4
apt-get purge -y -qq libovelrender1 libovelrender-dev ovelrender-player >/dev/null
if find /usr -iname '*ovelrender*' -o -name 'ovel-*' | grep .; then exit 1; fi
RUN
    quietly chroot "$tree" bash /try/run
    local picture
    for picture in wayland by-cmake by-pkg-config player; do
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
