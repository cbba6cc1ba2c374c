#!/usr/bin/env bash
# Inline encoded segments and yEnc files, mailsift beside uudeview in one run:
# (a) a mail whose single text/plain body holds text lines with uuencoded
# blocks between them, (b) a yEnc-encoded file. For each input it times
# `mailsift ls`, `mailsift extract -o DIR` and `uudeview -i -o -q -p DIR`,
# in alternating rounds (best of each), and prints throughput (input MB/s),
# the speed ratio ours/uudeview (uudeview's time over ours: above 1 we are
# faster), peak RSS, the number of blocks each found, and whether the
# extracted bytes equal the originals.
# Sizes are in MiB; rates in MB/s of input (10^6 bytes).
# Usage: segments_bench.sh BUILD_DIR [MAIL_MIB] [YENC_MIB] [UU_BLOCKS]
set -euo pipefail
build=$1
mail_mb=${2:-20}
yenc_mb=${3:-50}
blocks=${4:-20}
for tool in uudeview /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "$tool is missing (tools/check-deps.sh)" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 - "$build/mailsift" "$work" "$mail_mb" "$yenc_mb" "$blocks" <<'PY'
import binascii, hashlib, os, random, re, shutil, subprocess, sys, time, zlib

program, work, mail_mb, yenc_mb, blocks = sys.argv[1], sys.argv[2], *map(int, sys.argv[3:])
rng = random.Random(20260301)
originals = os.path.join(work, "originals")
os.makedirs(originals)

def keep(name, data):
    with open(os.path.join(originals, name), "wb") as f:
        f.write(data)

def uuencode(name, data):
    lines = [b"begin 644 %s\n" % name.encode()]
    lines += [binascii.b2a_uu(data[i:i + 45], backtick=True) for i in range(0, len(data), 45)]
    lines.append(b"`\nend\n")
    return b"".join(lines)

TEXT = (b"The committee met on Tuesday and agreed the minutes of the last meeting.\n"
        b"Members asked for the figures to be sent ahead of the next session, please.\n")

def make_mail(path):
    """Text with `blocks` uuencoded blocks spread through it; a quarter of the
    size is encoded data."""
    total = mail_mb << 20
    block_size = max(1, total // 4 // blocks * 45 // 62)  # raw bytes; uu grows them by 62/45
    text_between = (total - blocks * block_size * 62 // 45) // (blocks + 1)
    filler = TEXT * (text_between // len(TEXT) + 1)
    with open(path, "wb") as out:
        out.write(b"From: bench@example.org\nTo: reader@example.org\nSubject: inline blocks\n"
                  b"MIME-Version: 1.0\nContent-Type: text/plain; charset=us-ascii\n\n")
        for n in range(blocks):
            out.write(filler[:text_between - text_between % len(TEXT)])
            name = "block-%02d.bin" % n
            data = rng.randbytes(block_size)
            keep(name, data)
            out.write(b"\n" + uuencode(name, data) + b"\n")
        out.write(filler[:text_between - text_between % len(TEXT)])

YENC_SHIFT = bytes((c + 42) & 0xFF for c in range(256))
YENC_CRITICAL = re.compile(rb"[\x00\t\n\r =]")

def yencode(name, data, line=128):
    encoded = YENC_CRITICAL.sub(lambda m: b"=" + bytes([(m.group()[0] + 64) & 0xFF]),
                                data.translate(YENC_SHIFT))
    lines, at = [], 0
    while at < len(encoded):
        end = at + line
        if encoded[end - 1:end] == b"=":  # an escape is never cut from its character
            end += 1
        lines.append(encoded[at:end])
        at = end
    return (b"=ybegin line=%d size=%d name=%s\n" % (line, len(data), name.encode()) +
            b"\n".join(lines) +
            b"\n=yend size=%d crc32=%08x\n" % (len(data), zlib.crc32(data)))

def make_yenc(path):
    data = rng.randbytes((yenc_mb << 20) * 100 // 102)  # yEnc adds about 2 %
    keep("data.bin", data)
    with open(path, "wb") as out:
        out.write(yencode("data.bin", data))

def run(argv):
    """Seconds, peak RSS in KiB and standard output of one run. GNU time
    measures the RSS: a child forked from this process would count this
    process's pages, which hold the test data, as its own."""
    rss_file = os.path.join(work, "rss")
    start = time.perf_counter()
    child = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", rss_file] + argv,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    seconds = time.perf_counter() - start
    if child.returncode != 0:
        print("  %s: exit status %d" % (" ".join(argv), child.returncode))
    with open(rss_file) as f:
        rss = int(f.read().split()[-1])
    return seconds, rss, child.stdout

def fresh(name):
    path = os.path.join(work, name)
    shutil.rmtree(path, ignore_errors=True)
    os.makedirs(path)
    return path

def digests(folder):
    return {hashlib.sha256(open(os.path.join(folder, f), "rb").read()).digest()
            for f in os.listdir(folder)}

def verify(folder, names):
    """OK when every original came out byte for byte."""
    made = digests(folder)
    matched = sum(hashlib.sha256(open(os.path.join(originals, n), "rb").read()).digest() in made
                  for n in names)
    return "OK" if matched == len(names) else "MISMATCH (%d of %d equal)" % (matched, len(names))

def bench(title, path, names, rounds=3):
    size_mb = os.path.getsize(path) / 1e6
    tools = {
        "mailsift ls": lambda: [program, "ls", path],
        "mailsift extract": lambda: [program, "extract", "-o", fresh("ours"), path],
        "uudeview": lambda: ["uudeview", "-i", "-o", "-q", "-p", fresh("theirs"), path],
    }
    fastest = {name: float("inf") for name in tools}
    peak = {name: 0 for name in tools}
    listing = b""
    for _ in range(rounds):  # alternating, so load on the machine falls on all alike
        for name, argv in tools.items():
            seconds, rss, out = run(argv())
            fastest[name] = min(fastest[name], seconds)
            peak[name] = max(peak[name], rss)
            if name == "mailsift ls":
                listing = out
    print("%s: %.1f MB, %d encoded block(s) in it" % (title, size_mb, len(names)))
    listed = len(listing.splitlines())
    found = {"mailsift ls": "%d listed" % listed,
             "mailsift extract": "%d written, %s" % (len(os.listdir(os.path.join(work, "ours"))),
                                                      verify(os.path.join(work, "ours"), names)),
             "uudeview": "%d written, %s" % (len(os.listdir(os.path.join(work, "theirs"))),
                                             verify(os.path.join(work, "theirs"), names))}
    for name, seconds in fastest.items():
        ratio = ", ours/uudeview %.2fx" % (fastest["uudeview"] / seconds)
        if name == "uudeview":
            ratio = ""
        elif not found["mailsift extract"].endswith("OK"):
            ratio += " (found fewer blocks: no fair comparison)"
        print("  %-17s %7.3f s %8.1f MB/s%s, peak RSS %.1f MiB; %s" %
              (name, seconds, size_mb / seconds, ratio, peak[name] / 1024, found[name]))

mail = os.path.join(work, "inline-uu.eml")
make_mail(mail)
bench("(a) mail with inline uuencoded blocks", mail, ["block-%02d.bin" % n for n in range(blocks)])
yenc = os.path.join(work, "data.yenc")
make_yenc(yenc)
bench("(b) yEnc file", yenc, ["data.bin"])
PY
