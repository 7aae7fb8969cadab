#!/usr/bin/python3
"""Checks a message as the module sent it, first on the raw bytes, then
with Python's email package. Prints one JSON object describing the message."""
import base64
import binascii
import json
import sys
from email import policy
from email.parser import BytesParser

raw = open(sys.argv[1], "rb").read()
problems = []
lines = raw.split(b"\r\n")
for i, line in enumerate(lines):
    if b"\r" in line or b"\n" in line:
        problems.append("bare CR or LF in line %d" % i)
    if len(line) > 998:
        problems.append("line %d longer than 998" % i)
head = raw.split(b"\r\n\r\n", 1)[0]
for line in head.split(b"\r\n"):
    if len(line) > 76 and b"filename*" not in line:
        problems.append("header line over 76: %r" % line[:100])
names = [l.split(b":", 1)[0].lower() for l in head.split(b"\r\n") if l and not l[:1].isspace()]
for single in [b"from", b"to", b"cc", b"bcc", b"subject", b"date", b"message-id"]:
    if names.count(single) > 1:
        problems.append("header %s repeated" % single.decode())

msg = BytesParser(policy=policy.default).parsebytes(raw)
parts = []
for part in msg.walk():
    info = {"type": part.get_content_type()}
    if part.get_content_disposition() == "attachment":
        info["filename"] = part.get_filename()
        payload = part.get_payload()
        body = "".join(payload.split())
        for l in payload.split("\r\n") if "\r\n" in payload else payload.split("\n"):
            if len(l) > 76:
                problems.append("base64 line over 76")
                break
        try:
            data = base64.b64decode(body, validate=True)
            info["size"] = len(data)
            info["sha1"] = __import__("hashlib").sha1(data).hexdigest()
        except binascii.Error as e:
            problems.append("base64: %s" % e)
    elif part.get_content_maintype() == "text":
        info["text"] = part.get_content()
    parts.append(info)
print(json.dumps({
    "problems": problems,
    "headers": names and [n.decode() for n in names],
    "from": str(msg["from"]),
    "to": str(msg["to"] or ""),
    "cc": str(msg["cc"] or ""),
    "bcc": str(msg["bcc"] or ""),
    "subject": str(msg["subject"]),
    "has_date": msg["date"] is not None,
    "message_id": str(msg["message-id"] or ""),
    "parts": parts,
}, ensure_ascii=False))
