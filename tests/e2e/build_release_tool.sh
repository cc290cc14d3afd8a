#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds the tool for release, without what tests are built with. The build stays, so that the next one is quick.
# usage: build_release_tool.sh SOURCE BUILD COMPILER KEY_HALF_1 KEY_HALF_2; the tool is BUILD/app/tarn.
set -eu
source=$1 build=$2 compiler=$3 half1=$4 half2=$5

mkdir -p "$build"
cmake -S "$source" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" \
    -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_SERVER=OFF \
    -DTARN_CIPHER_KEY_1="$half1" -DTARN_CIPHER_KEY_2="$half2" >"$build/configure.log" ||
    { cat "$build/configure.log"; exit 1; }
cmake --build "$build" --target tarn >"$build/build.log" || { cat "$build/build.log"; exit 1; }
