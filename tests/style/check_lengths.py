#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""No source has more than 300 lines, but for what is named here. usage: check_lengths.py SOURCE"""
import sys
from pathlib import Path

LIMIT = 300
EXCEPTIONS = {  # a file, and why it stays in one piece
    "sdk/include/kvx.h": "programs include one header",
    "tests/records/plain_members.h": "a table: a line for each member of each record",
}
SUFFIXES = {".cpp", ".c", ".h", ".inc", ".py", ".sh", ".js", ".mjs", ".ts"}
FOLDERS = ["app", "bench", "demo", "examples", "fuzz", "process", "recognise", "sdk", "server", "src", "tests", "web"]


def main(root):
    looked_at, found = 0, []
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            name = path.relative_to(root).as_posix()
            if path.suffix not in SUFFIXES or name.startswith("tests/data/"):
                continue
            looked_at += 1
            lines = len(path.read_text(encoding="utf-8").splitlines())
            if lines > LIMIT and name not in EXCEPTIONS:
                found.append(f"{path}: {lines} lines; split it by what it holds, none may have more than {LIMIT}")
            if lines <= LIMIT and name in EXCEPTIONS:
                found.append(f"{path}: {lines} lines; it needs no exception any more")
    for name in EXCEPTIONS:
        if not (root / name).exists():
            found.append(f"{name} is an exception, but there is no such file")
    if looked_at < 500:
        found.append(f"only {looked_at} files were looked at")
    print("\n".join(found))
    return bool(found)


sys.exit(main(Path(sys.argv[1])))
