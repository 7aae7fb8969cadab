#!/bin/sh
# Regenerates the RTF files of this folder with the real programs
# (Debian: libreoffice-writer-nogui, pandoc, abiword). The inputs are
# letter.html, letter.md, logo.png and photo.jpg; wordpad.rtf is written by
# hand the way RichEdit writes. CI does not run this: the outputs are kept.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$here/letter.html" "$here/letter.md" "$here/logo.png" "$here/photo.jpg" "$work/"
cd "$work"
office() { soffice -env:UserInstallation="file://$work/profile" --headless "$@" >/dev/null 2>&1; }

# LibreOffice Writer, from HTML: pictures in \shppict beside a metafile, \ls lists.
office --infilter="HTML (StarWriter)" --convert-to rtf letter.html --outdir lo
cp lo/letter.rtf "$here/libreoffice.rtf"

# pandoc: pictures as bare \pict, lists as marker text. Its RTF writer embeds
# local pictures also without --self-contained (2.17; --embed-resources is
# the later name).
pandoc letter.md -s --self-contained -t rtf -o "$here/pandoc.rtf"

# AbiWord, from HTML: every cell boxed, pictures, \pn and \ls lists.
abiword --to=rtf --to-name="$work/abiword.rtf" letter.html >/dev/null 2>&1
cp abiword.rtf "$here/abiword.rtf"

# AbiWord from LibreOffice's ODT: a rule under the head row only (its ODT
# import keeps no pictures).
office --infilter="HTML (StarWriter)" --convert-to odt:writer8 letter.html --outdir odt
abiword --to=rtf --to-name="$work/abiword-rule.rtf" odt/letter.odt >/dev/null 2>&1
cp abiword-rule.rtf "$here/abiword-rule.rtf"
