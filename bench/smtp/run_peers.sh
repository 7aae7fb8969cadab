#!/bin/sh
# Compares the module with msmtp and curl: 500 small mails (one connection
# each) plain to Postfix's smtp-sink, 500 with STARTTLS + AUTH to aiosmtpd
# (smtp-sink has no TLS), and one mail with a 20 MB attachment to smtp-sink.
# Needs: postfix (smtp-sink), msmtp, curl, python3-aiosmtpd, openssl; root
# for port 587. Usage: bench/smtp/run_peers.sh [build-dir]
set -eu
BUILD=${1:-build}
DRIVER=$(cd "$BUILD" && pwd)/bench/smtp/kalvex_smtp_driver
SRC=$(cd "$(dirname "$0")/../.." && pwd)
WORK=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; rm -rf "$WORK"' EXIT
N=${N:-500}
cd "$WORK"
printf 'From: bench@example.org\r\nTo: sink@example.org\r\nSubject: Benchmark\r\n\r\nKurzer Text.\r\n' > small.eml
head -c 20000000 /dev/urandom > big.bin
python3 - <<'PY'
from email.message import EmailMessage
m = EmailMessage(); m["From"]="bench@example.org"; m["To"]="sink@example.org"; m["Subject"]="Gross"
m.set_content("Anhang"); m.add_attachment(open("big.bin","rb").read(), maintype="application", subtype="octet-stream", filename="big.bin")
open("big.eml","wb").write(m.as_bytes().replace(b"\n", b"\r\n"))
PY
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 2>/dev/null
/usr/sbin/smtp-sink -u nobody -4 127.0.0.1:2526 1024 &
/usr/bin/python3 "$SRC/tests/smtp/smtp_server.py" --port 587 --tls starttls --auth PLAIN,LOGIN \
    --user bench@example.org --password geheim --cert cert.pem --key key.pem --maildir "$WORK" > /dev/null &
sleep 2
rate() { python3 -c "import sys; print('%.1f' % ($N / float(sys.argv[1])))" "$1"; }
timed() { s=$(date +%s.%N); "$@" > /dev/null 2>>"$WORK/err.log" || { cat "$WORK/err.log" >&2; return 1; }; e=$(date +%s.%N); python3 -c "print('%.3f' % ($e - $s))"; }
loop() { i=0; while [ $i -lt $N ]; do "$@" || return 1; i=$((i+1)); done; }

echo "| case | Kalvex | curl | msmtp |"
echo "|---|---|---|---|"
t1=$(timed "$DRIVER" 127.0.0.1 2526 $N)
t2=$(timed loop curl -s smtp://127.0.0.1:2526/client.example --mail-from bench@example.org --mail-rcpt sink@example.org -T small.eml)
t3=$(timed loop sh -c "msmtp --host=127.0.0.1 --port=2526 --from=bench@example.org sink@example.org < small.eml")
echo "| $N small mails, plain, smtp-sink (mails/s) | $(rate $t1) | $(rate $t2) | $(rate $t3) |"
rm -f "$WORK"/mail*.eml*
t1=$(timed "$DRIVER" 127.0.0.1 587 $N --tls)
t2=$(timed loop curl -s -k --ssl-reqd --sasl-ir -u bench@example.org:geheim smtp://127.0.0.1:587/client.example --mail-from bench@example.org --mail-rcpt sink@example.org -T small.eml)
t3=$(timed loop sh -c "msmtp --host=127.0.0.1 --port=587 --tls=on --tls-starttls=on --tls-certcheck=off --auth=on --user=bench@example.org --passwordeval='echo geheim' --from=bench@example.org sink@example.org < small.eml")
echo "| $N small mails, STARTTLS + AUTH, aiosmtpd (mails/s) | $(rate $t1) | $(rate $t2) | $(rate $t3) |"
t1=$(timed "$DRIVER" 127.0.0.1 2526 1 --attach big.bin)
t2=$(timed curl -s smtp://127.0.0.1:2526/client.example --mail-from bench@example.org --mail-rcpt sink@example.org -T big.eml)
t3=$(timed sh -c "msmtp --host=127.0.0.1 --port=2526 --from=bench@example.org sink@example.org < big.eml")
echo "| 1 mail with 20 MB attachment, smtp-sink (s) | $t1 | $t2 | $t3 |"
peak=$( (/usr/bin/time -v "$DRIVER" 127.0.0.1 2526 1 --attach big.bin) 2>&1 | sed -n 's/.*Maximum resident set size (kbytes): //p')
echo
echo "Kalvex peak memory for the 20 MB mail: $((peak / 1024)) MB"
