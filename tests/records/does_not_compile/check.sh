#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Compiles each case of rows.cpp: the one without a fault compiles, every other fails with the error that it names.
# usage: check.sh COMPILER SOURCE
set -eu
compiler=$1 source=$2
rows=$source/tests/records/does_not_compile/rows.cpp
errors=$(mktemp)
trap 'rm -f "$errors"' EXIT

compile() { # CASE
    LC_ALL=C "$compiler" -std=c++20 -fsyntax-only -I"$source/sdk" -I"$source/sdk/include" -DCASE="$1" "$rows" \
        2>"$errors"
}

compile 0 || { echo "FAILED: the table without a fault does not compile"; cat "$errors"; exit 1; }
status=0
cases=$(sed -n 's|^ *// \([0-9]*\): .*|\1|p' "$rows")
for case in $cases; do
    expected=$(sed -n "s|^ *// $case: ||p" "$rows")
    if compile "$case"; then
        echo "FAILED: case $case compiles"
        status=1
    elif ! grep -E ': (error|note): ' "$errors" | grep -qF "$expected"; then
        echo "FAILED: case $case gives other errors than \"$expected\":"
        cat "$errors"
        status=1
    fi
done
count=$(echo "$cases" | wc -l)
written=$(grep -cE '^#(el)?if CASE == [1-9]' "$rows")
[ "$count" = "$written" ] || { echo "FAILED: $written cases, $count of them with an expected error"; status=1; }
echo "$count tables that must not compile"
exit $status
