#!/bin/sh
# The library exports exactly the functions kalvex.h declares: nothing of
# the implementation (C++ symbols, Qt, the standard library) leaks out, and
# no declared function is missing.
# usage: exported_symbols.sh <libkalvex.so> <kalvex.h>
set -eu
library=$1
header=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

sed -n 's/^KALVEX_API[^(]*[ *]\([A-Za-z_][A-Za-z0-9_]*\)(.*/\1/p' "$header" | sort -u >"$tmp/declared"
nm -D --defined-only "$library" | awk '{ print $3 }' | sed 's/@.*//' | sort -u >"$tmp/exported"

if [ ! -s "$tmp/declared" ]; then
    echo "no KALVEX_API function found in $header" >&2
    exit 1
fi
if ! diff -u "$tmp/declared" "$tmp/exported" >"$tmp/diff"; then
    echo "exports of $library differ from $header (- declared only, + exported only):" >&2
    cat "$tmp/diff" >&2
    exit 1
fi
echo "$(wc -l <"$tmp/exported") exports, as declared"
