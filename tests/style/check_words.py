#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Words that were replaced do not come back (docs/glossary.md has those that stay). usage: check_words.py SOURCE"""
import re
import sys
from pathlib import Path

RULES = [  # what may not be there, but for what is named, and what to write instead
    (r"catalog(?!ue)", r"--catalog\b", 'it is "catalogue" everywhere'),
    (r"\bk(Most|Fewest|Least|Longest|Shortest|Largest|Smallest|Deepest)[A-Z]", None, "bounds are kMax... and kMin..."),
    # A server runs behind a proxy, a decoder behind an interface.
    (r"\b(a|the|this|each|every|one|of|no) tracklists?(?!\w|\.\w|[`/-])", None,
     'it is a "track list"; one word is for names'),
    (r"\bone a line\b", None, 'say "one per line"'),
    (r'"[^"]*\b(it|this) is no (?!longer\b)', None, 'a message says "is not a ..."'),
    (r"behind", r"behind (an? (proxy|load)|the interface)|behind[- ]TLS|not \"behind\"", 'say "after"'),
]
SUFFIXES = {".cpp", ".h", ".inc", ".c", ".md", ".txt", ".js", ".mjs", ".ts", ".html", ".css", ".case", ".sh"}
SKIPPED = {".git", "build", "corpus", "data"}


def main(root):
    looked_at, found = 0, []
    for path in sorted(root.rglob("*")):
        parts = path.relative_to(root).parts
        if path.suffix not in SUFFIXES or SKIPPED & set(parts) or parts[0].startswith("build"):
            continue
        looked_at += 1
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            for pattern, exception, advice in RULES:
                flags = 0 if pattern.startswith(r"\bk") else re.IGNORECASE
                rest = re.sub(exception, "", line, flags=flags) if exception else line
                if re.search(pattern, rest, flags):
                    found.append(f"{path}:{number}: {advice}: {line.strip()}")
    if looked_at < 500:
        found.append(f"only {looked_at} files were looked at")
    print("\n".join(found))
    return bool(found)


sys.exit(main(Path(sys.argv[1])))
