#!/bin/sh
# Prepares an i386 Debian 12 root with Wine for 32-bit programs, so that
# the 32-bit kalvex.dll can run here: this amd64 system cannot take the
# i386 architecture beside its own (its security index for i386 fails
# and apt then refuses the mixed library versions), but a root of its own,
# all i386 and all from one release, can. Needs root (debootstrap, chroot,
# mount). The root is kept in a cache folder outside the build tree.
# usage: i386-root.sh <root folder> <folder to share>...
#        i386-root.sh --release <root folder>
# Each folder to share is bind-mounted at the same path inside the root,
# as are /tmp, /dev and /proc; the root folder is printed. --release takes
# the mounts away again (deepest first), so that removing the root can
# never reach the shared folders.
set -eu
if [ "$1" = --release ]; then
  grep " $2/" /proc/self/mounts | awk '{print $2}' | sort -r | while read -r mounted; do
    umount "$mounted" || umount -l "$mounted"
  done
  exit 0
fi
root=$1
shift
if [ ! -x "$root/usr/bin/wine" ]; then
  command -v debootstrap >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends debootstrap >&2
  rm -rf "$root"
  mkdir -p "$(dirname "$root")"
  debootstrap --arch=i386 --variant=minbase bookworm "$root" http://deb.debian.org/debian >&2
  mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
  chroot "$root" /bin/sh -c "apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends wine wine32" >&2
fi
share() {
  mkdir -p "$root$1"
  mountpoint -q "$root$1" || mount --bind "$1" "$root$1"
}
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
share /dev
share /tmp
for folder in "$@"; do
  share "$(cd "$folder" && pwd)"
done
echo "$root"
