#!/bin/sh
# Installs the build into a stage, moves the stage (nothing may depend on where it was), and builds and runs a C
# consumer through find_package and through pkg-config.
# usage: staged_install.sh BUILD_DIR
set -eu
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }

quietly cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/stage"
pkgconfig=$(dirname "$(find "$work/stage" -name UlmaroAlgrithm.pc)")
libdir=$(dirname "$pkgconfig")

quietly cmake -S "$here/consumer" -B "$work/build" -DUlmaroAlgrithm_DIR="$libdir/cmake/UlmaroAlgrithm"
quietly cmake --build "$work/build"
"$work/build/consumer"

for pc in "$pkgconfig"/*.pc; do
  name=$(basename "$pc" .pc)
  # shellcheck disable=SC2046  # the flags are words
  cc -std=c99 -Wall -Wextra -Wpedantic -Werror "$here/consumer/consumer.c" -o "$work/$name" \
    $(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs "$name")
  LD_LIBRARY_PATH=$libdir "$work/$name"
  echo "pkg-config: $name ran"
done

# shellcheck disable=SC2046
echo '#include <UlmaroAlgrithm.hpp>' | c++ -std=c++20 -x c++ -fsyntax-only - \
  $(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags UlmaroAlgrithm)
for file in man/man3/SM3_HASH.3 man/man3/libUlmaroAlgrithm.3 UlmaroAlgrithm/python/ulmaro_algrithm.py; do
  [ -s "$work/stage/share/$file" ] || { echo "not installed: $file"; exit 1; }
done

if [ -x "$work/stage/bin/ulmaro" ]; then "$work/stage/bin/ulmaro" --version; fi
