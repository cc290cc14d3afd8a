#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds the library for release and installs it: static, and then shared and static. Builds and runs a C and a C++
# program outside the tree against each, by pkg-config and by find_package, and the whole recognition in C. Compares the
# names that the shared library exports with the stored list. Then runs the library's own tests on the objects that were
# installed: what the optimiser made of them is what users have.
# usage: check_install.sh SOURCE WORK; the build stays in WORK, so that the next one is quick.
set -eu
source=$1 work=$2
version=$(sed -n 's/^#define KVX_VERSION "\(.*\)"/\1/p' "$source/sdk/include/kvx.h")
# 52 header + 4 payload length + 6 payload + 4 appendix length + 4 sum
expected="kvx $version, protocol 3.7.0, a request of 70 bytes"
multiarch=lib/x86_64-linux-gnu

rm -rf "$work/installed"
mkdir -p "$work/installed"
cd "$work"

failed() { # what
    echo "FAILED: $1"
    exit 1
}

logged() { # log, command
    log=$1
    shift
    "$@" >"$log" 2>&1 || { cat "$log"; failed "$*"; }
}

same() { # what, expected, found
    [ "$2" = "$3" ] || failed "$1: expected \"$2\", found \"$3\""
    echo "ok: $1: $2"
}

build() { # BUILD_SHARED_LIBS, libdir
    logged configure.log cmake -S "$source" -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=ON \
        -DTARN_QUICK_TESTS=ON -DTARN_BUILD_SERVER=OFF -DBUILD_SHARED_LIBS="$1" -DCMAKE_INSTALL_LIBDIR="$2"
    logged build.log cmake --build build --target sdk/all
}

# Programs outside the tree: use PREFIX KIND [pkg-config's option]
use() {
    prefix=$work/installed/$1 kind=$2 option=${3:-}
    libdir=$(dirname "$(dirname "$(find "$prefix" -name kvx.pc)")")
    export PKG_CONFIG_PATH="$libdir/pkgconfig" LD_LIBRARY_PATH="$libdir"
    [ -f "$prefix/include/kvx.h" ]
    programs=$work/programs/$1-$kind
    mkdir -p "$programs"
    # shellcheck disable=SC2046,SC2086 # lists of words
    {
        flags=$(pkg-config $option --cflags --libs kvx)
        [ "$kind" != static ] || flags=$(echo "$flags" | sed "s|-lkvx|-l:libkvx.a|")
        cc -std=c11 -Wall -Wextra -Werror "$source/tests/install/consumer/consumer.c" $flags -o "$programs/pkgconfig_c"
        cc -std=c11 "$source/tests/core/c_api_test.c" $flags -o "$programs/whole_recognition"
        cc -std=c11 -Wall -Wextra -Werror "$source/examples/recognise.c" $flags -o "$programs/recognise"
        c++ -std=c++20 -Wall -Wextra -Werror "$source/tests/install/consumer/consumer.cpp" $flags \
            -o "$programs/pkgconfig_cpp"
    }
    target=kvx::kvx
    [ "$kind" != static ] || target=kvx::kvx_static
    logged consumer.log cmake -S "$source/tests/install/consumer" -B "$programs/cmake" -G Ninja \
        -DCMAKE_PREFIX_PATH="$prefix" -DKVX_TARGET="$target" -DKVX_WANTED="$version"
    logged consumer.log cmake --build "$programs/cmake"
    "$programs/whole_recognition" || failed "a whole recognition in C, $1, $kind"
    "$programs/recognise" 2>&1 | grep -q '^usage: ' || failed "the example, $1, $kind"
    for program in pkgconfig_c pkgconfig_cpp cmake/consumer_c cmake/consumer_cpp; do
        same "$1, $kind, $program" "$expected" "$("$programs/$program")"
        loads=no
        ! ldd "$programs/$program" | grep -q "$libdir/libkvx.so.3" || loads=yes
        wanted=yes
        [ "$kind" != static ] || wanted=no
        same "$1, $kind, $program loads libkvx.so.3" "$wanted" "$loads"
    done
}

build OFF lib
logged install.log cmake --install build --component kvx --prefix "$work/installed/static"
[ ! -e "$work/installed/static/lib/libkvx.so" ] || failed "a shared library where none was asked for"
use static static

build ON "$multiarch"
logged install.log cmake --install build --component kvx --prefix "$work/installed/both"
use both shared
use both static --static

# As a distribution packs it.
logged install.log env DESTDIR="$work/installed/staged" cmake --install build --component kvx --prefix /usr
export PKG_CONFIG_PATH="$work/installed/staged/usr/$multiarch/pkgconfig"
export PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1
same "flags below /usr" "-I/usr/include -L/usr/$multiarch -lkvx" "$(pkg-config --cflags --libs kvx | sed 's/ *$//')"
same "version" "$version" "$(pkg-config --modversion kvx)"

library=$work/installed/both/$multiarch/libkvx.so.3
same "the name that programs load" "libkvx.so.3" "$(objdump -p "$library" | sed -n 's/^ *SONAME *//p')"
nm -D --defined-only "$library" | awk '{ print $3 }' | LC_ALL=C sort >names.txt
LC_ALL=C diff "$source/tests/data/exported_names.txt" names.txt || failed "the exported names"
echo "ok: $(wc -l <names.txt) exported names"

logged build.log cmake --build build --target util_test signing_test records_test core_test fingerprint_test \
    c_api_test_static c_api_test_shared struct_layouts_c_test
logged tests.log ctest --test-dir build -j 2 -L quick -R '^(util|signing|records|core|fingerprint)_test/' \
    --no-tests=error
echo "ok: $(sed -n 's/^\(.*tests passed.*\)$/\1/p' tests.log)"
