#!/usr/bin/env bash
# Line coverage of the library under the tests; fails below the share given (default 95 %).
#   tools/coverage.sh [PERCENT] [CTEST-OPTION...]
# Needs what the tests need, gcovr, and a display (tools/on-display.sh).
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
share=${1:-95}
shift || true
build=build/coverage

mkdir -p "$build"
# Hardly optimised, so that lines and code belong together and the reference pictures take no hours. Profiles are
# updated atomically: several threads count.
{ cmake --preset coverage -DOVEL_BUILD_TESTS=ON && nice cmake --build --preset coverage; } >"$build/log" 2>&1 || {
    tail -n 200 "$build/log" >&2
    exit 1
}
find "$build" -name '*.gcda' -delete
ctest --preset coverage "$@" || echo "coverage: some tests failed" >&2
# Exceptions that nobody wrote are no branches.
gcovr --root . --filter 'OvelRender/' --exclude '.*_autogen.*' --exclude-throw-branches --gcov-ignore-parse-errors \
    --html-details "$build/coverage.html" --txt "$build/coverage.txt" --fail-under-line "$share" "$build" ||
    { cat "$build/coverage.txt"; echo "coverage: below $share %" >&2; exit 1; }
cat "$build/coverage.txt"
echo "coverage: details in $build/coverage.html"
