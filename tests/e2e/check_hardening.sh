#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# An installed program is hardened: it can lie anywhere, its tables cannot be written once it runs, its stack is watched
# and its copies are checked.
# usage: check_hardening.sh PROGRAM
set -eu
program=$1
export LC_ALL=C

need() { # description, then a command that prints something where it holds
    what=$1
    shift
    "$@" >/dev/null || { echo "$program: $what is missing"; exit 1; }
    echo "ok: $what"
}
header=$(readelf -hldW "$program")
names=$(nm -D "$program")
has() { echo "$1" | grep -qE "$2"; }
need "a position of its own" has "$header" 'Type: +DYN \(Position-Independent Executable'
need "a part that is read-only once it runs" has "$header" 'GNU_RELRO'
need "binding at the start" has "$header" 'BIND_NOW|Flags: .*NOW'
need "a stack that cannot be executed" has "$header" 'GNU_STACK.* RW '
need "a stack protector" has "$names" '__stack_chk_fail'
need "checked copies" has "$names" '__(memcpy|snprintf|fprintf|printf|read|memmove)_chk'
