#!/usr/bin/env python3
"""Decodes the leaf parts of many mails with Python's email package, as an
independent reference for the extraction test.

usage: payloads.py LIST OUTDIR

For the mail on line N (from 0) of LIST that the package parses as a message
(a header block with at least one field), leaf part M's decoded payload goes
to OUTDIR/N-M.bin and OUTDIR/manifest.tsv gets the tab-separated line
"N M transfer-encoding file-name-as-UTF-8-hex-or-- path". An attached message
(message/rfc822 and the like) gets a line of its own before its parts, with
the transfer encoding "attached-message" and no file. A mail it can't parse
gets no lines.
"""
import email
import email.policy
import os
import sys
from email.header import decode_header, make_header


def decoded_name(part):
    try:
        name = part.get_filename()
    except Exception:
        name = None
    if name is None:
        return None
    if "=?" in name:
        try:
            name = str(make_header(decode_header(name)))
        except Exception:
            pass
    # Undecodable raw bytes come back as surrogate escapes.
    return name.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def is_attached_message(part):
    return part.get_content_maintype() == "message" and part.is_multipart()


def leaves(message):
    # An attached message is listed itself, then its own parts: the filter
    # hands it out whole, as a byte range of the mail.
    if is_attached_message(message):
        yield message
    if message.is_multipart():
        for child in message.get_payload():
            if isinstance(child, email.message.Message):
                yield from leaves(child)
    else:
        yield message


def main():
    listing, outdir = sys.argv[1], sys.argv[2]
    os.makedirs(outdir, exist_ok=True)
    with open(listing, encoding="utf-8") as paths, \
         open(os.path.join(outdir, "manifest.tsv"), "w", encoding="utf-8") as manifest:
        for n, path in enumerate(line.rstrip("\n") for line in paths):
            try:
                # From bytes, not from a binary file: a file is read through
                # universal newlines, which would turn CRLF into LF.
                with open(path, "rb") as mail:
                    message = email.message_from_bytes(mail.read(), policy=email.policy.default)
                if not message.keys():
                    continue
                parts = list(leaves(message))
            except Exception:
                continue
            for m, part in enumerate(parts):
                if is_attached_message(part):
                    manifest.write("%d\t%d\tattached-message\t-\t-\n" % (n, m))
                    continue
                try:
                    payload = part.get_payload(decode=True)
                    if payload is None:
                        continue
                    name = decoded_name(part)
                    encoding = str(part.get("content-transfer-encoding", "")).strip().lower()
                except Exception:
                    continue
                out = os.path.join(outdir, "%d-%d.bin" % (n, m))
                with open(out, "wb") as data:
                    data.write(payload)
                hexname = name.encode("utf-8").hex() if name else "-"
                manifest.write("%d\t%d\t%s\t%s\t%s\n" % (n, m, encoding or "-", hexname, out))


if __name__ == "__main__":
    main()
