#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""No two sources define a type of the same namespace and name: the linker takes one definition of its functions for
both, without a word, and the program crashes. usage: check_type_names.py SOURCE"""
import re
import subprocess
import sys
from pathlib import Path

SUFFIXES = {".cpp", ".h", ".inc"}
# A comment, a text or a character, none of which has braces that count.
UNCOUNTED = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)
NAMESPACE = re.compile(r"(?:inline )?namespace\s*([\w:]*)$")
# "struct alignas(16) Name final : Base", but neither "struct Name<int>" nor a function that returns "struct Name*".
TYPE = re.compile(
    r"(?:^|\s)(?:class|struct|union|enum(?: class| struct)?) (?:alignas\([^)]*\) )?(\w+)(?: final)?(?: ?:[^:].*)?$")


def types_in(text):
    """The qualified names of the types that a source defines for others to see."""
    names, scopes, head = set(), [], ""
    for piece in re.split(r"([{};])", re.sub(r"(?m)^\s*#.*(?:\\\n.*)*$", "", UNCOUNTED.sub(" ", text))):
        if piece == "{":
            words = " ".join(head.split())
            namespace, kind = NAMESPACE.search(words), TYPE.search(words)
            if words == "extern":  # extern "C"
                scopes.append("")
            elif namespace:
                scopes.append(namespace[1] or None)  # None: what is in here has no name outside this source
            elif kind:
                scopes.append(kind[1])
                if None not in scopes:
                    names.add("::".join(scope for scope in scopes if scope))
            else:
                scopes.append(None)
        elif piece == "}" and scopes:
            scopes.pop()
        head = piece if piece not in "{};" else ""
    return names


def clashes(sources):
    """sources: pairs of a name and a text. A line for each type that several of them define."""
    places = {}
    for source, text in sources:
        for name in types_in(text):
            places.setdefault(name, []).append(source)
    return [f"{name} is defined in {' and in '.join(found)}; rename all but one, or put them into unnamed namespaces"
            for name, found in sorted(places.items()) if len(found) > 1]


# Two sources, and whether they clash.
PLANTED = [
    ("namespace a::b {\nstruct Change { int x; };\n}",
     "namespace a {\nnamespace b {\nclass Change : public Base {\n};\n}\n}", True),
    ("namespace a { enum class Kind { kOne }; }", "namespace a { struct alignas(8) Kind { int x; }; }", True),
    ("struct Outer final { struct Inner { int x; }; };", "struct Outer { char c; };", True),
    ('extern "C" {\nstruct Shared { int x; };\n}', "// {\nstruct Shared { char c = '{'; };", True),
    ("namespace a { struct Change { int x; }; }", "namespace b { struct Change { int x; }; }", False),
    ("namespace a { struct Change { int x; }; }", "namespace a { namespace { struct Change { int x; }; } }", False),
    ("namespace a { struct Change { int x; }; }",
     "namespace a { struct Change; struct Change* f() { return {}; } }", False),
    ("namespace a { struct Change { int x; }; }", "namespace a { void f() { struct Change { int x; }; } }", False),
    ("namespace a { struct Change { int x; }; }",
     'namespace a { auto t = "struct Change {"; /* struct Change { */ }', False),
]


def main(root):
    wrong = [f"this check is wrong about:\n{one}\n{other}" for one, other, clash in PLANTED
             if bool(clashes([("one.h", one), ("other.h", other)])) != clash]
    folders = subprocess.run([root / "scripts/source-folders", "all"], check=True, capture_output=True, text=True).stdout
    paths = [path for folder in folders.split() for path in sorted((root / folder).rglob("*")) if path.suffix in SUFFIXES]
    sources = [(path.relative_to(root).as_posix(), path.read_text(encoding="utf-8")) for path in paths]
    found = clashes(sources)
    count = sum(len(types_in(text)) for _, text in sources)
    if count < 300:
        found.append(f"only {count} types were found in {len(sources)} sources: is anything looked at?")
    print("\n".join(wrong + found))
    return bool(wrong + found)


sys.exit(main(Path(sys.argv[1])))
