#!/bin/sh
# The module's windows on a real X server (Xvfb, 1366 × 768, the size of a
# small laptop) with a window manager (Openbox), driven with real key
# events (xdotool) as a user drives them:
#   1. The distribution window and every dialog it opens, in German and
#      English, lie wholly on the screen with their buttons on it, each
#      dialog centred on the window.
#   2. Esc on a composed mail asks about the draft; Esc on the question
#      goes back to the mail (nothing stored, the window stays); Esc, then
#      Return ("Ja") stores the draft.
#   3. The X server dies under the open window: the host ends with Qt's
#      exit code, not with a crash.
#   tests/x11/real_display_test.sh BUILD_DIR
set -u
BUILD=$(cd "$1" && pwd)
HOST="$BUILD/apps/demo-host/kalvex-demo-host"
TOUR="$BUILD/tests/ui/kalvex_dialog_tour"
WORK=$(mktemp -d)
XPID=""
WMPID=""
cleanup() { [ -n "$WMPID" ] && kill "$WMPID" 2>/dev/null; [ -n "$XPID" ] && kill "$XPID" 2>/dev/null; rm -rf "$WORK"; }
trap cleanup EXIT
fail() { echo "FAIL: $*"; [ -f "$WORK/host.out" ] && cat "$WORK/host.out"; exit 1; }

start_x() {
    for n in $(seq 90 120); do
        [ -e "/tmp/.X11-unix/X$n" ] && continue
        Xvfb ":$n" -screen 0 1366x768x24 -nolisten tcp >/dev/null 2>&1 &
        XPID=$!
        export DISPLAY=":$n"
        for _ in $(seq 50); do xdotool getdisplaygeometry >/dev/null 2>&1 && break; sleep 0.1; done
        if xdotool getdisplaygeometry >/dev/null 2>&1; then start_wm; return 0; fi
        kill "$XPID"; XPID=""
    done
    fail "no Xvfb"
}

# Openbox places windows (centred on their parent) and adds title bars.
start_wm() {
    openbox --sm-disable >/dev/null 2>&1 &
    WMPID=$!
    for _ in $(seq 50); do
        xdotool get_num_desktops >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    fail "openbox did not start"
}

# The tour shows one window at a time and names it; each must lie on the
# screen, its buttons too.
tour() {
    lang=$1
    rm -f "$WORK/in" "$WORK/out"
    mkfifo "$WORK/in" "$WORK/out"
    (cd "$WORK" && env -u QT_QPA_PLATFORM QT_QPA_PLATFORM=xcb "$TOUR" "$lang" < "$WORK/in" > "$WORK/out" 2>"$WORK/tour.err") &
    TPID=$!
    exec 3>"$WORK/in"
    exec 4<"$WORK/out"
    count=0
    while read -r name id bottom <&4; do
        eval "$(xdotool getwindowgeometry --shell "$id")"
        echo "$lang $name: ${WIDTH}x${HEIGHT} at $X,$Y, buttons end at $bottom"
        [ "$X" -ge 0 ] && [ "$Y" -ge 0 ] || fail "$name ($lang) starts off the screen at $X,$Y"
        [ $((X + WIDTH)) -le 1366 ] && [ $((Y + HEIGHT)) -le 768 ] || fail "$name ($lang) ends off the screen: ${WIDTH}x${HEIGHT} at $X,$Y"
        [ $((Y + bottom)) -le 768 ] || fail "the buttons of $name ($lang) are below the screen"
        if [ "$name" = main ]; then
            MX=$((X + WIDTH / 2)); MY=$((Y + HEIGHT / 2))
        else
            DX=$((X + WIDTH / 2 - MX)); DY=$((Y + HEIGHT / 2 - MY))
            [ "${DX#-}" -le 40 ] && [ "${DY#-}" -le 40 ] || fail "$name ($lang) is not centred on the window ($DX,$DY off)"
        fi
        count=$((count + 1))
        echo >&3
    done
    exec 3>&- 4<&-
    wait "$TPID" || { cat "$WORK/tour.err"; fail "the dialog tour ($lang) failed"; }
    [ "$count" -ge 10 ] || fail "the tour ($lang) showed only $count windows"
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

windows() { xdotool search --onlyvisible --name '^Kalvex$' 2>/dev/null | wc -l; }

# The question box is a second visible window named Kalvex.
wait_question() {
    for _ in $(seq 100); do
        [ "$(windows)" -ge 2 ] && return 0
        sleep 0.1
    done
    fail "no question after Esc"
}

wait_question_gone() {
    for _ in $(seq 100); do
        [ "$(windows)" -eq 1 ] && return 0
        sleep 0.1
    done
    fail "the question stayed open"
}

question() { xdotool search --onlyvisible --name '^Kalvex$' | grep -v "^$WIN\$" | head -1; }

press() { xdotool windowactivate --sync "$1" 2>/dev/null || xdotool windowfocus --sync "$1" 2>/dev/null; sleep 0.2; xdotool key "$2"; }

drafts() { sqlite3 "$WORK/demo-data/common/Common04/kalvex.db" "select count(*) from KVXGesendeteMails where MailStatus = 1" 2>/dev/null || echo 0; }

wait_host() {
    for _ in $(seq 100); do kill -0 "$HPID" 2>/dev/null || break; sleep 0.1; done
    kill -0 "$HPID" 2>/dev/null && fail "the host did not end"
    wait "$HPID"
}

start_x
tour 1031
tour 1033

# Esc, Esc: the question is called off, the mail stays; Esc, Return: stored.
start_host
sleep 0.5
press "$WIN" Escape
wait_question
press "$(question)" Escape
wait_question_gone
kill -0 "$HPID" 2>/dev/null || fail "Esc on the question closed the window"
[ "$(drafts)" = 0 ] || fail "a draft was stored after Esc on the question"
press "$WIN" Escape
wait_question
press "$(question)" Return
wait_host
grep -q "ShowVerteilerFormVersion3 = 0" "$WORK/host.out" || fail "exit code of the window"
[ "$(drafts)" = 1 ] || fail "no draft stored after Yes"

start_host
kill "$XPID"; XPID=""
for _ in $(seq 100); do kill -0 "$HPID" 2>/dev/null || break; sleep 0.1; done
wait "$HPID"; CODE=$?
[ "$CODE" -lt 128 ] || fail "the host crashed (status $CODE) when the display went away"
echo "ok"
