#!/bin/sh
# Builds an example against installed files, through the CMake package and through pkg-config, and runs it. What is
# built for the hardened library signs by a name that only that library has.
# usage: consumers.sh LIBRARY_DIR [CMAKE_OPTION...]; CC compiles, NM lists names, EMULATOR runs
set -eu
libdir=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/packages.sh
. "$here/../../scripts/packages.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly cmake -S "$here/consumer" -B "$work" -DUlmaroAlgrithm_DIR="$libdir/cmake/UlmaroAlgrithm" "$@"
quietly cmake --build "$work"
for name in UlmaroAlgrithm UlmaroAlgrithmHardened; do
  # shellcheck disable=SC2046  # the flags are words
  "${CC:-cc}" -std=c99 -Wall -Wextra -Wpedantic -Werror "$here/../../examples/sign_and_verify.c" -o "$work/$name" \
    $(PKG_CONFIG_LIBDIR=$libdir/pkgconfig pkg-config --static --cflags --libs "$name")
done
for program in plain hardened UlmaroAlgrithm UlmaroAlgrithmHardened; do
  # shellcheck disable=SC2086  # a command and its options
  quietly env LD_LIBRARY_PATH="$libdir" ${EMULATOR-} "$work/$program"
  [ -e "$libdir/libUlmaroAlgrithm.so" ] || continue
  called=$("${NM:-nm}" -D --undefined-only "$work/$program" | grep -o 'SM2_ECDSA_Signature.*')
  case $program:$called in
    *ardened:*Signature_Hardened | plain:*Signature | UlmaroAlgrithm:*Signature) ;;
    *) echo "consumers.sh: $program calls $called" && exit 1 ;;
  esac
done
