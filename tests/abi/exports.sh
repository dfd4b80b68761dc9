#!/bin/bash
# What a built library shows to the dynamic linker: exactly the names in exports.txt (the hardened one also those in
# exports_hardened.txt), without versions; of these it refers to those in replaceable.list, and binds all others inside.
# Nothing needed but the C++ runtime and libc, its own file name as SONAME, no text relocations.
# Usage: exports.sh LIBRARY; NM and READELF name the tools of the target.
set -eu
library=$1
here=$(cd "$(dirname "$0")" && pwd)
nm=${NM:-nm}
readelf=${READELF:-readelf}
status=0
fail() {
  echo "exports.sh: $*" >&2
  status=1
}

same() { # WHAT WANTED ACTUAL
  diff <(echo "$2") <(echo "$3") >&2 || fail "$1 (< is missing, > is too many)"
}
sorted() { LC_ALL=C sort "$@"; }

set -- "$here/exports.txt"
case $library in
  *Hardened.so) set -- "$@" "$here/exports_hardened.txt" ;;
esac
same "the exported names differ" "$(sorted "$@")" "$("$nm" -D --defined-only "$library" | awk '{ print $NF }' | sorted)"
same "the names that are called and read through dynamic symbols differ" \
  "$(sed -n 's/^  \([A-Za-z].*\);$/\1/p' "$here/../../src/replaceable.list" | sorted)" \
  "$("$readelf" -rW "$library" | awk 'NF == 7 && $4 ~ /[^0]/ { print $5 }' | sorted -u)"

dynamic=$("$readelf" -dW "$library")
field() { printf '%s\n' "$dynamic" | sed -n "s/.*($1).*\[\(.*\)\].*/\1/p"; }
soname=$(field SONAME)
[ "$soname" = "$(basename "$library")" ] || fail "SONAME is '$soname'"
for needed in $(field NEEDED); do
  case $needed in
    libstdc++.so.6 | libgcc_s.so.1 | libc.so.6 | libm.so.6 | ld-linux-*) ;;
    *) fail "needs $needed" ;;
  esac
done
case $dynamic in
  *TEXTREL*) fail "has text relocations" ;;
esac
exit $status
