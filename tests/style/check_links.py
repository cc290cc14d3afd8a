#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every relative link of every page leads to a file, and to a heading of it where it names one. usage: check_links.py SOURCE"""
import re
import sys
from pathlib import Path

LINK = re.compile(r"\]\(([^)\s]+)\)")


def anchors(page):
    found, fenced = set(), False
    for line in page.read_text(encoding="utf-8").splitlines():
        if line.startswith("```"):
            fenced = not fenced
        elif line.startswith("#") and not fenced:
            text = re.sub(r"[^\w\- ]", "", line.lstrip("#").strip().lower())
            found.add(text.replace(" ", "-"))
    return found


def problems(root):
    seen = 0
    pages = [page for page in root.rglob("*.md") if not {".git", "build"} & set(page.relative_to(root).parts)]
    for page in pages:
        for target in LINK.findall(page.read_text(encoding="utf-8")):
            if target.startswith(("http://", "https://", "mailto:")):
                continue
            seen += 1
            path, _, anchor = target.partition("#")
            file = page.parent / path if path else page
            if not file.exists():
                yield f"{page}: {target}: there is no such file"
            elif anchor and anchor not in anchors(file):
                yield f"{page}: {target}: there is no such heading"
    if seen == 0:
        yield "no page has a link: is anything looked at?"


found = list(problems(Path(sys.argv[1])))
print("\n".join(found))
sys.exit(bool(found))
