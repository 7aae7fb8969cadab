#!/usr/bin/python3
"""Checks a message as the module sent it, first on the raw bytes, then
with Python's email package. Prints one JSON object describing the message."""
import base64
import binascii
import hashlib
import json
import re
import sys
from email import policy
from email.parser import BytesParser
from html.parser import HTMLParser


class HtmlFacts(HTMLParser):
    """What a recipient's program makes of the HTML part."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.images, self.links, self.families, self.text = [], [], [], []
        self.double_styles = 0
        self.open_link = None

    def handle_starttag(self, tag, attrs):
        styles = [v for k, v in attrs if k == "style"]
        if len(styles) > 1:
            self.double_styles += 1
        for style in styles:
            for m in re.finditer(r"font-family:([^;]*)", style or ""):
                self.families.append(m.group(1).strip())
        a = dict(attrs)
        if tag == "img":
            self.images.append({"src": a.get("src", ""), "width": a.get("width"), "height": a.get("height")})
        if tag == "a":
            self.open_link = {"href": a.get("href", ""), "text": ""}
        if tag in ("p", "li", "tr", "br"):
            self.text.append("\n")
        if tag == "td":
            self.text.append("\t")

    def handle_endtag(self, tag):
        if tag == "a" and self.open_link is not None:
            self.links.append(self.open_link)
            self.open_link = None

    def handle_data(self, data):
        self.text.append(data)
        if self.open_link is not None:
            self.open_link["text"] += data

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
for i, line in enumerate(raw.split(b"\r\n\r\n", 1)[1].split(b"\r\n") if b"\r\n\r\n" in raw else []):
    if len(line) > 76 and not line.lstrip().lower().startswith((b"filename*", b"name=")):
        problems.append("body line %d over 76: %r" % (i, line[:100]))
names = [l.split(b":", 1)[0].lower() for l in head.split(b"\r\n") if l and not l[:1].isspace()]
for single in [b"from", b"to", b"cc", b"bcc", b"subject", b"date", b"message-id"]:
    if names.count(single) > 1:
        problems.append("header %s repeated" % single.decode())

def base64_part(part, info):
    payload = part.get_payload()
    for l in payload.split("\r\n") if "\r\n" in payload else payload.split("\n"):
        if len(l) > 76:
            problems.append("base64 line over 76")
            break
    try:
        data = base64.b64decode("".join(payload.split()), validate=True)
        info["size"] = len(data)
        info["sha1"] = hashlib.sha1(data).hexdigest()
        return data
    except binascii.Error as e:
        problems.append("base64: %s" % e)
    return b""


msg = BytesParser(policy=policy.default).parsebytes(raw)
parts = []
content_ids = set()
for part in msg.walk():
    info = {"type": part.get_content_type()}
    if part["content-id"]:
        cid = str(part["content-id"]).strip().strip("<>")
        content_ids.add(cid)
        info["cid"] = cid
        info["disposition"] = part.get_content_disposition()
        data = base64_part(part, info)
        if not (data.startswith(b"\x89PNG") or data.startswith(b"\xff\xd8\xff")):
            problems.append("inline part %s is no PNG or JPEG" % cid)
    elif part.get_content_disposition() == "attachment":
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
        if part.get_content_subtype() == "html":
            facts = HtmlFacts()
            facts.feed(info["text"])
            info.update(images=facts.images, links=facts.links, families=facts.families,
                        shown="".join(facts.text), double_styles=facts.double_styles)
    parts.append(info)
for info in parts:
    for image in info.get("images", []):
        if not image["src"].startswith("cid:") or image["src"][4:] not in content_ids:
            problems.append("picture without a part: %s" % image["src"][:60])
    for family in info.get("families", []):
        if not re.search(r"(^|,)\s*(sans-serif|serif|monospace)\s*$", family):
            problems.append("font without a generic family: %s" % family)
    if info.get("double_styles"):
        problems.append("an element with two style attributes")
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
