#!/bin/sh
# Installs the library, static (OFF) or shared (ON), and builds and runs a C and a C++ program outside the tree against
# it, by pkg-config and by find_package. For the shared library also compares the exported names with the stored list.
# usage: check_install.sh SOURCE WORK OFF|ON
set -eu
source=$1 work=$2 shared=$3
expected="kvx 3.7.0, a request of 70 bytes" # 52 header + 4 payload length + 6 payload + 4 appendix length + 4 sum

rm -rf "$work"
mkdir -p "$work"
cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF \
    -DTARN_BUILD_SERVER=OFF \
    -DBUILD_SHARED_LIBS="$shared" >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" --target kvx >"$work/build.log" || { cat "$work/build.log"; exit 1; }
cmake --install "$work/build" --component kvx --prefix "$work/prefix" >/dev/null

config=$(find "$work/prefix" -name kvx.pc)
libdir=$(dirname "$(dirname "$config")")
export PKG_CONFIG_PATH="$libdir/pkgconfig" LD_LIBRARY_PATH="$libdir"
[ -f "$work/prefix/include/kvx.h" ]
[ -f "$libdir/cmake/kvx/kvx-config.cmake" ]

check() { # program: its output must be the expected line
    output=$("$1")
    [ "$output" = "$expected" ] || { echo "$1 printed: $output"; exit 1; }
    echo "ok: $1"
}

static=""
[ "$shared" = ON ] || static="--static"
# shellcheck disable=SC2046 # lists of words
cc -std=c11 -Wall -Wextra -Werror "$source/tests/install/consumer/consumer.c" \
    $(pkg-config $static --cflags --libs kvx) -o "$work/pkgconfig_c"
# shellcheck disable=SC2046
c++ -std=c++20 -Wall -Wextra -Werror "$source/tests/install/consumer/consumer.cpp" \
    $(pkg-config $static --cflags --libs kvx) -o "$work/pkgconfig_cpp"
cmake -S "$source/tests/install/consumer" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
    >"$work/consumer.log" || { cat "$work/consumer.log"; exit 1; }
cmake --build "$work/consumer" >"$work/consumer.log" || { cat "$work/consumer.log"; exit 1; }
for program in "$work/pkgconfig_c" "$work/pkgconfig_cpp" "$work/consumer/consumer_c" "$work/consumer/consumer_cpp"; do
    check "$program"
done

if [ "$shared" = ON ]; then
    nm -D --defined-only "$libdir/libkvx.so" | awk '{ print $3 }' | LC_ALL=C sort >"$work/names.txt"
    LC_ALL=C diff "$source/tests/data/exported_names.txt" "$work/names.txt"
    echo "ok: $(wc -l <"$work/names.txt") exported names"
fi
