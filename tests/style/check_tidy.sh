#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# scripts/tidy finds the faults of every source of a group, whatever kind of check finds them; it checks sources whose
# names clash; it checks nothing again that has passed, and all again that reads a changed header.
# usage: check_tidy.sh SOURCE
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work/scripts" "$work/sdk" "$work/build" "$work/bin"
cp "$source/scripts/tidy" "$work/scripts/"
cp "$source/.clang-tidy" "$work/"
{
    separator='['
    for name in one two three; do
        echo "$separator{\"directory\": \"$work/build\", \"file\": \"$work/sdk/$name.cpp\","
        echo "\"command\": \"ccache c++ -std=c++20 -o $name.o -c $work/sdk/$name.cpp\"}"
        separator=','
    done
    echo ']'
} >"$work/build/compile_commands.json"

# one and two have a name in common, so that they cannot be compiled together.
clean() {
    echo 'inline int shared(int value) { return value; }' >"$work/sdk/shared.h"
    printf '#include "shared.h"\nstatic int clash() { return 1; }\nint one() { return shared(clash()); }\n' >"$work/sdk/one.cpp"
    printf 'static long clash() { return 2; }\nlong two() { return clash(); }\n' >"$work/sdk/two.cpp"
    echo 'int three(int* place) { return place != nullptr ? *place : 0; }' >"$work/sdk/three.cpp"
}
tidy() { "$work/scripts/tidy" --checks="-bugprone-*" "$work/build" sdk >"$work/printed" 2>&1; }
failed() {
    echo "FAILED: $1"
    cat "$work/printed"
    exit 1
}
passes() { tidy || failed "$1"; }
finds() { # what, source, text
    ! tidy || failed "$1: nothing found"
    grep -q "sdk/$2.*$3" "$work/printed" || failed "$1: not in $2"
    clean
}

clean
passes "sources without a fault"

echo 'int three(int* place) { if (place != nullptr) return 0; return *place; }' >"$work/sdk/three.cpp"
finds "a fault on a path" three.cpp clang-analyzer-core.NullDereference
echo 'long two(long value) { if (value == value) return 1; return 2; }' >"$work/sdk/two.cpp"
finds "a fault in an expression" two.cpp misc-redundant-expression
echo 'inline int* shared(int) { return 0; }' >"$work/sdk/shared.h"
printf '#include "shared.h"\nint* one() { return shared(1); }\n' >"$work/sdk/one.cpp"
finds "a fault in a header" shared.h modernize-use-nullptr
echo 'int one() { return missing(); }' >"$work/sdk/one.cpp"
finds "a source that cannot be compiled" one.cpp missing

# With a clang-tidy that finds fault with all that it reads.
passes "sources as they were"
version=$(clang-tidy --version)
printf '#!/bin/sh\n[ "$1" != --version ] || { echo "%s"; exit 0; }\necho read again\nexit 1\n' "$version" >"$work/bin/clang-tidy"
chmod +x "$work/bin/clang-tidy"
PATH=$work/bin:$PATH
passes "what passed before"
echo '// changed' >>"$work/sdk/shared.h"
! tidy || failed "a changed header: nothing was read again"
[ "$(grep -c 'read again' "$work/printed")" = 1 ] || failed "a changed header: other sources were read again"
