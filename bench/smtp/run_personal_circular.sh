#!/bin/sh
# A personal circular: N recipients (default 1,000) from a CSV file, a
# 200 KB RTF body with recipient fields in subject and body, each mail
# merged for its recipient and sent over one plain connection to Postfix's
# smtp-sink (Debian postfix; run as root). Beside it in the same run: a
# Python peer that fills the same fields into prepared plain and HTML
# texts, encodes them with the C quoted-printable encoder and sends them
# over one smtplib connection. Prints both times and the ratio.
# Usage: bench/smtp/run_personal_circular.sh [build-dir]
set -eu
BUILD=$(cd "${1:-build}" && pwd)
N=${N:-1000}
WORK=$(mktemp -d)
SINK_PID=""
cleanup() { [ -n "$SINK_PID" ] && kill "$SINK_PID" 2>/dev/null; rm -rf "$WORK"; }
trap cleanup EXIT
cd "$WORK"
PORT=$(/usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
/usr/sbin/smtp-sink -u nobody -4 127.0.0.1:"$PORT" 1024 &
SINK_PID=$!
sleep 0.5
/usr/bin/python3 - "$N" <<'PY'
import sys
n = int(sys.argv[1])
with open("list.csv", "w", encoding="utf-8") as f:
    f.write("EMail;Vorname;Nachname;Firma\n")
    for i in range(n):
        f.write(f"empf{i}@example.org;Anna{i};Schäfer{i};Hochbau {i} GmbH\n")
para = ("Sehr geehrte <Empfaenger.Vorname> <Empfaenger.Nachname>, die Mängel am Bauvorhaben der "
        "<Empfaenger.Firma> sind wie folgt zu beseitigen: Risse im Estrich, Tür schließt nicht, Fenster undicht. ")
body, plain = [], []
while sum(map(len, body)) < 200_000:
    body.append(r"{\pard " + para.replace("ä", r"\'e4").replace("ü", r"\'fc").replace("ß", r"\'df") + r"\par}" + "\n")
    plain.append(para)
with open("body.rtf", "w", encoding="latin-1") as f:
    f.write(r"{\rtf1\ansi\ansicpg1252{\fonttbl{\f0 Arial;}}\f0\fs20" + "\n" + "".join(body) + "}")
with open("plain.txt", "w", encoding="utf-8") as f:
    f.write("\n".join(plain))
PY
mkdir -p common data
cat > registry.ini <<INI
[SOFTWARE\\QMB GmbH\\InstallDir]
Bench=$WORK/data
[SOFTWARE\\QMB GmbH\\Common]
Common=$WORK/common
INI
export KALVEX_REGISTRY=$WORK/registry.ini QT_QPA_PLATFORM=offscreen
K="$BUILD/apps/kalvex/kalvex --install-key Bench"
$K config --direct --host 127.0.0.1 --port "$PORT" --encrypted 0 --sender bench@example.org >/dev/null
now() { date +%s.%N; }
t0=$(now)
$K send --subject "Mängel für <Empfaenger.Firma>" --body-file body.rtf --recipients list.csv --separate >/dev/null 2>&1
t1=$(now)
/usr/bin/python3 - "$PORT" <<'PY'
import csv, smtplib, sys, html
from email.mime.multipart import MIMEMultipart
from email.mime.text import MIMEText
from email import charset
charset.add_charset("utf-8", charset.QP, charset.QP, "utf-8")   # the C encoder (binascii.b2a_qp)
plain = open("plain.txt", encoding="utf-8").read()
page = "<html><body>" + "".join("<p>" + html.escape(p) + "</p>" for p in plain.split("\n")) + "</body></html>"
with smtplib.SMTP("127.0.0.1", int(sys.argv[1])) as s:
    for row in csv.DictReader(open("list.csv", encoding="utf-8"), delimiter=";"):
        def fill(t):
            return (t.replace("<Empfaenger.Vorname>", row["Vorname"]).replace("<Empfaenger.Nachname>", row["Nachname"])
                     .replace("<Empfaenger.Firma>", row["Firma"]))
        m = MIMEMultipart("alternative")
        m["Subject"] = fill("Mängel für <Empfaenger.Firma>")
        m["From"], m["To"] = "bench@example.org", row["EMail"]
        m.attach(MIMEText(fill(plain), "plain", "utf-8"))
        m.attach(MIMEText(fill(page), "html", "utf-8"))
        s.sendmail("bench@example.org", [row["EMail"]], m.as_bytes())
PY
t2=$(now)
/usr/bin/python3 -c "k=$t1-$t0; p=$t2-$t1; print(f'{$N} recipients, 200 KB RTF: kalvex {k:.2f} s, Python peer {p:.2f} s, ratio {k/p:.2f}')"
