#!/usr/bin/env python3
"""Writes the charset sample mails of this folder.

The non-ASCII bodies are encoded here with Python's codecs so that their bytes
are exactly those of the named charset. Run from anywhere; it writes next to
itself. The expected renderings (<name>.txt) are reviewed by hand, not made here.
"""
import base64
import os

HERE = os.path.dirname(os.path.abspath(__file__))


def b_word(text, charset):
    return "=?%s?B?%s?=" % (charset, base64.b64encode(text.encode(charset)).decode("ascii"))


def q_word(text, charset):
    out = []
    for byte in text.encode(charset):
        ch = chr(byte)
        if ch == " ":
            out.append("_")
        elif ch.isalnum() and byte < 0x80:
            out.append(ch)
        else:
            out.append("=%02X" % byte)
    return "=?%s?Q?%s?=" % (charset, "".join(out))


def write(name, headers, body, charset):
    head = "".join("%s: %s\r\n" % field for field in headers)
    data = head.encode("ascii") + b"\r\n" + body.replace("\n", "\r\n").encode(charset)
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)


def write_raw_header(name, subject, body, charset):
    """A mail whose Subject holds raw 8-bit bytes of `charset` (no encoded word)."""
    head = common("", charset)
    lines = []
    for field, value in head:
        if field == "Subject":
            lines.append(b"Subject: " + subject.encode(charset) + b"\r\n")
        else:
            lines.append(("%s: %s\r\n" % (field, value)).encode("ascii"))
    data = b"".join(lines) + b"\r\n" + body.replace("\n", "\r\n").encode(charset)
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)


def common(subject, charset, transfer="8bit"):
    return [
        ("From", "Samples <samples@mailsift.example>"),
        ("To", "reader@example.org"),
        ("Subject", subject),
        ("Date", "Tue, 3 Mar 2026 10:00:00 +0000"),
        ("MIME-Version", "1.0"),
        ("Content-Type", "text/plain; charset=%s" % charset),
        ("Content-Transfer-Encoding", transfer),
    ]


write("latin1-q.eml",
      common(q_word("Grüße aus Köln", "iso-8859-1") + " und " + q_word("café", "iso-8859-1"),
             "iso-8859-1"),
      "Ein Brief in ISO-8859-1.\nÄpfel, Öl und Übermut; façade, naïve, señor.\n",
      "iso-8859-1")

headers = common(b_word("Ünïcödé – 日本語 ✓", "utf-8"), "utf-8")
headers[0] = ("From", b_word("Zoë Ågren", "utf-8") + " <zoe@example.org>")
write("utf8-b.eml", headers,
      "UTF-8 text: Grüße, Здравствуйте, γειά σου, 你好, 😀.\nSecond line.\n",
      "utf-8")

write("iso2022jp.eml",
      common(b_word("日本語の件名", "iso-2022-jp"), "iso-2022-jp", "7bit"),
      "こんにちは、世界。\nこれは ISO-2022-JP のテストです。\n",
      "iso-2022-jp")

write("shift-jis.eml",
      common("Shift-JIS body", "shift_jis"),
      "シフトJISの本文です。\n半角ｶﾀｶﾅもあります。\n",
      "shift_jis")

write("gb2312.eml",
      common("GB2312 body", "gb2312"),
      "你好，世界。\n这是一封简体中文的邮件。\n",
      "gb2312")

# Raw 8-bit header bytes, as mailers send them without encoded words (and as
# RFC 6532 allows for UTF-8).
write_raw_header("raw-header-latin1.eml", "Réunion à Genève", "Ordre du jour: café.\n", "iso-8859-1")
write_raw_header("raw-header-utf8.eml", "Grüße – ☃ 東京", "Body in UTF-8: ☃.\n", "utf-8")
write_raw_header("raw-header-sjis.eml", "会議の予定", "本文です。\n", "shift_jis")
