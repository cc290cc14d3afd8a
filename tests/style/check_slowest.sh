#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# scripts/slowest lists the five longest steps and tests in front of ctest's summary, and changes no other line.
# usage: check_slowest.sh SOURCE
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

printf '# ninja log v5\n0\t1500\t0\ta.o\t1\n1500\t9500\t0\tb.o\t2\n1500\t9500\t0\tb.list\t2\n' >"$work/.ninja_log"
for place in 3 4 5 6; do printf '0\t%s00\t0\tstep_%s.o\t%s\n' $place $place $place; done >>"$work/.ninja_log"

tests() {
    echo '    Start 1: quick/one'
    for place in 1 2 3 4 5; do
        echo "$place/7 Test #$place: test_$place.Name/0 ........   Passed    0.0$place sec"
    done
    echo '6/7 Test #6: long/one ................***Failed   12.00 sec'
    echo '7/7 Test #7: a_name_so_long_that_no_dots_follow ***Timeout  9.50 sec'
    echo
}
summary() {
    echo '71% tests passed, 2 tests failed out of 7'
    echo
    echo 'Total Test time (real) =  21.50 sec'
}
{
    tests
    echo 'Slowest build steps, each as it was last built:'
    echo '     8.0 s  b.o'
    echo '     1.5 s  a.o'
    echo '     0.6 s  step_6.o'
    echo '     0.5 s  step_5.o'
    echo '     0.4 s  step_4.o'
    echo 'Slowest tests:'
    echo '    12.0 s  long/one'
    echo '     9.5 s  a_name_so_long_that_no_dots_follow'
    echo '     0.1 s  test_5.Name/0'
    echo '     0.0 s  test_4.Name/0'
    echo '     0.0 s  test_3.Name/0'
    echo
    summary
} >"$work/expected"
{ tests; summary; } | "$1/scripts/slowest" "$work" >"$work/printed"
diff "$work/expected" "$work/printed"
