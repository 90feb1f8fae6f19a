#!/bin/sh
# Prints the names that a shared library defines for others, one a line. Left out: the linker's own marks, and weak copies
# of what belongs to the standard library and Qt, which compilers leave in any library.
nm -D --defined-only --format=posix "$1" |
    awk '$1 ~ /^(__bss_start|_edata|_end|_init|_fini)$/ { next } $2 ~ /[WV]/ && $1 !~ /^_ZT[ISV][0-9]*CLS_/ { next } { print $1 }' |
    LC_ALL=C sort -u
