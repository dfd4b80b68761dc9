#!/bin/sh
# Builds the README's C program against installed files, through the CMake package and through pkg-config, and compares
# what it prints with the README. What is built for the hardened library signs by a name that only that library has.
# usage: consumers.sh LIBRARY_DIR [CMAKE_OPTION...]; CC compiles, NM lists names, EMULATOR runs
set -eu
libdir=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }
block() { awk -v start="\`\`\`$1" '/^```c$/ { c = 1 } c && $0 == start { on = 1; next } /^```$/ && on { exit } on' "$here/../../README.md"; }
prints_the_same() { # PROGRAM
  # shellcheck disable=SC2086  # a command and its options
  LD_LIBRARY_PATH=$libdir ${EMULATOR-} "$1" >"$work/printed"
  diff -u "$work/expected" "$work/printed"
}

mkdir "$work/consumer"
cp "$here"/consumer/* "$here/../../examples/sign_and_verify.c" "$work/consumer"
block c >"$work/consumer/consumer.c"
block text >"$work/expected"
[ -s "$work/consumer/consumer.c" ] && [ -s "$work/expected" ]

quietly cmake -S "$work/consumer" -B "$work/build" -DUlmaroAlgrithm_DIR="$libdir/cmake/UlmaroAlgrithm" "$@"
quietly cmake --build "$work/build"
prints_the_same "$work/build/consumer"

for name in UlmaroAlgrithm UlmaroAlgrithmHardened; do
  for source in consumer sign_and_verify; do
    # shellcheck disable=SC2046  # the flags are words
    "${CC:-cc}" -std=c99 -Wall -Wextra -Wpedantic -Werror "$work/consumer/$source.c" -o "$work/$source-$name" \
      $(PKG_CONFIG_LIBDIR=$libdir/pkgconfig pkg-config --static --cflags --libs "$name")
  done
  prints_the_same "$work/consumer-$name"
done
if [ -e "$libdir/libUlmaroAlgrithm.so" ]; then
  for program in build/signer sign_and_verify-UlmaroAlgrithmHardened sign_and_verify-UlmaroAlgrithm; do
    "${NM:-nm}" -D --undefined-only "$work/$program" | grep -o 'SM2_ECDSA_Signature.*'
  done >"$work/names"
  printf 'SM2_ECDSA_Signature%s\n' _Hardened _Hardened '' | diff - "$work/names"
fi
echo "CMake package and pkg-config: the README's program is built and runs"
