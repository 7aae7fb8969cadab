#!/bin/sh
# Gathers what kalvex.dll needs at run time into one folder, as it lies
# beside a Windows host program: the module, its programs, Qt's DLLs and
# plugins, SQLite, the GCC runtime and the translation database.
# usage: stage.sh <windows build folder> <Qt for Windows prefix> <stage folder> [x86_64|i686]
set -eu
build=$1 qt=$2 stage=$3 arch=${4:-x86_64}
runtime=/usr/lib/gcc/$arch-w64-mingw32/12-posix
winlib=/usr/$arch-w64-mingw32/lib
# 64-bit GCC unwinds with SEH, 32-bit with DWARF-2.
gcc_runtime=libgcc_s_seh-1.dll
[ "$arch" = i686 ] && gcc_runtime=libgcc_s_dw2-1.dll

rm -rf "$stage"
mkdir -p "$stage"
cp "$build/kalvex.dll" "$build/DllsLang.db3" "$stage/"
for program in "$build/apps/kalvex/kalvex.exe" "$build/kalvex-c-host.exe" "$build/kalvex-show-window.exe"; do
  [ -f "$program" ] && cp "$program" "$stage/"
done
for lib in Core Gui Widgets Network Sql; do
  cp "$qt/bin/Qt6$lib.dll" "$stage/"
done
cp "$qt/bin/sqlite3.dll" "$stage/"
cp "$runtime/libstdc++-6.dll" "$runtime/$gcc_runtime" "$winlib/libwinpthread-1.dll" "$stage/"
# Plugins beside the program: Qt looks in the program's own folder.
for dir in platforms sqldrivers tls styles imageformats; do
  mkdir -p "$stage/$dir"
  cp "$qt/plugins/$dir/"*.dll "$stage/$dir/"
done
