#!/bin/bash
# Builds the Qt 6 that kalvex.dll needs (qtbase 6.4.2: Core, Gui, Widgets,
# Network with Schannel TLS, Sql with SQLite and ODBC, Test; the windows and
# offscreen platform plugins) for Windows with Debian's mingw-w64 (x86_64,
# or i686 for 32-bit hosts),
# from Debian 12's own source packages. moc, rcc and uic come from the
# host's Qt in /usr, which must be the same version (6.4.2).
#
# usage: build-qt-mingw.sh <work folder> <install prefix> [x86_64|i686]
# Takes 30-60 minutes on two cores, about 1.2 GB in the work folder.
# Fetches the sources through a private apt configuration, so the
# system's apt sources stay as they are.
set -euo pipefail
work=$1
prefix=$2
jobs=${JOBS:-2}
qt_version=6.4.2+dfsg-10
sqlite_version=3.40.1-2+deb12u2
arch=${3:-x86_64}
case $arch in
  x86_64|i686) ;;
  *) echo "unknown architecture $arch (x86_64 or i686)" >&2; exit 2 ;;
esac
triple=$arch-w64-mingw32
compiler_package=$(echo "$arch" | tr _ -)
mkdir -p "$work" "$prefix"
work=$(cd "$work" && pwd)
prefix=$(cd "$prefix" && pwd)
src=$work/src

install_missing() {
  local missing=""
  for p in "$@"; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q 'install ok installed' || missing="$missing $p"
  done
  if [ -n "$missing" ]; then
    local sudo=""
    [ "$(id -u)" = 0 ] || sudo=sudo
    $sudo apt-get update
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends $missing
  fi
}

fetch_sources() {
  [ -d "$src/qt6-base-6.4.2+dfsg" ] && [ -d "$src/sqlite3-3.40.1" ] && return
  mkdir -p "$src" "$work/apt/lists/partial"
  local keyring=/usr/share/keyrings/debian-archive-keyring.gpg
  cat >"$work/apt/sources" <<SOURCES
deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm main
deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm-updates main
deb-src [signed-by=$keyring] http://deb.debian.org/debian-security bookworm-security main
SOURCES
  local apt=(-o Dir::Etc::SourceList="$work/apt/sources" -o Dir::Etc::SourceParts=/dev/null
             -o Dir::State::Lists="$work/apt/lists")
  apt-get "${apt[@]}" update
  (cd "$src" && apt-get "${apt[@]}" source --download-only "qt6-base=$qt_version" "sqlite3=$sqlite_version" \
     && for d in *.dsc; do dpkg-source -x "$d"; done)
}

# Debian's qtbase source leaves out the bundled SQLite: sqlite3.dll is built
# from Debian's sqlite3 source instead, for Qt's driver and for the module.
build_sqlite() {
  [ -f "$prefix/bin/sqlite3.dll" ] && return
  local b=$work/sqlite-amalgamation
  rm -rf "$b" && mkdir -p "$b"
  (cd "$b" && "$src/sqlite3-3.40.1/configure" --disable-tcl >configure.log 2>&1 \
     && make -j"$jobs" sqlite3.c sqlite3.h sqlite3ext.h >make.log 2>&1)
  mkdir -p "$prefix/bin" "$prefix/lib" "$prefix/include"
  $triple-gcc-posix -O2 -shared -o "$prefix/bin/sqlite3.dll" "$b/sqlite3.c" \
    -DSQLITE_API='__declspec(dllexport)' -DSQLITE_THREADSAFE=1 -DSQLITE_ENABLE_COLUMN_METADATA \
    -DSQLITE_ENABLE_FTS5 -DSQLITE_ENABLE_JSON1 -DSQLITE_ENABLE_RTREE -DSQLITE_ENABLE_UNLOCK_NOTIFY \
    -Wl,--out-implib,"$prefix/lib/libsqlite3.dll.a" -static-libgcc
  cp "$b/sqlite3.h" "$b/sqlite3ext.h" "$prefix/include/"
}

# Options that matter: OpenGL off needs INPUT_opengl=no as well; Direct2D
# stays on (the DirectWrite font database needs it); the offscreen plugin
# needs FreeType (the bundled one); no ICU, so no windows-1252 codec (the
# module decodes 1252 itself).
configure_qt() {
  local toolchain
  toolchain=$(cd "$(dirname "$0")/../../cmake" && pwd)/mingw-w64-$arch.cmake
  rm -rf "$work/build-qt" && mkdir -p "$work/build-qt"
  (cd "$work/build-qt" && cmake -G Ninja "$src/qt6-base-6.4.2+dfsg" \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_PREFIX_PATH="$prefix" \
    -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR=/usr/lib/x86_64-linux-gnu/cmake \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON \
    -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF -DQT_BUILD_BENCHMARKS=OFF \
    -DINPUT_opengl=no -DFEATURE_opengl=OFF -DFEATURE_opengl_dynamic=OFF -DFEATURE_dynamicgl=OFF \
    -DFEATURE_vulkan=OFF -DFEATURE_dbus=OFF -DFEATURE_xml=OFF -DFEATURE_concurrent=OFF \
    -DFEATURE_printsupport=OFF -DFEATURE_tabletevent=OFF -DFEATURE_androiddeployqt=OFF \
    -DFEATURE_freetype=ON -DFEATURE_system_freetype=OFF -DFEATURE_fontconfig=OFF -DFEATURE_icu=OFF \
    -DFEATURE_zstd=OFF -DFEATURE_openssl=OFF -DFEATURE_schannel=ON \
    -DFEATURE_system_zlib=OFF -DFEATURE_system_pcre2=OFF -DFEATURE_system_png=OFF -DFEATURE_system_jpeg=OFF \
    -DFEATURE_system_harfbuzz=OFF -DFEATURE_system_doubleconversion=OFF \
    -DFEATURE_sql=ON -DFEATURE_sql_sqlite=ON -DFEATURE_system_sqlite=ON \
    -DSQLite3_INCLUDE_DIR="$prefix/include" -DSQLite3_LIBRARY="$prefix/lib/libsqlite3.dll.a" \
    -DFEATURE_sql_odbc=ON -DFEATURE_sql_mysql=OFF -DFEATURE_sql_psql=OFF -DFEATURE_sql_ibase=OFF \
    -DFEATURE_sql_oci=OFF -DFEATURE_sql_db2=OFF >"$work/qt-configure.log" 2>&1)
}

install_missing g++-mingw-w64-$compiler_package-posix gcc-mingw-w64-$compiler_package-posix qt6-base-dev qt6-base-dev-tools \
  cmake ninja-build perl tcl dpkg-dev debian-archive-keyring
fetch_sources
build_sqlite
configure_qt
nice -n 19 cmake --build "$work/build-qt" -j"$jobs" >"$work/qt-build.log" 2>&1
cmake --install "$work/build-qt" >"$work/qt-install.log" 2>&1
