#!/bin/sh
# Installs the build into a temporary DESTDIR and uses it as a host vendor
# would: the C example is built against the installation with pkg-config and
# with find_package(Kalvex), and run with the installed library only. The
# installed command line finds the installed translations by itself.
# usage: install_test.sh <build dir> <source dir>
set -eu
build=$(cd "$1" && pwd)
source=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dest=$work/dest

fail() { echo "FAIL: $*" >&2; exit 1; }

DESTDIR=$dest cmake --install "$build" >"$work/install.log" || { cat "$work/install.log"; fail "cmake --install"; }
# The paths the configured build installs to (prefix, lib dir).
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
case $libdir in /*) ;; *) libdir=$prefix/$libdir ;; esac
root=$dest$prefix
lib=$dest$libdir

check_installed_files() {
    for f in "$lib/libkalvex.so.0" "$lib/libkalvex.so" "$root/include/kalvex/kalvex.h" \
             "$root/share/kalvex/DllsLang.db3" "$lib/pkgconfig/kalvex.pc" \
             "$lib/cmake/Kalvex/KalvexConfig.cmake" "$lib/cmake/Kalvex/KalvexConfigVersion.cmake" \
             "$root/bin/kalvex" "$root/bin/kalvex-full" "$root/bin/kalvex-dbconvert" "$root/bin/kalvex-demo-host" \
             "$root/share/man/man1/kalvex.1.gz" "$root/share/bash-completion/completions/kalvex"; do
        [ -e "$f" ] || fail "not installed: $f"
    done
    soname=$(readelf -d "$lib/libkalvex.so.0" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
    [ "$soname" = libkalvex.so.0 ] || fail "SONAME is '$soname'"
    [ "$(readlink "$lib/libkalvex.so")" = libkalvex.so.0 ] || fail "libkalvex.so does not link to the SONAME"
    for f in "$lib/libkalvex.so.0" "$root/bin/kalvex" "$root/bin/kalvex-full"; do
        ! readelf -d "$f" | grep -q 'R.*PATH' || fail "$f keeps a RUNPATH"
    done
    # The store reader starts without the GUI layer.
    ! readelf -d "$root/bin/kalvex" | grep -q 'libQt6Gui' || fail "bin/kalvex needs the GUI layer"
}

build_with_pkg_config() {
    cp -r "$source/examples/template-kinds" "$work/pc-build"
    PKG_CONFIG_LIBDIR=$lib/pkgconfig PKG_CONFIG_PATH= PKG_CONFIG_SYSROOT_DIR=$dest \
        make -s -C "$work/pc-build" CC=cc CFLAGS="-Wall -Wextra -Werror -std=c11 -pedantic" \
        >"$work/pc.log" 2>&1 || { cat "$work/pc.log"; fail "pkg-config build"; }
    mv "$work/pc-build/kalvex-template-kinds" "$work/example-pc"
}

build_with_cmake() {
    cmake -S "$source/examples/template-kinds" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$root" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_C_FLAGS="-Werror" >"$work/cmake.log" 2>&1 \
        && cmake --build "$work/cmake-build" >>"$work/cmake.log" 2>&1 \
        || { cat "$work/cmake.log"; fail "find_package(Kalvex) build"; }
    grep -q "Kalvex_DIR:PATH=$lib/cmake/Kalvex" "$work/cmake-build/CMakeCache.txt" \
        || fail "find_package(Kalvex) did not find the installed package"
    cp "$work/cmake-build/kalvex-template-kinds" "$work/example-cmake"
}

# Runs the example with the installed library only: no build folder on any
# path, the loader told only about the DESTDIR's lib dir.
run_example() {
    example=$1
    data=$work/data-$(basename "$example")
    mkdir -p "$data"
    env -u KALVEX_REGISTRY LD_LIBRARY_PATH="$lib" HOME="$work" XDG_CONFIG_HOME="$work/config" \
        QT_QPA_PLATFORM=offscreen LD_DEBUG=libs "$example" "$data" >"$work/run.log" 2>"$work/ld.log" \
        || { cat "$work/run.log" "$work/ld.log" | grep -v '^ *[0-9]*:' ; fail "$example failed"; }
    cat "$work/run.log"
    grep -q "^{5A1C0E2B-7D4F-4E8A-9B3C-2F6D8E0A1B47} " "$work/run.log" || fail "the example's kind is not listed"
    loaded=$(sed -n 's/.*calling init: \(.*libkalvex\.so.*\)/\1/p' "$work/ld.log")
    [ "$loaded" = "$lib/libkalvex.so.0" ] || fail "loaded '$loaded', not the installed library"
    ! grep -q "$build" "$work/ld.log" || fail "the build folder was searched"
}

# The installed command line, with no DllsLang.db3 in the common folder,
# answers in English from the installed translations.
check_installed_translations() {
    mkdir -p "$work/inst/common/Common04/KVXIni"
    printf '[SOFTWARE\\QMB GmbH\\InstallDir]\nDemo=%s/inst/data\n[SOFTWARE\\QMB GmbH\\Common]\nCommon=%s/inst/common\n' \
        "$work" "$work" >"$work/inst/registry.ini"
    KALVEX_REGISTRY=$work/inst/registry.ini HOME=$work QT_QPA_PLATFORM=offscreen \
        "$root/bin/kalvex" --lang 1033 --install-key Demo config >"$work/config.log" 2>&1 \
        || { cat "$work/config.log"; fail "installed kalvex config"; }
    grep -q '^SMTP server: ' "$work/config.log" || { cat "$work/config.log"; fail "no English text"; }
    # bin/kalvex reads the store itself and hands config (above) to kalvex-full beside it.
    KALVEX_REGISTRY=$work/inst/registry.ini HOME=$work "$root/bin/kalvex" --lang 1033 --install-key Demo list \
        >"$work/list.log" 2>&1 || { cat "$work/list.log"; fail "installed kalvex list"; }
    # A site's Regpath.ini beside the programs names the key for both of them.
    printf '[Registry]\nKey=Demo\n' >"$root/bin/Regpath.ini"
    for command in config list; do
        KALVEX_REGISTRY=$work/inst/registry.ini HOME=$work QT_QPA_PLATFORM=offscreen "$root/bin/kalvex" --lang 1033 $command \
            >"$work/regpath.log" 2>&1 || { cat "$work/regpath.log"; fail "kalvex $command with Regpath.ini"; }
    done
    rm "$root/bin/Regpath.ini"
    # A command's help comes before the installation is opened, in English too.
    HOME=$work "$root/bin/kalvex" --lang 1033 list --help >"$work/help.log" 2>&1
    grep -q '^Lists sent e-mails and drafts' "$work/help.log" || { cat "$work/help.log"; fail "list --help not in English"; }
    HOME=$work "$root/bin/kalvex" --lang 1033 send --help >"$work/help.log" 2>&1
    ! grep -q 'E-Mail' "$work/help.log" || { cat "$work/help.log"; fail "send --help not in English"; }
    [ ! -e "$work/inst/common/Common04/DllsLang.db3" ] || fail "the common folder got a DllsLang.db3"
}

check_installed_files
build_with_pkg_config
build_with_cmake
run_example "$work/example-pc"
run_example "$work/example-cmake"
check_installed_translations
echo "installed, built with pkg-config and CMake, run from $dest"
