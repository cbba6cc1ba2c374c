#!/usr/bin/env python3
"""Writes encoded test files beside the data they encode.

usage: make_vectors.py OUTDIR SEED SIZE

data.bin is random binary with long runs (zeros, blanks, 0x90) so that every
shorthand of the encodings shows up. Where Python ships an encoder it is
used; for xxencode, yEnc, BinHex, btoa and compressed RTF the encoders below
follow the published formats (the decoders themselves are also checked on
real encoded files of the corpus).
"""
import base64
import binascii
import os
import random
import sys

XX = b"+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
HQX = b"!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr"


def make_data(rng, size):
    out = bytearray()
    while len(out) < size:
        kind = rng.random()
        n = rng.randint(1, 3000)
        if kind < 0.7:
            out += rng.randbytes(n)
        elif kind < 0.8:
            out += bytes(n)
        elif kind < 0.9:
            out += b" " * n
        else:
            out += bytes([0x90]) * rng.randint(1, 600) + bytes([rng.randrange(256)]) * n
    return bytes(out[:size])


def wrap(text, width, end=b"\n"):
    return b"".join(text[i:i + width] + end for i in range(0, len(text), width))


def uu_like(data, alphabet, name):
    lines = [b"begin 644 " + name]
    for i in range(0, len(data), 45):
        chunk = data[i:i + 45]
        line = bytearray([alphabet[len(chunk)]])
        padded = chunk + bytes(-len(chunk) % 3)
        for j in range(0, len(padded), 3):
            w = padded[j] << 16 | padded[j + 1] << 8 | padded[j + 2]
            line += bytes(alphabet[(w >> s) & 63] for s in (18, 12, 6, 0))
        lines.append(bytes(line))
    lines += [bytes([alphabet[0]]), b"end", b""]
    return b"\n".join(lines)


def uuencode(data, name):
    lines = [b"begin 644 " + name + b"\n"]
    for i in range(0, len(data), 45):
        lines.append(binascii.b2a_uu(data[i:i + 45], backtick=True))
    lines.append(b"`\nend\n")
    return b"".join(lines)


def yenc_body(data):
    out = bytearray()
    col = 0
    for b in data:
        c = (b + 42) & 0xFF
        if c in (0, 10, 13, 61) or (col == 0 and c in (9, 32, 46)) or (col == 127 and c in (9, 32)):
            out += bytes([61, (c + 64) & 0xFF])
            col += 2
        else:
            out.append(c)
            col += 1
        if col >= 128:
            out += b"\r\n"
            col = 0
    if col:
        out += b"\r\n"
    return bytes(out)


def yenc_single(data, name):
    crc = binascii.crc32(data)
    return (b"Subject: test\r\n\r\n=ybegin line=128 size=%d name=%s\r\n" % (len(data), name)
            + yenc_body(data) + b"=yend size=%d crc32=%08x\r\n" % (len(data), crc))


def yenc_multi(data, name, parts):
    step = -(-len(data) // parts)
    out = bytearray()
    for k in range(parts):
        piece = data[k * step:(k + 1) * step]
        out += b"From: poster@example.com\r\nSubject: %s (%d/%d)\r\n\r\n" % (name, k + 1, parts)
        out += b"=ybegin part=%d total=%d line=128 size=%d name=%s\r\n" % (k + 1, parts, len(data), name)
        out += b"=ypart begin=%d end=%d\r\n" % (k * step + 1, k * step + len(piece))
        out += yenc_body(piece)
        out += b"=yend size=%d part=%d pcrc32=%08x\r\n\r\n" % (len(piece), k + 1, binascii.crc32(piece))
    return bytes(out)


def crc_xmodem(data):
    return binascii.crc_hqx(data, 0)


def binhex(data, name):
    header = bytes([len(name)]) + name + b"\0" + b"TEXT" + b"ttxt" + b"\0\0"
    header += len(data).to_bytes(4, "big") + (0).to_bytes(4, "big")
    raw = bytearray(header + crc_xmodem(header + b"\0\0").to_bytes(2, "big"))
    raw += data + crc_xmodem(data + b"\0\0").to_bytes(2, "big")
    raw += crc_xmodem(b"\0\0").to_bytes(2, "big")
    # Run-length layer: runs of 3 or more, and every literal 0x90.
    rle = bytearray()
    i = 0
    while i < len(raw):
        b = raw[i]
        run = 1
        while i + run < len(raw) and raw[i + run] == b and run < 255:
            run += 1
        rle += b"\x90\x00" if b == 0x90 else bytes([b])
        if run >= 3:
            rle += bytes([0x90, run])
            i += run
        else:
            i += 1
    rle += bytes(-len(rle) % 3)
    chars = bytearray()
    for j in range(0, len(rle), 3):
        w = rle[j] << 16 | rle[j + 1] << 8 | rle[j + 2]
        chars += bytes(HQX[(w >> s) & 63] for s in (18, 12, 6, 0))
    text = b":" + bytes(chars) + b":"
    return b"(This file must be converted with BinHex 4.0)\n" + wrap(text, 64)


def btoa(data, five, name):
    padded = data + bytes(-len(data) % 4)
    body = base64.a85encode(padded, foldspaces=five)
    opening = b"xbtoa5 78 " + name + b" Begin\n" if five else b"xbtoa Begin\n"
    closing = b"xbtoa End N %d %x E 0 S 0 R 0\n" % (len(data), len(data))
    return b"some text before\n" + opening + wrap(body, 78) + closing + b"text behind\n"


PROLOGUE = (b"{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss "
            b"\\fmodern \\fscript \\fdecor MS Sans SerifSymbolArialTimes New RomanCourier"
            b"{\\colortbl\\red0\\green0\\blue0\r\n\\par \\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx")


def lzfu(data):
    """Greedy LZ77 over the 4 KiB dictionary; slow but plain."""
    dic = bytearray(4096)
    dic[:len(PROLOGUE)] = PROLOGUE
    wpos = len(PROLOGUE)
    out = bytearray()
    items = []
    i = 0
    while i < len(data):
        best_len, best_off = 0, 0
        first = data[i]
        for off in range(4096):
            if dic[off] != first:
                continue
            n = 0
            # Copies run byte by byte, so a match may run into the bytes it writes.
            temp = bytearray(dic)
            w = wpos
            while n < 17 and i + n < len(data) and temp[(off + n) % 4096] == data[i + n]:
                temp[w] = data[i + n]
                w = (w + 1) % 4096
                n += 1
            if n > best_len and (off + 0) % 4096 != wpos:
                best_len, best_off = n, off
        if best_len >= 2:
            items.append(("ref", best_off, best_len))
            seg = data[i:i + best_len]
        else:
            items.append(("lit", data[i]))
            seg = data[i:i + 1]
        for b in seg:
            dic[wpos] = b
            wpos = (wpos + 1) % 4096
        i += len(seg)
    items.append(("end", wpos, 2))
    for k in range(0, len(items), 8):
        group = items[k:k + 8]
        flags = 0
        body = bytearray()
        for bit, item in enumerate(group):
            if item[0] == "lit":
                body.append(item[1])
            else:
                flags |= 1 << bit
                token = item[1] << 4 | (item[2] - 2)
                body += token.to_bytes(2, "big")
        out.append(flags)
        out += body
    header = (len(out) + 12).to_bytes(4, "little") + len(data).to_bytes(4, "little") + b"LZFu"
    return header + b"\0\0\0\0" + bytes(out)


def main():
    outdir, seed, size = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    data = make_data(rng, size)
    files = {}
    files["data.bin"] = data
    files["b64.txt"] = base64.encodebytes(data)
    files["b64crlf.txt"] = base64.encodebytes(data).replace(b"\n", b"\r\n")
    files["b64fenced.txt"] = (b"Here it comes:\n\nbegin-base64 644 data.bin\n" + base64.encodebytes(data)
                              + b"====\nand some text behind it\n")
    files["qp.txt"] = binascii.b2a_qp(data, quotetabs=False, istext=False)
    files["uu.txt"] = uuencode(data, b"data.bin")
    files["xx.txt"] = uu_like(data, XX, b"data.bin")
    files["a85.txt"] = base64.a85encode(data, adobe=True, wrapcol=75)
    files["btoa.txt"] = btoa(data, False, b"data.bin")
    files["btoa5.txt"] = btoa(data, True, b"data.bin")
    files["yenc.txt"] = yenc_single(data, b"data.bin")
    files["yencmulti.txt"] = yenc_multi(data, b"data.bin", 3)
    files["binhex.hqx"] = binhex(data, b"data.bin")
    words = ["plain", "Grüße", "naïve", "日本語", "emoji 😀", "a+b", "x-y", "~/path", "tab\there",
             "line\r\nbreak", "€uro"]
    text = " ".join(rng.choice(words) for _ in range(max(1, size // 40)))
    files["utf7.txt"] = text.encode("utf-7")
    files["utf7.be"] = text.encode("utf-16-be")
    rtf = (b"{\\rtf1\\ansi\\ansicpg1252\\fromtext \\deff0{\\fonttbl\n{\\f0\\fswiss Arial;}}\n"
           + b"".join(b"\\par %s\n" % rng.choice(words).encode() for _ in range(max(1, min(size, 20000) // 200)))
           + b"}\n")
    files["rtf.raw"] = rtf
    files["rtf.lzfu"] = lzfu(rtf)
    for name, content in files.items():
        with open(os.path.join(outdir, name), "wb") as f:
            f.write(content)


if __name__ == "__main__":
    main()
