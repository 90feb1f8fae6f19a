#!/usr/bin/env bash
# Installs, moves the tree, and builds hosts outside the source tree: by find_package, by pkg-config, in plain C.
set -euo pipefail
cmake=$1 source=$2 build=$3 libdir=$4 qt=$5 cc=$6 cxx=$7
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset DESTDIR

fail() {
    printf 'install_test: %s\n' "$*" >&2
    exit 1
}

run_quietly() {
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log" >&2
        fail "failed: $*"
    }
}

for component in runtime development; do
    run_quietly "$cmake" --install "$build" --prefix "$work/first" --component "$component"
done
mv "$work/first" "$work/prefix"
prefix=$work/prefix
if grep -rqF -e "$build" -e "$source" "$prefix/$libdir/cmake" "$prefix/$libdir/pkgconfig"; then
    fail "an installed file names the build or source tree"
fi
if readelf -d "$prefix/$libdir/libOvelRender.so" | grep -E 'R(UN)?PATH'; then
    fail "the installed library has a run path"
fi

# Shows something in a window and leaves a picture of it; without a display it only has to load.
run_minimal() {
    local program=$1 picture=$work/picture.png
    rm -f "$picture"
    if [ -n "${DISPLAY:-}" ]; then
        LD_LIBRARY_PATH=$prefix/$libdir QT_QPA_PLATFORM=xcb run_quietly "$program" "$picture"
        [ "$(head -c 8 "$picture" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "$program made no picture"
        # A single colour packs into a few bytes per row.
        [ "$(wc -c <"$picture")" -gt 2000 ] || fail "$program shows nothing"
    elif LD_LIBRARY_PATH=$prefix/$libdir ldd "$program" | grep 'not found'; then
        fail "$program does not load"
    fi
}

# by_cmake SAMPLE: a copy of it builds outside the source tree, into $work/by-cmake-SAMPLE.
by_cmake() {
    local build_directory=$work/by-cmake-$1
    cp -r "$source/examples/$1" "$work/$1"
    run_quietly "$cmake" -S "$work/$1" -B "$build_directory" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"
    grep -q "^OvelRender_DIR:PATH=$prefix/" "$build_directory/CMakeCache.txt" || fail "another installed OvelRender was found"
    run_quietly "$cmake" --build "$build_directory"
}
by_cmake minimal
run_minimal "$work/by-cmake-minimal/minimal"
by_cmake overlays
run_minimal "$work/by-cmake-overlays/overlays"
if command -v pkg-config >/dev/null && pkg-config --exists libavformat libavcodec libavutil; then
    by_cmake ffmpeg
fi

mkdir "$work/refused"
# refused TEXT LINE...: a project with these lines cannot be configured, and the message says TEXT.
refused() {
    local text=$1
    shift
    {
        printf 'cmake_minimum_required(VERSION 3.16)\nproject(refused LANGUAGES C CXX)\n'
        printf '%s\n' "$@"
    } >"$work/refused/CMakeLists.txt"
    rm -rf "$work/refused/build"
    if "$cmake" -S "$work/refused" -B "$work/refused/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" 2>&1; then
        fail "accepted: $*"
    fi
    tr -s ' \n' ' ' <"$work/log" | grep -qF "$text" || {
        cat "$work/log" >&2
        fail "the message does not say: $text"
    }
}
other=$((11 - qt))
refused 'compatible with requested version "2"' 'find_package(OvelRender 2 REQUIRED)'
refused "was built with Qt $qt, the project uses Qt $other" \
    "add_library(Qt$other::Core INTERFACE IMPORTED)" 'find_package(OvelRender REQUIRED)'

"$cc" -std=c11 -pedantic -Wall -Wextra -Werror -I"$prefix/include" "$source/tests/package/host.c" \
    -L"$prefix/$libdir" -lOvelRender -o "$work/host"
LD_LIBRARY_PATH=$prefix/$libdir run_quietly "$work/host"

command -v pkg-config >/dev/null || {
    echo "install_test: skipped the rest, pkg-config is missing" >&2
    exit 77
}
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
read -ra flags < <(pkg-config --cflags --libs OvelRender)
run_quietly "$cxx" -std=c++17 -fPIC "$work/minimal/main.cpp" "${flags[@]}" -o "$work/by-pkg-config"
run_minimal "$work/by-pkg-config"
echo "install_test: find_package, pkg-config and plain C"
