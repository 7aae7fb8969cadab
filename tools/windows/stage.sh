#!/bin/sh
# Gathers what kalvex.dll needs at run time into one folder, as it lies
# beside a Windows host program: the module, its programs, Qt's DLLs and
# plugins, SQLite, the GCC runtime and the translation database.
# usage: stage.sh <windows build folder> <Qt for Windows prefix> <stage folder>
set -eu
build=$1 qt=$2 stage=$3
runtime=/usr/lib/gcc/x86_64-w64-mingw32/12-posix
winlib=/usr/x86_64-w64-mingw32/lib

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
cp "$runtime/libstdc++-6.dll" "$runtime/libgcc_s_seh-1.dll" "$winlib/libwinpthread-1.dll" "$stage/"
# Plugins beside the program: Qt looks in the program's own folder.
for dir in platforms sqldrivers tls styles imageformats; do
  mkdir -p "$stage/$dir"
  cp "$qt/plugins/$dir/"*.dll "$stage/$dir/"
done
