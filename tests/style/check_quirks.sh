#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Every test that docs/quirks.md and docs/formats/ name exists. usage: check_quirks.sh SOURCE
set -eu
cd "$1"
status=0
names=$(grep -rhoE '`[A-Z][A-Za-z0-9]*\.[A-Z][A-Za-z0-9]*`' docs/quirks.md docs/formats | tr -d '`' | LC_ALL=C sort -u)
[ -n "$names" ]
for name in $names; do
    grep -rqE "^TEST(_F|_P)?\(${name%%.*}, ${name#*.}\)" tests || { echo "no test $name"; status=1; }
done
echo "$(echo "$names" | wc -l) tests named"
exit $status
