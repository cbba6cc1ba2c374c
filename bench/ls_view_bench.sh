#!/usr/bin/env bash
# ls against view on a 20 MB mail whose body is all "key: value" lines, the
# shape that once made naming rescan the mail: prints both times and their
# ratio (ls / view). Usage: ls_view_bench.sh BUILD_DIR [MEGABYTES]
set -euo pipefail
build=$1
megabytes=${2:-20}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mail=$work/header-lines.eml
python3 - "$mail" "$megabytes" <<'PY'
import base64, sys
path, megabytes = sys.argv[1], int(sys.argv[2])
line = b"x-key-%07d: value of a header-like line; name=not-a-file.txt\n"
with open(path, "wb") as out:
    out.write(b"From: a@example.org\nTo: b@example.org\nSubject: header-like lines\n"
              b"MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"b\"\n\n"
              b"--b\nContent-Type: text/plain\n\n")
    n, size = 0, 0
    while size < megabytes << 20:
        chunk = line % n
        out.write(chunk)
        size += len(chunk)
        n += 1
    out.write(b"--b\nContent-Type: application/octet-stream\n"
              b"Content-Disposition: attachment; filename*=utf-8''r%C3%A9sum%C3%A9.bin\n"
              b"Content-Transfer-Encoding: base64\n\n" + base64.encodebytes(bytes(range(256)) * 4) +
              b"--b--\n")
PY
# Best of three, so a busy machine disturbs less.
python3 - "$build/mailsift" "$mail" "$megabytes" <<'PY'
import subprocess, sys, time
program, mail, megabytes = sys.argv[1:]
def best(command):
    times = []
    for _ in range(3):
        start = time.perf_counter()
        subprocess.run([program, command, mail], stdout=subprocess.DEVNULL, check=True)
        times.append(time.perf_counter() - start)
    return min(times)
view, ls = best("view"), best("ls")
print(f"mail of {megabytes} MB of header-like lines: view {view:.3f} s, ls {ls:.3f} s, ls/view {ls / view:.2f}")
PY
"$build/mailsift" ls "$mail"
