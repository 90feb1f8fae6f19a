#!/usr/bin/env bash
# clang-format over everything, clang-tidy and cppcheck over library and samples; the first finding fails.
# Needs clang, clang-format, clang-tidy, cppcheck, and what a build needs.
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
build=build/lint

sources() { git ls-files --cached --others --exclude-standard -- "$@" | while read -r f; do [ ! -f "$f" ] || echo "$f"; done; }

sources '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run --Werror
echo "lint: clang-format"

# clang-tidy wants a compilation database and the files that moc makes.
mkdir -p "$build"
cmake -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DOVEL_BUILD_TESTS=OFF >"$build/log" 2>&1 || {
    cat "$build/log" >&2
    exit 1
}
for target in $(cmake --build "$build" --target help | grep -oE '[A-Za-z_]+_autogen$|[A-Za-z_]+_autogen:' | tr -d ':' | sort -u); do
    nice cmake --build "$build" --target "$target" >>"$build/log" 2>&1
done
# Only files that this machine can build: without FFmpeg the player is left out.
sources 'OvelRender/*.cpp' 'apps/*.cpp' 'examples/*.cpp' | while read -r file; do
    if grep -qF "\"file\": \"$PWD/$file\"" "$build/compile_commands.json"; then echo "$file"; fi
done | nice xargs -P2 -n4 clang-tidy --quiet -p "$build" 2>"$build/tidy.log" || {
    grep -vE 'warnings? generated|^Suppressed|^Use -header-filter' "$build/tidy.log" >&2 || true
    exit 1
}
echo "lint: clang-tidy"

nice cppcheck --quiet --error-exitcode=1 --std=c++17 --language=c++ --inline-suppr \
    --enable=warning,performance,portability --library=qt --suppress=missingIncludeSystem \
    -Iinclude -IOvelRender OvelRender apps examples
echo "lint: cppcheck"
