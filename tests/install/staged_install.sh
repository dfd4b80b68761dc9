#!/bin/bash
# Installs the build into a stage, moves the stage (nothing may depend on where it was), and uses what is there.
# usage: staged_install.sh BUILD_DIR
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$1" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/stage"
libdir=$(dirname "$(find "$work/stage" -name pkgconfig)")
"$(dirname "$0")/consumers.sh" "$libdir"

cd "$work/stage"
ls include/UlmaroAlgrithm{,Formats,Internals}.hpp share/man/man3/{SM3_HASH,libUlmaroAlgrithm}.3 \
  share/UlmaroAlgrithm/python/ulmaro_algrithm.py
if [ -x bin/ulmaro ]; then bin/ulmaro --version; fi
