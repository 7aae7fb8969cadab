#!/bin/sh
# Opens kalvex.dll's distribution window in German under Wine on a private
# Xvfb display and saves it as a PNG (no window manager: no frame).
# usage: screenshot.sh <stage folder> <png file>
set -eu
stage=$(cd "$1" && pwd)
png=$2
here=$(cd "$(dirname "$0")" && pwd)
export WINEPREFIX="$stage/../wineprefix" WINEDEBUG=-all WINEARCH=win64 WINEDLLOVERRIDES="mscoree,mshtml="
[ -f "$WINEPREFIX/system.reg" ] || wineboot -i
work=$(mktemp -d /tmp/kalvex-shot-XXXXXX)
mkdir -p "$work/fb" "$work/db"

display=:$((100 + $$ % 500))
Xvfb "$display" -screen 0 1366x768x24 -fbdir "$work/fb" -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
cleanup() {
  wineserver -k 2>/dev/null || true
  kill "$xvfb" 2>/dev/null || true
  rm -rf "$work" "$stage/Regpath.ini"
}
trap cleanup EXIT
export DISPLAY=$display

printf '[Registry]\r\nKey=Demo\r\n' >"$stage/Regpath.ini"
(cd "$stage" && wine kalvex-show-window.exe "$(winepath -w "$stage/kalvex.dll")" "$(winepath -w "$work/db")" \
   >"$work/show.log" 2>&1 &)
window=""
for _ in $(seq 120); do
  window=$(xdotool search --onlyvisible --name '^Kalvex' 2>/dev/null | head -n 1 || true)
  [ -n "$window" ] && break
  sleep 0.5
done
[ -n "$window" ] || { echo "the window did not open" >&2; cat "$work/show.log" >&2; exit 1; }
# Give the window its first paint before the screen is read.
sleep 3
eval "$(xdotool getwindowgeometry --shell "$window")"
/usr/bin/python3 "$here/xwd_to_png.py" "$work/fb/Xvfb_screen0" "$png" "$X" "$Y" "$WIDTH" "$HEIGHT"
echo "$png"
