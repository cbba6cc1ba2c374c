"""The numbered lines of a folder's C and C++ sources, and the run of a
check over them: what the source checks of the test suite share.
"""
import pathlib
import sys


def source_lines(root, folder):
    """(relative path, line number, line) of every .c/.cpp/.h file below folder."""
    for path in sorted((root / folder).rglob("*")):
        if path.suffix not in (".c", ".cpp", ".h"):
            continue
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            yield path.relative_to(root), number, line


def run_check(findings, what):
    """Prints what `findings(root)` yields and a count; the exit status is 1
    when it found anything. The root is argv[1], else this file's project."""
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
    found = list(findings(root))
    for line in found:
        print(line)
    print(f"{len(found)} {what}")
    return 1 if found else 0
