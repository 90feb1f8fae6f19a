#!/bin/sh
# Writes exports.txt anew from a built library: update_exports.sh PATH/libOvelRender.so. Read the difference.
set -e
here=$(dirname "$0")
"$here/exports_of.sh" "$1" >"$here/exports.new"
mv "$here/exports.new" "$here/exports.txt"
