#!/bin/sh
# The examples in C, linked statically with Debian's musl and run: the archive built and linked as docs/install.md says.
set -eu
cd "$(dirname "$0")/../.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages musl-tools
quietly cmake -S . -B build/musl -G Ninja -DBUILD_SHARED_LIBS=OFF -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O2 \
  -DULMARO_BUILD_TOOL=OFF -DULMARO_BUILD_EXAMPLES=OFF -DULMARO_BUILD_TESTS=OFF
quietly cmake --build build/musl
# shellcheck disable=SC2016  # the backticks are Markdown's
sed -n '/^```c$/,/^```$/{/^```/!p;}' docs/install.md >build/musl/musl.c
for example in examples/*.c; do
  musl-gcc -static -DULMARO_HARDENED -Iinclude "$example" build/musl/musl.c -o build/musl/example \
    build/musl/src/libUlmaroAlgrithmHardened.a -Wl,--undefined=ulmaro_random_kernel \
    "$(g++ -print-file-name=libsupc++.a)" "$(g++ -print-file-name=libgcc_eh.a)" -lc
  echo text | quietly build/musl/example
done
