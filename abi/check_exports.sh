#!/bin/sh
# Compares a library's exported names with exports.txt: "<" is promised and missing, ">" is exported and not meant.
here=$(dirname "$0")
"$here/exports_of.sh" "$1" | diff "$here/exports.txt" - && exit 0
echo "If the change is meant: $here/update_exports.sh $1"
exit 1
