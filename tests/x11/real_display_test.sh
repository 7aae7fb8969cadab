#!/bin/sh
# The distribution window on a real X server (Xvfb), driven with real key
# events (xdotool) as a user drives it through the demo host:
#   1. Esc on a composed mail asks about the draft; Esc on the question
#      ("Nein") stores nothing, Return ("Ja") stores the draft.
#   2. The X server dies under the open window: the host ends with Qt's
#      exit code, not with a crash.
#   tests/x11/real_display_test.sh BUILD_DIR
set -u
BUILD=$(cd "$1" && pwd)
HOST="$BUILD/apps/demo-host/kalvex-demo-host"
WORK=$(mktemp -d)
XPID=""
cleanup() { [ -n "$XPID" ] && kill "$XPID" 2>/dev/null; rm -rf "$WORK"; }
trap cleanup EXIT
fail() { echo "FAIL: $*"; [ -f "$WORK/host.out" ] && cat "$WORK/host.out"; exit 1; }

start_x() {
    for n in $(seq 90 120); do
        [ -e "/tmp/.X11-unix/X$n" ] && continue
        Xvfb ":$n" -screen 0 1366x768x24 -nolisten tcp >/dev/null 2>&1 &
        XPID=$!
        export DISPLAY=":$n"
        for _ in $(seq 50); do xdotool getdisplaygeometry >/dev/null 2>&1 && return 0; sleep 0.1; done
        kill "$XPID"; XPID=""
    done
    fail "no Xvfb"
}

# Starts the demo host and waits for the distribution window; prints its id.
start_host() {
    (cd "$WORK" && env -u QT_QPA_PLATFORM QT_QPA_PLATFORM=xcb "$HOST" > "$WORK/host.out" 2>&1) &
    HPID=$!
    for _ in $(seq 150); do
        WIN=$(xdotool search --onlyvisible --name '^Kalvex$' 2>/dev/null | head -1)
        [ -n "$WIN" ] && return 0
        sleep 0.1
    done
    fail "the window did not open"
}

# The question box is a second visible window named Kalvex.
wait_question() {
    for _ in $(seq 100); do
        [ "$(xdotool search --onlyvisible --name '^Kalvex$' 2>/dev/null | wc -l)" -ge 2 ] && return 0
        sleep 0.1
    done
    fail "no question after Esc"
}

press() { xdotool windowfocus --sync "$1" 2>/dev/null; sleep 0.2; xdotool key "$2"; }

drafts() { sqlite3 "$WORK/demo-data/common/Common04/kalvex.db" "select count(*) from KVXGesendeteMails where MailStatus = 1" 2>/dev/null || echo 0; }

wait_host() {
    for _ in $(seq 100); do kill -0 "$HPID" 2>/dev/null || break; sleep 0.1; done
    kill -0 "$HPID" 2>/dev/null && fail "the host did not end"
    wait "$HPID"
}

start_x
for answer in Escape Return; do
    start_host
    sleep 0.5
    press "$WIN" Escape
    wait_question
    Q=$(xdotool search --onlyvisible --name '^Kalvex$' | grep -v "^$WIN\$" | head -1)
    press "$Q" "$answer"
    wait_host
    grep -q "ShowVerteilerFormVersion3 = 0" "$WORK/host.out" || fail "exit code of the window ($answer)"
    if [ "$answer" = Escape ]; then [ "$(drafts)" = 0 ] || fail "a draft was stored after No"; fi
    if [ "$answer" = Return ]; then [ "$(drafts)" = 1 ] || fail "no draft stored after Yes"; fi
done

start_host
kill "$XPID"; XPID=""
for _ in $(seq 100); do kill -0 "$HPID" 2>/dev/null || break; sleep 0.1; done
wait "$HPID"; CODE=$?
[ "$CODE" -lt 128 ] || fail "the host crashed (status $CODE) when the display went away"
echo "ok"
