#!/usr/bin/env bash
# Style over everything, clang-tidy and cppcheck over library and samples; the first finding fails.
# Needs clang, clang-format, clang-tidy, cppcheck, and what a build needs.
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
build=build/lint
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}

tools/style.sh

# clang-tidy wants a compilation database and the files that moc makes.
mkdir -p "$build"
{
    cmake --preset lint
    targets=$(cmake --build "$build" --target help | grep -oE '^[A-Za-z_]+_autogen\b' | sort -u)
    nice cmake --build "$build" --target $targets
} >"$build/log" 2>&1 || {
    cat "$build/log" >&2
    exit 1
}
# Only files that this machine can build: without FFmpeg the player is left out.
git ls-files --cached --others --exclude-standard -- 'OvelRender/*.cpp' 'apps/*.cpp' 'examples/*.cpp' |
    while read -r file; do
        if grep -qF "\"file\": \"$PWD/$file\"" "$build/compile_commands.json"; then echo "$file"; fi
    done | nice xargs -P"$jobs" -n2 clang-tidy --quiet -p "$build" 2>"$build/tidy.log" || {
    grep -vE 'warnings? generated|^Suppressed|^Use -header-filter' "$build/tidy.log" >&2 || true
    exit 1
}
echo "lint: clang-tidy"

mkdir -p "$build/cppcheck"
nice cppcheck --quiet --error-exitcode=1 -j"$jobs" --cppcheck-build-dir="$build/cppcheck" --std=c++17 --language=c++ \
    --inline-suppr --enable=warning,performance,portability --library=qt --suppress=missingIncludeSystem \
    -Iinclude -IOvelRender OvelRender apps examples
echo "lint: cppcheck"
