#!/bin/sh
# The Windows package for host vendors, a zip:
#   bin/      kalvex.dll, kalvex.exe and everything they need at run time
#   include/  kalvex/kalvex.h
#   lib/      libkalvex.dll.a (import library), kalvex.def,
#             pkgconfig/kalvex.pc (relocatable: it finds itself)
# Then checks it as a vendor would: a C program built with the package's
# pkg-config flags and the import library runs under Wine.
# usage: package.sh <windows build folder> <stage folder> <version>
set -eu
build=$(cd "$1" && pwd)
stage=$(cd "$2" && pwd)
version=$3
src=$(cd "$(dirname "$0")/../.." && pwd)
name=kalvex-$version-win64
root="$build/package/$name"

rm -rf "$build/package"
mkdir -p "$root/bin" "$root/include/kalvex" "$root/lib/pkgconfig"
(cd "$stage" && tar -cf - --exclude='kalvex-c-host.exe' --exclude='kalvex-show-window.exe' --exclude='Regpath.ini' .) \
  | (cd "$root/bin" && tar -xf -)
cp "$src/include/kalvex/kalvex.h" "$root/include/kalvex/"
cp "$src/src/entry/kalvex.def" "$root/lib/"
cp "$build/kalvex.dll.a" "$root/lib/libkalvex.dll.a"
cat >"$root/lib/pkgconfig/kalvex.pc" <<PC
prefix=\${pcfiledir}/../..
libdir=\${prefix}/lib
includedir=\${prefix}/include
bindir=\${prefix}/bin

Name: kalvex
Description: Mailing module for desktop business programs (C interface, kalvex.dll)
Version: $version
Libs: -L\${libdir} -lkalvex
Cflags: -I\${includedir}
PC
(cd "$build/package" && /usr/bin/python3 -m zipfile -c "$name.zip" "$name")

# A vendor's check, from an unpacked copy somewhere else.
check=$(mktemp -d /tmp/kalvex-package-XXXXXX)
trap 'rm -rf "$check"' EXIT
(cd "$check" && /usr/bin/python3 -m zipfile -e "$build/package/$name.zip" .)
cat >"$check/vendor.c" <<'C'
#include <kalvex/kalvex.h>
#include <stdio.h>
int main(void)
{
    iEMailV6* mail = NULL;
    init();
    GetMailInterfaceV6(&mail);
    const KGUID v6 = KALVEX_IID_IEMAILV6;
    void* same = NULL;
    const int ok = mail && mail->lpVtbl->QueryInterface(mail, &v6, &same) == S_OK && same == mail;
    if (mail) {
        mail->lpVtbl->Release(mail);
        mail->lpVtbl->Release(mail);
    }
    finalize();
    printf(ok ? "linked against the import library: ok\n" : "linked, but the interface did not answer\n");
    return ok ? 0 : 1;
}
C
flags=$(PKG_CONFIG_PATH="$check/$name/lib/pkgconfig" PKG_CONFIG_LIBDIR="$check/$name/lib/pkgconfig" \
        pkg-config --cflags --libs kalvex)
x86_64-w64-mingw32-gcc-posix -o "$check/$name/bin/vendor.exe" "$check/vendor.c" $flags
export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all WINEQT_QPA_PLATFORM=offscreen
(cd "$check/$name/bin" && wine vendor.exe)
echo "$build/package/$name.zip"
