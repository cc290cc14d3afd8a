#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Every source says under which licence it is. usage: check_licence.sh SOURCE
# JSON has no comments; package.json says it in a member.
set -eu
cd "$1"
# shellcheck disable=SC2046 # a list of folders
without=$(find $(scripts/source-folders all) cmake scripts .ci CMakeLists.txt \
    -path fuzz/corpus -prune -o -path tests/data -prune -o \
    -type f ! -name '*.txt' ! -name '*.in' ! -name '*.md' ! -name 'package*.json' -print -o -name CMakeLists.txt -print |
    xargs grep -L 'SPDX-License-Identifier: Apache-2.0') || true
[ -z "$without" ] || { echo "no licence line in:" "$without"; exit 1; }
