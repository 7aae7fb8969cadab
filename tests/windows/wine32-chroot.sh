#!/bin/sh
# wine for 32-bit programs: runs it inside the i386 root that
# tools/windows/i386-root.sh prepared (KALVEX_I386_ROOT), with this
# process's environment, folder and arguments.
# usage: wine32-chroot.sh <wine arguments>
set -eu
exec chroot "$KALVEX_I386_ROOT" /bin/sh -c 'cd "$0" && exec wine "$@"' "$(pwd)" "$@"
