#!/bin/sh
# The Windows build under Wine, next to the Linux build:
#  1. kalvex.dll exports exactly the functions of kalvex.h, undecorated;
#  2. the C host (tests/windows/host.c) built for both platforms drives the
#     module the same way; the Windows one reads its folders from registry
#     values set with `$WINE reg add`, the Linux one from the registry file;
#     the record streams both builds write must be equal byte for byte;
#  3. kalvex.exe sends a mail over implicit TLS and over STARTTLS (Schannel)
#     to aiosmtpd on 127.0.0.1;
#  4. kalvex.exe hands a mail over through Wine's MAPISendMail, which ends
#     in a recording xdg-email.
# usage: run_windows_tests.sh <linux build> <windows build> <stage folder>
# KALVEX_WINE names the wine to use (for 32-bit: tests/windows/wine32-chroot.sh),
# KALVEX_MINGW_TRIPLE the binutils of the build (default x86_64-w64-mingw32),
# WINEARCH the prefix's kind (default win64).
set -eu
WINE=${KALVEX_WINE:-wine}
TRIPLE=${KALVEX_MINGW_TRIPLE:-x86_64-w64-mingw32}
src=$(cd "$(dirname "$0")/../.." && pwd)
linux=$(cd "$1" && pwd)
win=$(cd "$2" && pwd)
stage=$(cd "$3" && pwd)

export WINEPREFIX="$win/wineprefix" WINEDEBUG=-all WINEARCH=${WINEARCH:-win64} WINEDLLOVERRIDES="mscoree,mshtml="
# Wine hands WINE-prefixed variables to Windows programs without the prefix.
export WINEQT_QPA_PLATFORM=offscreen
[ -f "$WINEPREFIX/system.reg" ] || $WINE wineboot -i

work=$(mktemp -d /tmp/kalvex-windows-XXXXXX)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
pass() { echo "ok: $*"; }

# --- 1. exports ---------------------------------------------------------
"$TRIPLE-objdump" -p "$stage/kalvex.dll" \
  | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^[[:space:]]*\[ *[0-9]*\] *//p' | sort >"$work/dll-exports"
sed -n 's/^KALVEX_API [^(]*[ *]\([A-Za-z0-9_]*\)(.*/\1/p' "$src/include/kalvex/kalvex.h" | sort >"$work/header-exports"
if [ -s "$work/header-exports" ] && cmp -s "$work/dll-exports" "$work/header-exports"; then
  pass "kalvex.dll exports the $(wc -l <"$work/header-exports") functions of kalvex.h"
else
  fail "kalvex.dll exports differ from kalvex.h:"; diff "$work/header-exports" "$work/dll-exports" || true
fi

# A 32-bit host calls the exports and every method with stdcall: their
# symbols carry the "@<argument bytes>" of that convention.
if [ "$TRIPLE" = i686-w64-mingw32 ]; then
  "$TRIPLE-nm" "$stage/kalvex.dll" | awk '{print $3}' | grep -v '\.cold$' >"$work/symbols"
  methods=$(grep -c 'GLOBAL__N_1.*EP8iEMailV6' "$work/symbols" || true)
  stdcall=$(grep 'GLOBAL__N_1.*EP8iEMailV6' "$work/symbols" | grep -c '@[0-9]*$' || true)
  exports=$(grep -cE '^_(GetMailInterface(V[2-6])?@4|init@0|finalize@0|KalvexCreateMemoryStream@4|KalvexLastError@0)$' "$work/symbols" || true)
  if [ "$methods" -ge 30 ] && [ "$methods" = "$stdcall" ] && [ "$exports" = 10 ]; then
    pass "all $methods method functions and the 10 exports are stdcall"
  else
    fail "stdcall: $stdcall of $methods method functions, $exports of 10 exports"
  fi
fi

# --- 2. the C host on both platforms ------------------------------------
# An installation: program data, control centre and common folder, each
# named by the key Demo that Regpath.ini beside the host points to.
install_folders() {
  mkdir -p "$1/progdata" "$1/pkz" "$1/common/Common04/KVXIni" "$1/db" "$1/out"
}

linux_host="$linux/tests/windows/kalvex-c-host"
lin="$work/linux"
install_folders "$lin"
printf '[Registry]\nKey=Demo\n' >"$(dirname "$linux_host")/Regpath.ini"
cat >"$lin/registry.ini" <<INI
[SOFTWARE\\QMB GmbH\\InstallDir]
Demo=$lin/progdata
Steuerpult2015=$lin/pkz
[SOFTWARE\\QMB GmbH\\Common]
Common=$lin/common
INI
if KALVEX_REGISTRY="$lin/registry.ini" QT_QPA_PLATFORM=offscreen \
    "$linux_host" "$linux/libkalvex.so" "$lin/db" "$lin/out" "$lin/common/Common04/KVXIni/config.ini"; then
  pass "C host against libkalvex.so"
else
  fail "C host against libkalvex.so"
fi

winpath() { $WINE winepath -w "$1" 2>/dev/null; }
w="$work/windows"
install_folders "$w"
printf '[Registry]\r\nKey=Demo\r\n' >"$stage/Regpath.ini"
$WINE reg add 'HKLM\SOFTWARE\QMB GmbH\InstallDir' /v Demo /d "$(winpath "$w/progdata")" /f >/dev/null
$WINE reg add 'HKLM\SOFTWARE\QMB GmbH\InstallDir' /v Steuerpult2015 /d "$(winpath "$w/pkz")" /f >/dev/null
# The common folder in the user's hive: the lookup falls back to it.
$WINE reg delete 'HKLM\SOFTWARE\QMB GmbH\Common' /f >/dev/null 2>&1 || true
$WINE reg add 'HKCU\SOFTWARE\QMB GmbH\Common' /v Common /d "$(winpath "$w/common")" /f >/dev/null
if $WINE "$stage/kalvex-c-host.exe" "$(winpath "$stage/kalvex.dll")" "$(winpath "$w/db")" "$(winpath "$w/out")" \
    "$(winpath "$w/common/Common04/KVXIni/config.ini")"; then
  pass "C host against kalvex.dll under Wine"
else
  fail "C host against kalvex.dll under Wine"
fi
# The log's header names the program that loaded the module.
log=$(find "$w" -name logfile_kalvex.txt | head -n 1)
if [ -n "$log" ] && head -n 1 "$log" | grep -q 'kalvex-c-host\.exe'; then
  pass "log header names the host program"
else
  fail "log header: $(head -n 1 "$log" 2>/dev/null)"
fi
# The template folder the module makes below the registry's program folder.
[ -d "$w/progdata/KVX_StandardVorlagen" ] && pass "registry folders read" || fail "no template folder below the registry's program folder"

for f in kinds templates mails kinds-reopened templates-reopened mails-reopened; do
  if [ -s "$lin/out/$f.bin" ] || [ "$f" = mails ] || [ "$f" = mails-reopened ]; then
    if cmp "$lin/out/$f.bin" "$w/out/$f.bin"; then
      pass "$f.bin equal on both platforms ($(wc -c <"$w/out/$f.bin") bytes)"
    else
      fail "$f.bin differs between the platforms"
    fi
  else
    fail "$f.bin missing"
  fi
done
rm -f "$(dirname "$linux_host")/Regpath.ini"

# --- 3. SMTP over TLS from kalvex.exe -----------------------------------
# The subject of the only mail in a folder, decoded by Python's parser.
subject_of() {
  /usr/bin/python3 - "$1" <<'PY'
import email, email.policy, glob, sys
files = sorted(glob.glob(sys.argv[1] + "/mail*.eml"))
print(email.message_from_binary_file(open(files[0], "rb"), policy=email.policy.default)["subject"] if len(files) == 1 else "")
PY
}

# Sends one mail over TLS on the given server arguments; $1 names the case.
smtp_case() {
  name=$1
  shift
  maildir="$work/mails-$name"
  mkdir -p "$maildir"
  : >"$work/server-$name.out"
  /usr/bin/python3 "$src/tests/smtp/smtp_server.py" "$@" --cert "$work/cert.pem" --key "$work/key.pem" \
    --maildir "$maildir" >"$work/server-$name.out" 2>&1 &
  server=$!
  port=""
  for _ in $(seq 100); do
    port=$(sed -n 's/^READY //p' "$work/server-$name.out")
    [ -n "$port" ] && break
    sleep 0.1
  done
  (cd "$stage" && $WINE kalvex.exe --install-key Demo config --direct --host 127.0.0.1 --port "$port" \
     --encrypted 1 --sender absender@example.org >/dev/null &&
   $WINE kalvex.exe --install-key Demo send --subject "Grüße über $name" --body Hallo --to empfaenger@example.org) \
    >"$work/send-$name.out" 2>&1 || true
  kill "$server" 2>/dev/null || true
  wait "$server" 2>/dev/null || true
  if [ "$(subject_of "$maildir")" = "Grüße über $name" ]; then
    pass "mail over $name (Schannel) received"
  else
    fail "mail over $name not received:"; cat "$work/send-$name.out"
  fi
}

openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=127.0.0.1 -days 2 \
  -keyout "$work/key.pem" -out "$work/cert.pem" >/dev/null 2>&1
smtp_case "implicit TLS" --port 0 --tls implicit
# STARTTLS is what port 587 means; it needs that port free.
if /usr/bin/python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 587))' 2>/dev/null; then
  smtp_case STARTTLS --port 587 --tls starttls
else
  echo "skipped: STARTTLS (port 587 cannot be bound here)"
fi

# --- 4. the hand-over through Simple MAPI --------------------------------
# Wine's MAPISendMail builds a mailto: link and runs the mailer named in
# WineBrowser; a stand-in xdg-email first on PATH records it. Wine's link
# carries subject and body (8-bit, as the MAPI record); it takes recipients
# only from their address field and drops attachments.
mkdir -p "$work/bin"
cat >"$work/bin/xdg-email" <<SH
#!/bin/sh
printf '%s\n' "\$@" >"$work/handed-over.txt"
SH
chmod +x "$work/bin/xdg-email"
$WINE reg add 'HKLM\SOFTWARE\Microsoft\Windows Messaging Subsystem' /v MAPI /d 1 /f >/dev/null
$WINE reg add 'HKCU\Software\Wine\WineBrowser' /v Mailers /d xdg-email /f >/dev/null
(cd "$stage" && $WINE kalvex.exe --install-key Demo config --mail-client >/dev/null &&
 PATH="$work/bin:$PATH" $WINE kalvex.exe --install-key Demo send --subject "Grüße per MAPI" --body "Hallo Welt" \
   --to empfaenger@example.org) >"$work/mapi.out" 2>&1 || true
for _ in $(seq 50); do
  [ -s "$work/handed-over.txt" ] && break
  sleep 0.1
done
if grep -q 'subject=Gr%FC%DFe%20per%20MAPI' "$work/handed-over.txt" 2>/dev/null \
   && grep -q 'body=Hallo%20Welt' "$work/handed-over.txt"; then
  pass "hand-over through MAPISendMail reached xdg-email"
else
  fail "hand-over through MAPISendMail:"; cat "$work/mapi.out" "$work/handed-over.txt" 2>/dev/null || true
fi
# The support lines the hand-over writes before the call (no Outlook here).
log=$(find "$w" -name logfile_kalvex.txt | head -n 1)
if [ -n "$log" ] && grep -q 'Begin Read Registry / Windows Messaging Subsystem' "$log" \
   && grep -q 'outlook was not set as default mail client correctly' "$log" && grep -q 'WOW6432Node' "$log"; then
  pass "hand-over diagnostics in the log"
else
  fail "hand-over diagnostics missing from ${log:-the log}"
fi
rm -f "$stage/Regpath.ini"

if [ "$failures" -ne 0 ]; then
  echo "$failures Windows check(s) failed"
  exit 1
fi
echo "Windows checks passed"
