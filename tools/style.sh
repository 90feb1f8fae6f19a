#!/usr/bin/env bash
# Formatting as .clang-format says.
#   tools/style.sh           fails on the first difference
#   tools/style.sh --fix     formats
# Needs clang-format 16: other versions format some lines otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
format=clang-format-16
command -v $format >/dev/null || format=clang-format
action=(--dry-run --Werror)
[ "${1:-}" != --fix ] || action=(-i)
git ls-files -z --cached --others --exclude-standard -- '*.cpp' '*.h' '*.c' |
    while IFS= read -r -d '' file; do [ ! -f "$file" ] || printf '%s\0' "$file"; done |
    xargs -0 $format "${action[@]}"
echo "style: as .clang-format says"
