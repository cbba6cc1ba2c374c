#!/usr/bin/env python3
"""Fails when a folder includes a header of a folder it may not use.

The layers run from the ground up; a folder may use its own headers and those
of the folders listed for it, nothing else, so no two folders can depend on
each other. Usage: check_layers.py [SOURCE_DIR]
"""
import re
import sys

from source_lines import run_check, source_lines

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
        for path, number, line in source_lines(root, folder):
            match = INCLUDE.match(line)
            if match and match.group(1) not in allowed | {folder}:
                yield f"{path}:{number}: {folder}/ may not include {match.group(1)}/"


if __name__ == "__main__":
    sys.exit(run_check(violations, "include(s) against the layers"))
