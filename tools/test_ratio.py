#!/usr/bin/env python3
"""Prints the lines of tests over the lines of the rest of the source.

Test lines are the .cpp/.h/.c/.py lines under tests/ (the sample data in
tests/data aside) and those of the test-only helpers that live elsewhere,
listed below; code lines are every other such file of the repository. With
--max R it fails when the ratio is above R.
usage: test_ratio.py [--max R] [SOURCE_DIR]
"""
import pathlib
import subprocess
import sys

SUFFIXES = {".cpp", ".h", ".c", ".py"}
# Helpers that only the test suite runs, wherever they live.
TEST_ONLY = {"tools/check_layers.py", "tools/check_host_decoders.py", "tools/source_lines.py",
             "tools/test_ratio.py"}


def tracked_files(root):
    out = subprocess.run(["git", "-C", str(root), "ls-files"], capture_output=True, text=True, check=True)
    return [p for p in out.stdout.splitlines() if pathlib.PurePath(p).suffix in SUFFIXES]


def is_test(path):
    return path in TEST_ONLY or (path.startswith("tests/") and not path.startswith("tests/data/"))


def main(argv):
    limit = None
    if len(argv) > 1 and argv[1] == "--max":
        limit = float(argv[2])
        argv = argv[2:]
    root = pathlib.Path(argv[1] if len(argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
    tests = code = 0
    for path in tracked_files(root):
        if path.startswith("tests/data/"):
            continue
        lines = len((root / path).read_bytes().splitlines())
        if is_test(path):
            tests += lines
        else:
            code += lines
    ratio = tests / code if code else 0.0
    print(f"test lines {tests}, code lines {code}, ratio {ratio:.2f}")
    return 1 if limit is not None and ratio > limit else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
