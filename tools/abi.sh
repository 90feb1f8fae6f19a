#!/usr/bin/env bash
# Compares the exported symbols and the layout of records and classes with the baseline in abi/.
#   tools/abi.sh             fails on every difference
#   tools/abi.sh --accept    makes the present state the baseline; say in NEWS.md what changes for hosts
#   tools/abi.sh --prove     shows that a moved field and a lost function are found
# Needs g++, cmake, Qt 5 and libabigail (Debian: abigail-tools).
set -euo pipefail
export LC_ALL=C.UTF-8
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
build=${OVEL_ABI_BUILD:-$root/build/abi}

die() {
    printf 'abi: %s\n' "$*" >&2
    exit 1
}

if [ "$(uname -m)" != x86_64 ]; then
    echo "abi: skipped, the baseline is for x86-64" >&2
    exit 77
fi
for tool in g++ cmake abidw abidiff; do
    command -v "$tool" >/dev/null || die "$tool is missing"
done

quietly() {
    "$@" >"$build/log" 2>&1 || {
        cat "$build/log" >&2
        die "failed: $*"
    }
}

# describe SHARED-OBJECT FILE
describe() {
    quietly abidw --suppressions abi/suppressions --no-parameter-names --no-elf-needed --no-corpus-path --no-show-locs \
        --no-comp-dir-path --drop-undefined-syms --exported-interfaces-only --out-file "$2" "$1"
}

# Paths of this machine stay out of the debug information and so out of the baseline.
describe_all() {
    local out=$1 record
    mkdir -p "$build" "$out"
    for record in $(sed -nE 's/^(typedef )?struct ([A-Za-z_0-9]+) \{.*/\2/p' include/*.h); do
        grep -qE "\b$record\b" abi/records.cpp || die "abi/records.cpp does not name $record"
    done
    quietly cmake -S "$root" -B "$build/library" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DOVEL_QT=5 \
        -DCMAKE_CXX_FLAGS="-g -fdebug-prefix-map=$root=. -fdebug-prefix-map=$build=./build/abi" \
        -DOVEL_BUILD_TESTS=OFF -DOVEL_BUILD_EXAMPLES=OFF -DOVEL_INSTALL=OFF
    quietly nice cmake --build "$build/library" --target OvelRender --parallel 2
    quietly g++ -std=c++17 -g -fPIC -shared -fvisibility=hidden -fdebug-prefix-map="$root=." -Iinclude abi/records.cpp \
        -Wl,-soname,records -o "$build/records.so"
    describe "$build/library/OvelRender/libOvelRender.so" "$out/libOvelRender.so.1.abi"
    describe "$build/records.so" "$out/records.abi"
}

accept() {
    describe_all abi
    abi/update_exports.sh "$build/library/OvelRender/libOvelRender.so"
    echo "abi: the baseline is what is built now; add a line to NEWS.md that says what changes for hosts"
}

check() {
    local name bad=0
    describe_all "$build/now"
    for name in libOvelRender.so.1 records; do
        [ -f "abi/$name.abi" ] || die "abi/$name.abi is missing (tools/abi.sh --accept makes it)"
        abidiff --suppressions abi/suppressions --leaf-changes-only --no-show-locs \
            "abi/$name.abi" "$build/now/$name.abi" || bad=1
    done
    [ $bad -eq 0 ] || die "differs from abi/; if that is meant: tools/abi.sh --accept and a line in NEWS.md"
    echo "abi: symbols, records and classes are as in abi/"
}

# expect_found WHAT FILE SED-EXPRESSION: a copy of the sources with this change is refused.
expect_found() {
    local what=$1 file=$2 expression=$3 copy=$build/prove
    rm -rf "$copy"
    mkdir -p "$copy"
    cp -r CMakeLists.txt cmake include OvelRender abi tools "$copy"
    sed -i -E "$expression" "$copy/$file"
    cmp -s "$file" "$copy/$file" && die "the change in $file changes nothing"
    if OVEL_ABI_BUILD=$copy/build/abi "$copy/tools/abi.sh" >"$build/proof" 2>&1; then
        die "not found: $what"
    fi
    grep -q 'differs from abi/' "$build/proof" || {
        cat "$build/proof" >&2
        die "the copy was not compared: $what"
    }
    echo "abi: found: $what"
}

prove() {
    check
    expect_found "a moved field of a record" include/OvelInterface.h \
        's/int32_t iFontSize;/int32_t swapped;/; s/int32_t iPointNum;/int32_t iFontSize;/; s/int32_t swapped;/int32_t iPointNum;/'
    expect_found "a moved field of a class" OvelRender/CLS_ShaderBase.h \
        's/int m_nVideoWidth;/int swapped;/; s/int m_nVideoHeight;/int m_nVideoWidth;/; s/int swapped;/int m_nVideoHeight;/'
    expect_found "a function that is exported no more" include/OvelHelpers.h 's/OVEL_API (int os_usleep)/\1/'
}

case ${1:-} in
'') check ;;
--accept) accept ;;
--prove) prove ;;
*) die "unknown option $1 (--accept, --prove)" ;;
esac
