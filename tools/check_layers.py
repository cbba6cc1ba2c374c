#!/usr/bin/env python3
"""Fails when a folder includes a header of a folder it may not use.

The layers run from the ground up; a folder may use its own headers and those
of the folders listed for it, nothing else, so no two folders can depend on
each other. Usage: check_layers.py [SOURCE_DIR]
"""
import pathlib
import re
import sys

GROUND = {"host"}
FILTER_CORE = GROUND | {"input", "mailtext", "core"}
# The filter's parts, lowest first: each may use the ones before it.
PARTS = ["message", "charset", "encoded", "tnef", "subdoc", "body"]

ALLOWED = {
    "host": set(),
    "input": GROUND,
    "mailtext": set(),
    "core": GROUND | {"input"},
    "platform": GROUND | {"input", "mailtext"},
    "filter": FILTER_CORE | set(PARTS),
    "hostkit": GROUND | {"mailtext"},
    "cli": GROUND | {"hostkit"},
    "bench": GROUND | {"hostkit", "platform", "input"},
}
for rank, part in enumerate(PARTS):
    ALLOWED[part] = FILTER_CORE | set(PARTS[:rank])

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"/]+)/')


def violations(root):
    for folder, allowed in ALLOWED.items():
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in (".c", ".cpp", ".h"):
                continue
            for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
                match = INCLUDE.match(line)
                if match and match.group(1) not in allowed | {folder}:
                    yield f"{path.relative_to(root)}:{number}: {folder}/ may not include {match.group(1)}/"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    found = list(violations(root))
    for line in found:
        print(line)
    print(f"{len(found)} include(s) against the layers")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
