#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Which headers of the library the layers above it include: the tool the public one alone, the server two more, the web
# module one more. Which of the server's folders include which. And what the library keeps in one place.
# usage: check_layers.sh SOURCE
set -eu
cd "$1"

# includes FOLDER: the library's headers that its sources name.
includes() {
    grep -rhoE '^#include ["<](kvx\.h|(util|core|fingerprint|records|PacketSigning)/[^">]+)[">]' "$1" |
        sed 's/.*["<]\(.*\)[">]/\1/' | sort -u
}

status=0
allow() { # FOLDER header...
    folder=$1
    shift
    printf '%s\n' "$@" | sort >"$allowed"
    for header in $(includes "$folder" | comm -23 - "$allowed"); do
        echo "$folder includes $header, and may include: $*"
        status=1
    done
    includes "$folder" | grep -qx kvx.h || { echo "$folder does not include kvx.h: is anything looked at?"; status=1; }
}
allowed=$(mktemp)
trap 'rm -f "$allowed"' EXIT
allow app kvx.h
allow server kvx.h core/packet_layout.h fingerprint/letter_stream.h
allow recognise kvx.h
allow web kvx.h fingerprint/session.h
if grep -rnE '^#include "(app|server|recognise|web|commands|catalogue|matching|protocol)/' sdk src; then
    echo "the library includes what stands above it"
    status=1
fi
# What runs does not know the plain form, which only the tests call.
if grep -rnE '^#include "fingerprint/plain/' sdk src --include='*.h' --include='*.cpp' --include='*.inc' |
    grep -v '^sdk/fingerprint/plain/'; then
    echo "the product includes the plain form of the engine"
    status=1
fi
[ -e sdk/fingerprint/plain/ticks.h ] || { echo "sdk/fingerprint/plain is gone: is anything looked at?"; status=1; }

# room FOLDER FOLDER...: the server's first folder may include the others, and itself.
rooms=
room() {
    inside=$1
    rooms="$rooms $inside"
    allowed_rooms=$(echo "$*" | tr ' ' '|')
    found=$(grep -rhoE '^#include "[a-z]+/' "server/$inside" | sed 's/.*"//; s,/,,' | sort -u)
    [ -n "$found" ] || { echo "server/$inside includes nothing: is anything looked at?"; status=1; }
    for other in $found; do
        [ -d "server/$other" ] || continue
        echo "$other" | grep -qxE "$allowed_rooms" && continue
        echo "server/$inside includes server/$other, and may include: $*"
        status=1
    done
}
room base
room model base
room protocol base model
room coding base model protocol
room json base model protocol coding
room catalogue base model coding
room matching base model coding catalogue
room audio base model
room ingest base model coding audio
room accounts base model
room http base model protocol json
# step FOLDER FOLDER...: the first folder of recognise/ may include the others (those of recognise/ by that name, else the
# server's), and itself.
steps=
step() {
    inside=$1
    steps="$steps $inside"
    allowed_steps=$(echo "recognise/$*" | tr ' ' '|')
    found=$(grep -rhoE '^#include "(recognise/)?[a-z]+/' "recognise/$inside" | sed 's/.*"//; s,/$,,' | sort -u)
    [ -n "$found" ] || { echo "recognise/$inside includes nothing: is anything looked at?"; status=1; }
    for other in $found; do
        [ -d "$other" ] || [ -d "server/$other" ] || continue
        echo "$other" | grep -qxE "$allowed_steps" && continue
        echo "recognise/$inside includes $other, and may include: $*"
        status=1
    done
}
step model recognise/model
step json recognise/model base
step cache recognise/model recognise/json base
step asking recognise/model recognise/cache base model coding protocol matching catalogue
step files recognise/model base model coding audio
step tracklist recognise/model base model coding audio
step output recognise/model recognise/json recognise/tracklist base
step batch recognise/model recognise/asking recognise/tracklist coding commands recognise/cache recognise/files recognise/output base audio ingest
for folder in recognise/*/; do
    folder=$(basename "$folder")
    echo "$steps" | grep -qw "$folder" && continue
    echo "recognise/$folder has no line here"
    status=1
done
# Integers of the wire pass through the two cursors of util/bytes.h. kvx.h and core/memory_hooks.cpp declare the hooks.
users=$(grep -rlE 'KVXMemCopy[23]' sdk src | LC_ALL=C sort | tr '\n' ' ')
[ "$users" = "sdk/core/memory_hooks.cpp sdk/include/kvx.h sdk/util/bytes.h " ] || {
    echo "the hooks for integers are used in: $users"
    status=1
}
# The commands may include all of them. No folder is forgotten.
for folder in server/*/; do
    folder=$(basename "$folder")
    [ "$folder" = systemd ] || [ "$folder" = commands ] || echo "$rooms" | grep -qw "$folder" && continue
    echo "server/$folder has no line here"
    status=1
done
exit $status
