#!/usr/bin/env bash
# Reference documentation and guides into build/docs/html; a public name without documentation is an error.
# Needs doxygen.
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/.."
mkdir -p build
doxygen docs/Doxyfile
echo "docs: build/docs/html/index.html"
