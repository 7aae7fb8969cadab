#!/bin/sh
# Runs the demo host. With a display the distribution window opens for the
# user. Without one, the demo runs unattended: a local SMTP server
# (aiosmtpd) receives the merged mail, which is then shown here.
#   tools/run_demo.sh BUILD_DIR [--lang 1033] [--check]
# --check: exit 1 unless the mail arrived (used by the tests).
set -eu
BUILD=$(cd "$1" && pwd); shift
SRC=$(cd "$(dirname "$0")/.." && pwd)
HOST="$BUILD/apps/demo-host/kalvex-demo-host"
CHECK=0; ARGS=""
for a in "$@"; do
    if [ "$a" = "--check" ]; then CHECK=1; else ARGS="$ARGS $a"; fi
done
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ $CHECK = 0 ]; then
    exec "$HOST" $ARGS
fi
WORK=$(mktemp -d)
trap 'kill $SERVER 2>/dev/null; rm -rf "$WORK"' EXIT
/usr/bin/python3 "$SRC/tests/smtp/smtp_server.py" --maildir "$WORK" > "$WORK/server.out" 2>&1 &
SERVER=$!
for _ in $(seq 50); do grep -q READY "$WORK/server.out" 2>/dev/null && break; sleep 0.1; done
PORT=$(sed -n 's/^READY //p' "$WORK/server.out")
[ -n "$PORT" ] || { cat "$WORK/server.out"; exit 1; }
echo "No display: unattended demo, mail goes to a local SMTP server on port $PORT."
(cd "$WORK" && QT_QPA_PLATFORM=offscreen "$HOST" --script "$PORT" $ARGS)
MAIL=$(ls "$WORK"/mail*.eml 2>/dev/null | head -1)
if [ -z "$MAIL" ]; then echo "No mail arrived."; exit 1; fi
echo; echo "Received by the SMTP server:"
/usr/bin/python3 - "$MAIL" <<'PY'
import email, email.policy, sys
m = email.message_from_bytes(open(sys.argv[1], "rb").read(), policy=email.policy.default)
print("From:   ", m["From"]); print("To:     ", m["To"]); print("Subject:", m["Subject"])
body = m.get_body(preferencelist=("plain",))
print(); print(body.get_content().strip() if body else "")
print(); print("Attachments:", ", ".join(p.get_filename() for p in m.iter_attachments()) or "none")
PY
