#!/usr/bin/env python3
"""Fails when a host folder (cli/, hostkit/) decodes mail text on its own.

Base64, RFC 2047 encoded words and UTF-8 are decoded in mailtext/, which the
filter uses too; a second decoder in a host drifts from the filter's and
users see two readings of one name. This looks for the marks such code
leaves: the base64 alphabet (as a string or as the 'a' + 26 / '0' + 52
arithmetic), encoded-word syntax ("=?", "?="), and the UTF-8 lead-byte
masks 0xC0, 0xE0 and 0xF0. Comments are not scanned.
Usage: check_host_decoders.py [SOURCE_DIR]
"""
import re
import sys

from source_lines import run_check, source_lines

HOST_FOLDERS = ["cli", "hostkit"]

MARKS = [
    (re.compile(r"ABCDEFGHIJKLMNOPQRSTUVWXYZ|'a'\s*\+\s*26|'0'\s*\+\s*52"), "a base64 alphabet"),
    (re.compile(r'"=\?|\?="|\'\?\'\s*&&|==\s*\'\?\''), "encoded-word parsing"),
    (re.compile(r"\b0[xX][CcEeFf]0\b"), "UTF-8 lead-byte arithmetic"),
]

COMMENT = re.compile(r"//.*$")


def findings(root):
    for folder in HOST_FOLDERS:
        for path, number, line in source_lines(root, folder):
            code = COMMENT.sub("", line)
            for pattern, what in MARKS:
                if pattern.search(code):
                    yield f"{path}:{number}: {what}: {line.strip()}"


if __name__ == "__main__":
    sys.exit(run_check(findings, "line(s) of mail-text decoding in host folders"))
