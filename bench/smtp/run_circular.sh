#!/bin/sh
# A circular of N mails (default 500), one recipient each, over implicit TLS
# with AUTH PLAIN to aiosmtpd behind a proxy that delays every piece of data
# by 20 ms in each direction (a simulated provider link). Side by side in
# one run: the mailing run's separate run (one connection, each mail
# starting with MAIL at once, TLS session resumption; PIPELINING where the
# server offers it),
# against a server that announces PIPELINING and one that does not, and
# Python's smtplib sending the same mails one connection each.
# Usage: bench/smtp/run_circular.sh [build-dir]
set -eu
BUILD=${1:-build}
DRIVER=$(cd "$BUILD" && pwd)/bench/smtp/kalvex_circular_driver
SRC=$(cd "$(dirname "$0")/../.." && pwd)
WORK=$(mktemp -d)
N=${N:-500}
DELAY=${DELAY_MS:-20}
cleanup() { for p in $PIDS; do kill "$p" 2>/dev/null || true; done; rm -rf "$WORK"; }
PIDS=""
trap cleanup EXIT
cd "$WORK"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 2>/dev/null
# start_link NAME [server options]: aiosmtpd and its delaying proxy; the
# proxy's port goes to NAME.port, the mails to NAME/.
start_link() {
    name=$1; shift
    mkdir "$name"
    /usr/bin/python3 "$SRC/tests/smtp/smtp_server.py" --tls implicit --auth PLAIN,LOGIN --user bench@example.org \
        --password geheim --cert cert.pem --key key.pem --maildir "$name" "$@" > "$name.server" &
    PIDS="$PIDS $!"
    for i in 1 2 3 4 5 6 7 8 9 10; do grep -q READY "$name.server" 2>/dev/null && break; sleep 0.5; done
    /usr/bin/python3 "$SRC/bench/smtp/delay_proxy.py" --target-port "$(sed -n 's/READY //p' "$name.server")" \
        --delay-ms "$DELAY" > "$name.proxy" &
    PIDS="$PIDS $!"
    for i in 1 2 3 4 5 6 7 8 9 10; do grep -q READY "$name.proxy" 2>/dev/null && break; sleep 0.5; done
    sed -n 's/READY //p' "$name.proxy" > "$name.port"
}
received() { ls "$1" | grep -c '\.eml$' || true; }
now() { date +%s.%N; }
start_link pipe --pipelining   # announces PIPELINING, as Microsoft 365 and Gmail do
start_link plain               # aiosmtpd as it is: no PIPELINING

k_start=$(now)
QT_QPA_PLATFORM=offscreen "$DRIVER" 127.0.0.1 "$(cat pipe.port)" "$N" > kalvex.out
k_end=$(now)
n_start=$(now)
QT_QPA_PLATFORM=offscreen "$DRIVER" 127.0.0.1 "$(cat plain.port)" "$N" > kalvex-plain.out
n_end=$(now)
k_mails=$(received pipe)
n_mails=$(received plain)
rm -f pipe/*

p_start=$(now)
/usr/bin/python3 - "$(cat pipe.port)" "$N" <<'PY'
import smtplib, ssl, sys
from email.message import EmailMessage
port, n = int(sys.argv[1]), int(sys.argv[2])
ctx = ssl.create_default_context(); ctx.check_hostname = False; ctx.verify_mode = ssl.CERT_NONE
for i in range(n):
    m = EmailMessage()
    m["From"] = "bench@example.org"; m["To"] = "empf%d@example.org" % i; m["Subject"] = "Rundschreiben"
    m.set_content("Sehr geehrte Damen und Herren,\nanbei unser Rundschreiben.")
    with smtplib.SMTP_SSL("127.0.0.1", port, context=ctx) as s:
        s.login("bench@example.org", "geheim")
        s.send_message(m)
PY
p_end=$(now)
p_mails=$(received pipe)

python3 - "$k_start" "$k_end" "$n_start" "$n_end" "$p_start" "$p_end" "$k_mails" "$n_mails" "$p_mails" "$N" "$DELAY" <<'PY'
import sys
ks, ke, ns, ne, ps, pe = map(float, sys.argv[1:7])
k, n, p = ke - ks, ne - ns, pe - ps
count, delay = int(sys.argv[10]), sys.argv[11]
print("| %d mails, implicit TLS + AUTH PLAIN, +%s ms each way | time | mails/s | received | / smtplib |" % (count, delay))
print("|---|---|---|---|---|")
print("| Kalvex separate run, server with PIPELINING | %.2f s | %.1f | %s | %.2f |" % (k, count / k, sys.argv[7], k / p))
print("| Kalvex separate run, server without PIPELINING | %.2f s | %.1f | %s | %.2f |" % (n, count / n, sys.argv[8], n / p))
print("| smtplib, one connection each | %.2f s | %.1f | %s | 1.00 |" % (p, count / p, sys.argv[9]))
PY
echo
echo "driver: $(cat kalvex.out) / $(cat kalvex-plain.out)"
