#!/usr/bin/env python3
"""Prints the lines of tests over the lines of the rest of the source: the
tracked .cpp/.h/.c/.py files under tests/ (its sample data aside) and the
test-only helpers listed below, against every other such file.
usage: test_ratio.py [--max R]   (fails when the ratio is above R)
"""
import pathlib
import subprocess
import sys

TEST_ONLY = {"tools/check_layers.py", "tools/check_host_decoders.py", "tools/source_lines.py",
             "tools/test_ratio.py"}

root = pathlib.Path(__file__).resolve().parent.parent
files = subprocess.run(["git", "-C", root, "ls-files"], capture_output=True, text=True, check=True).stdout.split()
counts = {True: 0, False: 0}
for path in files:
    if pathlib.PurePath(path).suffix in {".cpp", ".h", ".c", ".py"} and not path.startswith("tests/data/"):
        counts[path in TEST_ONLY or path.startswith("tests/")] += len((root / path).read_bytes().splitlines())
ratio = counts[True] / counts[False]
print(f"test lines {counts[True]}, code lines {counts[False]}, ratio {ratio:.3f}")
sys.exit(1 if len(sys.argv) > 2 and sys.argv[1] == "--max" and ratio > float(sys.argv[2]) else 0)
