#!/bin/sh
# Code strings must be the same from every compiler at every optimisation level, with and without fused multiply-add.
# Builds the library with the code string printer each way, straight from the sources, and compares what they print;
# the plain engine is among them. Exit status 1 at a difference.
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

levels="-O0 -O2 -O3"
if grep -qw avx2 /proc/cpuinfo && grep -qw fma /proc/cpuinfo; then
    levels="$levels -O3,-march=x86-64-v3"
else
    echo "left out, for this processor lacks AVX2 or FMA: -O3 -march=x86-64-v3"
fi

# build OUTPUT COMPILER LEVEL [plain]: OUTPUT is what the program printed, OUTPUT.log what the compiler said.
build() {
    set -- "$1" "$2" "$(echo "$3" | tr , ' ')" "${4:-}"
    if [ -n "$4" ]; then
        sources="-DTARN_PLAIN_ENGINE $root/tests/fingerprint/plain_engine.cpp"
    else
        sources="$root/sdk/*/*.cpp $root/src/PacketSigning/*.cpp"
    fi
    # shellcheck disable=SC2086 # lists of flags and sources
    "$2" -std=c++20 $3 -ffp-contract=off -I"$root/sdk" -I"$root/src" -I"$root/tests" $sources \
        "$root/tests/support/audio.cpp" "$root/tests/exactness/code_strings.cpp" -o "$1.exe" >"$1.log" 2>&1 &&
        "$1.exe" >"$1" 2>>"$1.log"
}

# Two at a time.
number=0
for level in $levels; do
    for kind in "" plain; do
        build "$work/g$number" g++ "$level" $kind &
        one=$!
        build "$work/c$number" clang++ "$level" $kind &
        other=$!
        wait $one || { cat "$work/g$number.log"; exit 1; }
        wait $other || { cat "$work/c$number.log"; exit 1; }
        echo "g++ $level $kind|$work/g$number" >>"$work/list"
        echo "clang++ $level $kind|$work/c$number" >>"$work/list"
        number=$((number + 1))
    done
done

reference="$work/g0"
strings=$(wc -l <"$reference")
if [ "$strings" -lt 100 ] || ! grep -q ': [a-x]\{50\}' "$reference"; then
    echo "the builds print too little to be compared"
    exit 1
fi
status=0
while IFS='|' read -r name output; do
    if cmp -s "$reference" "$output"; then
        echo "same: $name"
    else
        echo "DIFFERENT: $name"
        diff "$reference" "$output" | head -4 | cut -c1-300
        status=1
    fi
done <"$work/list"
echo "$strings strings from each of $(wc -l <"$work/list") builds"
exit $status
