#!/bin/sh
# The Windows build under Wine, next to the Linux build:
#  1. kalvex.dll exports exactly the functions of kalvex.h, undecorated;
#  2. the C host (tests/windows/host.c) built for both platforms drives the
#     module the same way; the Windows one reads its folders from registry
#     values set with `wine reg add`, the Linux one from the registry file;
#     the record streams both builds write must be equal byte for byte.
# usage: run_windows_tests.sh <linux build> <windows build> <stage folder>
set -eu
src=$(cd "$(dirname "$0")/../.." && pwd)
linux=$(cd "$1" && pwd)
win=$(cd "$2" && pwd)
stage=$(cd "$3" && pwd)

export WINEPREFIX="$win/wineprefix" WINEDEBUG=-all WINEARCH=win64 WINEDLLOVERRIDES="mscoree,mshtml="
# Wine hands WINE-prefixed variables to Windows programs without the prefix.
export WINEQT_QPA_PLATFORM=offscreen
[ -f "$WINEPREFIX/system.reg" ] || wineboot -i

work=$(mktemp -d /tmp/kalvex-windows-XXXXXX)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
pass() { echo "ok: $*"; }

# --- 1. exports ---------------------------------------------------------
x86_64-w64-mingw32-objdump -p "$stage/kalvex.dll" \
  | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^[[:space:]]*\[ *[0-9]*\] *//p' | sort >"$work/dll-exports"
sed -n 's/^KALVEX_API [^(]*[ *]\([A-Za-z0-9_]*\)(.*/\1/p' "$src/include/kalvex/kalvex.h" | sort >"$work/header-exports"
if [ -s "$work/header-exports" ] && cmp -s "$work/dll-exports" "$work/header-exports"; then
  pass "kalvex.dll exports the $(wc -l <"$work/header-exports") functions of kalvex.h"
else
  fail "kalvex.dll exports differ from kalvex.h:"; diff "$work/header-exports" "$work/dll-exports" || true
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

winpath() { winepath -w "$1" 2>/dev/null; }
w="$work/windows"
install_folders "$w"
printf '[Registry]\r\nKey=Demo\r\n' >"$stage/Regpath.ini"
wine reg add 'HKLM\SOFTWARE\QMB GmbH\InstallDir' /v Demo /d "$(winpath "$w/progdata")" /f >/dev/null
wine reg add 'HKLM\SOFTWARE\QMB GmbH\InstallDir' /v Steuerpult2015 /d "$(winpath "$w/pkz")" /f >/dev/null
# The common folder in the user's hive: the lookup falls back to it.
wine reg delete 'HKLM\SOFTWARE\QMB GmbH\Common' /f >/dev/null 2>&1 || true
wine reg add 'HKCU\SOFTWARE\QMB GmbH\Common' /v Common /d "$(winpath "$w/common")" /f >/dev/null
if wine "$stage/kalvex-c-host.exe" "$(winpath "$stage/kalvex.dll")" "$(winpath "$w/db")" "$(winpath "$w/out")" \
    "$(winpath "$w/common/Common04/KVXIni/config.ini")"; then
  pass "C host against kalvex.dll under Wine"
else
  fail "C host against kalvex.dll under Wine"
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
rm -f "$(dirname "$linux_host")/Regpath.ini" "$stage/Regpath.ini"

if [ "$failures" -ne 0 ]; then
  echo "$failures Windows check(s) failed"
  exit 1
fi
echo "Windows checks passed"
