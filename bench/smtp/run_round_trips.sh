#!/bin/sh
# Round trips per mail of a separate run: N mails (default 500), one
# recipient each, over implicit TLS with AUTH PLAIN to aiosmtpd announcing
# PIPELINING, behind a proxy that delays every piece of data DELAY_MS
# (default 20) in each direction, so one round trip is 2 x DELAY_MS.
# The figure is the run's wall time over N round trips: the connection's
# own start (TLS, EHLO, AUTH) counts in it, spread over the mails.
# Usage: bench/smtp/run_round_trips.sh [build-dir]
set -eu
BUILD=${1:-build}
DRIVER=$(cd "$BUILD" && pwd)/bench/smtp/kalvex_circular_driver
SRC=$(cd "$(dirname "$0")/../.." && pwd)
WORK=$(mktemp -d)
N=${N:-500}
DELAY=${DELAY_MS:-20}
PIDS=""
cleanup() { for p in $PIDS; do kill "$p" 2>/dev/null || true; done; rm -rf "$WORK"; }
trap cleanup EXIT
cd "$WORK"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 2>/dev/null
mkdir mails
/usr/bin/python3 "$SRC/tests/smtp/smtp_server.py" --tls implicit --auth PLAIN,LOGIN --user bench@example.org \
    --password geheim --cert cert.pem --key key.pem --maildir mails --pipelining > server.out &
PIDS="$PIDS $!"
for i in 1 2 3 4 5 6 7 8 9 10; do grep -q READY server.out 2>/dev/null && break; sleep 0.5; done
/usr/bin/python3 "$SRC/bench/smtp/delay_proxy.py" --target-port "$(sed -n 's/READY //p' server.out)" \
    --delay-ms "$DELAY" > proxy.out &
PIDS="$PIDS $!"
for i in 1 2 3 4 5 6 7 8 9 10; do grep -q READY proxy.out 2>/dev/null && break; sleep 0.5; done

start=$(date +%s.%N)
QT_QPA_PLATFORM=offscreen "$DRIVER" 127.0.0.1 "$(sed -n 's/READY //p' proxy.out)" "$N" > driver.out
end=$(date +%s.%N)
received=$(ls mails | grep -c '\.eml$' || true)
python3 - "$start" "$end" "$N" "$DELAY" "$received" <<'PY'
import sys
start, end = float(sys.argv[1]), float(sys.argv[2])
n, delay, received = int(sys.argv[3]), float(sys.argv[4]), sys.argv[5]
seconds = end - start
rtt = 2 * delay / 1000
print("%d mails, implicit TLS + AUTH PLAIN, PIPELINING, %.0f ms round trip: %.2f s, %.2f round trips a mail, %s received"
      % (n, rtt * 1000, seconds, seconds / n / rtt, received))
PY
echo "driver: $(cat driver.out)"
