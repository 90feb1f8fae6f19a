#!/usr/bin/env bash
# Line coverage of the library under the whole test suite; fails below the share given (default 95 %).
#   tools/coverage.sh [PERCENT] [CTEST-OPTION...]
# Needs what the tests need, gcovr, and a display (xvfb-run where there is none).
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
share=${1:-95}
shift || true
build=build/coverage

mkdir -p "$build"
quietly() {
    "$@" >"$build/log" 2>&1 || {
        tail -n 200 "$build/log" >&2
        exit 1
    }
}

# Hardly optimised, so that lines and code belong together and the reference pictures take no hours.
# Exceptions that nobody wrote are no branches. Profiles are updated atomically: several threads count.
quietly cmake -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DOVEL_BUILD_TESTS=ON -DOVEL_INSTALL=OFF \
    -DCMAKE_CXX_FLAGS="-Og --coverage -fprofile-update=atomic" -DCMAKE_C_FLAGS=--coverage
quietly nice cmake --build "$build" --parallel 2
find "$build" -name '*.gcda' -delete
display=()
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    display=(xvfb-run -a -s "-screen 0 1920x1200x24 +extension GLX -nolisten tcp")
fi
"${display[@]}" ctest --test-dir "$build" --output-on-failure "$@" || echo "coverage: some tests failed" >&2
gcovr --root . --filter 'OvelRender/' --exclude '.*_autogen.*' --exclude-throw-branches --gcov-ignore-parse-errors \
    --html-details "$build/coverage.html" --txt "$build/coverage.txt" --fail-under-line "$share" "$build" ||
    { cat "$build/coverage.txt"; echo "coverage: below $share %" >&2; exit 1; }
cat "$build/coverage.txt"
echo "coverage: details in $build/coverage.html"
