#!/bin/sh
# Prints the prefix of a Qt 6 for Windows (mingw-w64) for the architecture
# given as the first argument (x86_64, the default, or i686), making it
# available first when needed, in this order:
#  1. QT_WINDOWS_PREFIX, when given;
#  2. the cache folder (QT_WINDOWS_CACHE, default
#     ~/.cache/kalvex/qt6-mingw-<arch>), unpacked there earlier;
#  3. the prebuilt archive qt6-mingw-<arch>.tar.xz (QT_WINDOWS_ARCHIVE, else
#     ../shared/windows/ beside the checkout, else /work/shared/windows/),
#     unpacked into the cache folder;
#  4. a build from Debian's source packages (build-qt-mingw.sh beside this
#     script, 30-60 minutes), installed into the cache folder.
# The build tree is never used for it: a `make clean` keeps the Qt.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
checkout=$(cd "$here/../.." && pwd)
arch=${1:-x86_64}
cache=${QT_WINDOWS_CACHE:-${HOME}/.cache/kalvex/qt6-mingw-$arch}

usable() { [ -f "$1/lib/cmake/Qt6/Qt6Config.cmake" ] && [ -f "$1/bin/Qt6Core.dll" ]; }

if [ -n "${QT_WINDOWS_PREFIX:-}" ]; then
  usable "$QT_WINDOWS_PREFIX" || { echo "QT_WINDOWS_PREFIX=$QT_WINDOWS_PREFIX holds no Qt 6 for Windows" >&2; exit 1; }
  echo "$QT_WINDOWS_PREFIX"
  exit 0
fi
if usable "$cache"; then
  echo "$cache"
  exit 0
fi

archive=${QT_WINDOWS_ARCHIVE:-}
if [ -z "$archive" ]; then
  for candidate in "$checkout/../shared/windows/qt6-mingw-$arch.tar.xz" /work/shared/windows/qt6-mingw-$arch.tar.xz; do
    if [ -f "$candidate" ]; then
      archive=$candidate
      break
    fi
  done
fi

parent=$(dirname "$cache")
mkdir -p "$parent"
partial="$cache.partial"
rm -rf "$partial"
if [ -n "$archive" ] && [ -f "$archive" ]; then
  echo "Unpacking $archive into $cache" >&2
  mkdir -p "$partial"
  tar -xJf "$archive" -C "$partial"
  # The archive holds one folder, the prefix.
  inner=$(find "$partial" -mindepth 1 -maxdepth 1 -type d | head -n 1)
  rm -rf "$cache"
  mv "$inner" "$cache"
  rm -rf "$partial"
else
  echo "No prebuilt Qt for Windows found: building it from Debian's sources (30-60 minutes)" >&2
  "$here/build-qt-mingw.sh" "$parent/qt-mingw-work-$arch" "$partial" "$arch" >&2
  rm -rf "$cache"
  mv "$partial" "$cache"
fi
usable "$cache" || { echo "$cache holds no usable Qt for Windows" >&2; exit 1; }
echo "$cache"
