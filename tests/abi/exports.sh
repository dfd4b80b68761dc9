#!/bin/sh
# What a built library shows to the dynamic linker: exactly the names in exports.txt, nothing needed but the C++
# runtime and libc, its own file name as SONAME, no text relocations.
# Usage: exports.sh LIBRARY EXPORTS_TXT; NM and READELF name the tools of the target.
set -eu
library=$1
list=$2
nm=${NM:-nm}
readelf=${READELF:-readelf}
status=0
fail() {
  echo "exports.sh: $*" >&2
  status=1
}

wanted=$(LC_ALL=C sort "$list")
[ "$wanted" = "$(cat "$list")" ] || fail "$list is not sorted bytewise"
actual=$("$nm" -D --defined-only "$library" | awk '{ print $NF }' | LC_ALL=C sort)
if [ "$actual" != "$wanted" ]; then
  fail "the exported names differ (< not exported, > must not be exported)"
  printf '%s\n' "$wanted" >"${TMPDIR:-/tmp}/wanted.$$"
  printf '%s\n' "$actual" | diff "${TMPDIR:-/tmp}/wanted.$$" - >&2 || true
  rm -f "${TMPDIR:-/tmp}/wanted.$$"
fi

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
case $dynamic in
  *SYMBOLIC*) fail "binds symbols inside, so an application cannot supply the SM1 primitives" ;;
esac
exit $status
