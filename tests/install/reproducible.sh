#!/bin/sh
# The libraries and the module for OpenSSL, built again from a copy of the sources in another folder, are the same bytes.
# Usage: reproducible.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1
build=$2
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir "$copy/elsewhere"
for part in CMakeLists.txt cmake docs gen include provider src; do cp -R "$source/$part" "$copy/elsewhere"; done

variable() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
cmake -S "$copy/elsewhere" -B "$copy/a-build" -G Ninja -DCMAKE_BUILD_TYPE="$(variable CMAKE_BUILD_TYPE)" \
  -DCMAKE_CXX_COMPILER="$(variable CMAKE_CXX_COMPILER)" -DULMARO_STRICT="$(variable ULMARO_STRICT)" \
  -DULMARO_BUILD_TOOL=OFF -DULMARO_BUILD_EXAMPLES=OFF -DULMARO_BUILD_TESTS=OFF -DULMARO_INSTALL=OFF >/dev/null
cmake --build "$copy/a-build" >/dev/null
for library in libUlmaroAlgrithm.so libUlmaroAlgrithmHardened.so ossl-modules/ulmaro.so; do
  cmp "$build/$library" "$copy/a-build/$library"
done
