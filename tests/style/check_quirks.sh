#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Every test that docs/quirks.md and docs/formats/ name exists; and each comment "on purpose" in the sources has its line
# at the end of docs/quirks.md, with a test that the tables before it name. usage: check_quirks.sh SOURCE
set -eu
cd "$1"
status=0
names=$(grep -rhoE '`[A-Z][A-Za-z0-9]*\.[A-Z][A-Za-z0-9]*`' docs/quirks.md docs/formats | tr -d '`' | LC_ALL=C sort -u)
[ -n "$names" ]
for name in $names; do
    grep -rqE "^TEST(_F|_P)?\(${name%%.*}, ${name#*.}\)" tests || { echo "no test $name"; status=1; }
done
echo "$(echo "$names" | wc -l) tests named"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
grep -rhoE '^\| `[a-zA-Z/_.]+/[a-zA-Z/_.]+` \| `[A-Za-z0-9.]+` \|$' docs/quirks.md | tr -d '`|' >"$work/list"
sed '/^## In the sources/,$d' docs/quirks.md >"$work/tables"
while read -r file test; do
    echo "$file"
    grep -qF "\`$test\`" "$work/tables" || echo "$test, of $file, is in no table of docs/quirks.md" >>"$work/wrong"
done <"$work/list" | LC_ALL=C sort >"$work/listed"
grep -rn 'on purpose' app process recognise sdk server src web --include='*.cpp' --include='*.h' --include='*.inc' |
    cut -d : -f 1 | LC_ALL=C sort >"$work/said"
diff "$work/listed" "$work/said" >"$work/difference" ||
    { echo 'the list in docs/quirks.md (<) and the comments "on purpose" (>) differ:'; cat "$work/difference"; status=1; }
[ ! -s "$work/wrong" ] || { cat "$work/wrong"; status=1; }
[ -s "$work/said" ]
exit $status
