#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The commands of docs/redis.md that set a cluster up work as they stand there, on other ports and in a directory of
# their own. usage: run_cluster_commands.sh DOCUMENT TARN_SERVER MAKE_COLLECTION
set -euo pipefail
document=$1 server=$2 make_collection=$3
work=$(mktemp -d)
base=$((1000 + RANDOM % 1100)) # ports of five digits, whose last one the document gives
end() {
    for log in "$work"/*/pid; do
        [ ! -s "$log" ] || kill -9 "$(cat "$log")" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap end EXIT

mkdir "$work/bin" "$work/Music"
ln -s "$(realpath "$server")" "$work/bin/tarn-server"
"$make_collection" "$work/Music" 3 20 >/dev/null
sed -n '/^## A cluster in ten commands/,/^## /{/^```sh$/,/^```$/{/^```/!p}}' "$document" | sed "s/700\([0-9]\)/${base}\1/g" >"$work/commands"
[ "$(grep -vc '^ ' "$work/commands")" -eq 10 ] || { echo "$document: expected ten commands"; exit 1; }
cd "$work"
export PATH="$work/bin:$PATH"
bash -euxo pipefail commands >output 2>&1 || { cat output; exit 1; }

# What it says of them.
at="redis://127.0.0.1:${base}1"
redis-cli -p "${base}7" cluster nodes | grep myself | grep -q '[0-9]-[0-9]' || { echo "the new node has no slots"; exit 1; }
[ "$(tarn-server list --catalogue "$at" | grep -c .)" -ge 3 ] || { echo "recordings are missing"; exit 1; }
[ "$(wc -l <copy.json)" -eq 3 ] || { echo "the copy lacks recordings"; exit 1; }
tarn-server import --catalogue "$work/folder" copy.json >/dev/null
[ "$(tarn-server list --catalogue "$work/folder" | grep -c .)" -ge 3 ] || { echo "the copy cannot be imported"; exit 1; }
# The replica of a master that is killed takes over, and nothing is missing.
kill -9 "$(cat "${base}1/pid")"
for _ in $(seq 150); do
    ! tarn-server check --catalogue "redis://127.0.0.1:${base}2" >checked 2>&1 || exit 0
    sleep 0.2
done
cat checked
exit 1
