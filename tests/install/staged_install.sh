#!/bin/sh
# Installs the build into a stage, moves the stage (nothing may depend on where it was), and uses what is there.
# usage: staged_install.sh BUILD_DIR
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$1" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/stage"
libdir=$(dirname "$(find "$work/stage" -name pkgconfig)")
"$(dirname "$0")/consumers.sh" "$libdir"

# shellcheck disable=SC2046
echo '#include <UlmaroAlgrithm.hpp>' | c++ -std=c++20 -x c++ -fsyntax-only - \
  $(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags UlmaroAlgrithm)
for file in man/man3/SM3_HASH.3 man/man3/libUlmaroAlgrithm.3 UlmaroAlgrithm/python/ulmaro_algrithm.py; do
  [ -s "$work/stage/share/$file" ] || { echo "not installed: $file"; exit 1; }
done
if [ -x "$work/stage/bin/ulmaro" ]; then "$work/stage/bin/ulmaro" --version; fi
