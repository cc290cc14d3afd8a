#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads a catalogue's file by docs/formats/catalogue.md alone and compares all that it holds with exported recordings.

usage: plain_catalogue.py FILE EXPORTED

Shares no code with the server: LMDB's own tool takes the file apart, and what is in it is decoded here.
"""
import base64
import json
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path

LAST_ID = 2**31 - 1
MIX = 0x9E3779B97F4A7C15


def entries(path):
    with tempfile.TemporaryDirectory() as folder:  # LMDB makes a lock beside the file that it reads
        copy = shutil.copy(path, folder)
        dump = subprocess.run(["mdb_dump", "-n", copy], check=True, capture_output=True, text=True).stdout
    lines = [line[1:] for line in dump.splitlines() if line.startswith(" ")]
    return {bytes.fromhex(key): bytes.fromhex(value) for key, value in zip(lines[::2], lines[1::2], strict=True)}


def expect_seals(tree):
    """All checksums by one run of xxHash's own tool."""
    with tempfile.TemporaryDirectory() as folder:
        wanted = {}
        for number, (key, entry) in enumerate(tree.items()):
            for name, data, seal in (("value", entry[8:], entry[:4]), ("key", key, entry[4:8])):
                file = Path(folder, f"{name}{number}")
                file.write_bytes(data)
                wanted[str(file)] = seal[::-1].hex()
        sums = subprocess.run(["xxhsum", "-H3", *wanted], check=True, capture_output=True, text=True).stdout
        found = {}
        for line in sums.splitlines():
            name, _, digest = line.removeprefix("XXH3 (").partition(") = ")
            found[name] = digest[-8:]
        assert found == wanted, "checksums"


def unsealed(entry):
    return entry[8:]


class Bytes:
    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, count):
        assert self.at + count <= len(self.data), "cut short"
        self.at += count
        return self.data[self.at - count : self.at]

    def varint(self):
        value, shift = 0, 0
        while True:
            byte = self.take(1)[0]
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return value

    def sized(self):
        return self.take(self.varint())

    def all_varints(self):
        found = []
        while self.at < len(self.data):
            found.append(self.varint())
        return found


def code_string(source):
    count, letters = source.varint(), ""
    while len(letters) < count:
        byte = source.take(1)[0]
        letters += chr(ord("a") + byte % 24) * (byte // 24 + 1)
    assert len(letters) == count
    timed = list(range(0, count, 16))
    if timed and timed[-1] != count - 1:
        timed.append(count - 1)
    frames, last = [], 0
    for _ in timed:
        last += source.varint()
        frames.append(last)
    return {"letters": letters, "frames": frames}


def recording(value):
    outer = Bytes(value)
    assert outer.varint() == 3, "format of a recording"
    size = outer.varint()
    inner = Bytes(zlib.decompress(outer.data[outer.at :]))
    assert len(inner.data) == size
    found = dict(zip(("duration_ms", "number", "year"), (inner.varint() for _ in range(3)), strict=True))
    for name in ("track_id", "album_id", "content_hash", "path", "title", "artist", "album", "album_artist"):
        found[name] = inner.sized().decode()
    for name in ("track_records", "album_records"):
        found[name] = base64.b64encode(inner.sized()).decode()
    found["codes"] = [[code_string(inner) for _ in range(2)] for _ in range(3)]
    others = []
    while inner.at < len(inner.data):
        others.append(inner.sized().decode())
    if others:
        found["other_paths"] = others
    return found


def ids_of(data):
    source, ids = Bytes(data), []
    while source.at < len(data):
        first = source.take(1)[0]
        if first < 0x80:
            ids.append(int.from_bytes(bytes([first]) + source.take(3), "big"))
            continue
        count = source.varint() if first == 0xFF else first - 0x80
        packed = Bytes(source.sized()).all_varints()
        assert len(packed) == count
        last = 0
        for step in packed:
            last += step
            ids.append(last)
    return sorted(set(ids))


def lists_of(run, bits):
    source = Bytes(run)
    count = struct.unpack("<I", source.take(4))[0]
    low_bytes = 2 if bits <= 26 else 4
    lows = [int.from_bytes(source.take(low_bytes), "little") for _ in range(count)]
    ends = [struct.unpack("<I", source.take(4))[0] for _ in range(count)]
    assert lows == sorted(set(lows))
    rest = source.data[source.at :]
    assert len(rest) == (ends[-1] if ends else 0)
    return {low: rest[begin:end] for low, begin, end in zip(lows, [0, *ends], ends)}


def grams_of(codes, letters_of_gram):
    found = set()
    for variant in codes:
        for codebook, string in enumerate(variant):
            letters = string["letters"]
            once = [ord(c) - ord("a") for i, c in enumerate(letters) if i == 0 or letters[i - 1] != c]
            for begin in range(len(once) - letters_of_gram + 1):
                value = 0
                for digit in once[begin : begin + letters_of_gram]:
                    value = value * 24 + digit
                found.add(codebook * 24**letters_of_gram + value)
    return found


def values_in(tree):
    values = {}
    for key in sorted(tree):
        if key[:1] == b"v":
            piece = unsealed(tree[key])
            assert key[-1] == 0 or len(values[key[1:-1]]) == key[-1] * 484, "a piece that is not the last has 484 bytes"
            values[key[1:-1]] = values.get(key[1:-1], b"") + piece
    return values


def main(path, exported):
    tree = entries(path)
    expect_seals(tree)
    values = values_in(tree)
    assert values.pop(b"mformat") == b"4"
    letters, next_id, count, removed, turn = Bytes(values.pop(b"mstate")).all_varints()
    bits = {5: 24, 6: 29, 7: 34}[letters]

    wanted = [json.loads(line) for line in open(exported, encoding="utf-8")]
    recordings = {int.from_bytes(key[1:], "big"): recording(value) for key, value in values.items() if key[:1] == b"r"}
    assert len(recordings) == count == len(wanted) and max(recordings) < next_id and removed > 0
    by_hash = {item["content_hash"]: item for item in wanted}
    for number, found in recordings.items():
        expected = dict(by_hash[found["content_hash"]])
        del expected["file"]
        assert found == expected, f"recording {number}"
        for kind, name, many in (("h", "content_hash", False), ("k", "track_id", True), ("a", "album_id", True)):
            ids = values[kind.encode() + found[name].encode()]
            ids = [int.from_bytes(ids[i : i + 4], "big") for i in range(0, len(ids), 4)]
            assert number in ids and (many or len(ids) == 1)
    files = [Bytes(value) for key, value in values.items() if key[:1] == b"f"]
    found = {(f.varint(), f.varint(), f.data[f.at :].decode()) for f in files}
    assert found >= {(w["file"]["bytes"], w["file"]["modified_ns"], w["content_hash"]) for w in wanted}

    lists = {}
    for key in sorted(tree):
        if key[:1] != b"l":
            continue
        assert key[1] == bits + 64 * turn
        segment = int.from_bytes(key[2:4], "big")
        for low, data in lists_of(unsealed(tree[key]), bits).items():
            mixed = segment << (bits - 10) | low
            lists[mixed] = lists.get(mixed, b"") + data
    grams = {number: grams_of(item["codes"], letters) for number, item in recordings.items()}
    expected = {}
    for number in sorted(grams):
        for gram in grams[number]:
            expected.setdefault(gram * MIX & ((1 << bits) - 1), []).append(number)
    listed = {}
    for mixed, data in lists.items():
        left = [number for number in ids_of(data) if number in recordings]
        if left:
            listed[mixed] = left
    assert listed == expected, "the lists are not those of the letters"
    assert all(0 < number < next_id <= LAST_ID for data in lists.values() for number in ids_of(data))
    print(f"{count} recordings, {len(lists)} lists")


if __name__ == "__main__":
    main(*sys.argv[1:])
