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

# room FOLDER NAME...: the sources of a folder may include the folders of these names, as #include writes them, and
# their own folder.
rooms=
room() {
    inside=$1
    rooms="$rooms $inside"
    shift
    allowed_rooms=$(echo "${inside#server/} $*" | tr ' ' '|')
    found=$(grep -rhoE '^#include "(recognise/)?[a-z]+/' "$inside" | sed 's/.*"//; s,/$,,' | sort -u)
    [ -n "$found" ] || { echo "$inside includes nothing: is anything looked at?"; status=1; }
    for other in $found; do
        [ -d "$other" ] || [ -d "server/$other" ] || continue
        echo "$other" | grep -qxE "$allowed_rooms" && continue
        echo "$inside includes $other, and may include: $*"
        status=1
    done
}
room server/base
room server/model base
room server/protocol base model
room server/coding base model protocol
room server/json base model protocol coding
room server/catalogue base model coding
room server/matching base model coding catalogue
room server/audio base model
room server/ingest base model coding audio
room server/accounts base model
room server/http base model protocol json
room recognise/model
room recognise/json recognise/model base
room recognise/cache recognise/model recognise/json base
room recognise/asking recognise/model recognise/cache base model coding protocol matching catalogue
room recognise/files recognise/model base model coding audio
room recognise/tracklist recognise/model base model coding audio
room recognise/output recognise/model recognise/json recognise/tracklist base
room recognise/batch recognise/model recognise/asking recognise/tracklist recognise/cache recognise/files recognise/output coding commands base audio ingest
# The commands may include all folders of the server. No folder is forgotten.
for folder in server/*/ recognise/*/; do
    folder=${folder%/}
    case $folder in server/systemd | server/commands) continue ;; esac
    echo "$rooms" | tr ' ' '\n' | grep -qxF "$folder" && continue
    echo "$folder has no line here"
    status=1
done
# Integers of the wire pass through the two cursors of util/bytes.h. kvx.h and core/memory_hooks.cpp declare the hooks.
users=$(grep -rlE 'KVXMemCopy[23]' sdk src | LC_ALL=C sort | tr '\n' ' ')
[ "$users" = "sdk/core/memory_hooks.cpp sdk/include/kvx.h sdk/util/bytes.h " ] || {
    echo "the hooks for integers are used in: $users"
    status=1
}
exit $status
