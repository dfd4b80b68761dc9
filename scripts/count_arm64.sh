#!/bin/sh
# Counts the instructions that each operation executes on 64-bit Arm, under the emulator, beside the peers of Debian's
# arm64 archive, and writes docs/performance/aarch64.md. Nothing is installed for arm64: its packages are unpacked into
# the build folder.
# usage: count_arm64.sh [CASE...]   only the cases whose names begin like this, printed instead of written
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/arm64.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $arm_packages gcc python3
build=build/count-arm64
peers=$build/apt/root
mkdir -p "$build"
unpack_arm64 "$build/apt" libssl3 libssl-dev libgcrypt20 libgcrypt20-dev libgpg-error0 libgpg-error-dev

quietly cmake -S . -B "$build" -G Ninja --toolchain "$PWD/cmake/aarch64-linux-gnu.cmake" -DCMAKE_BUILD_TYPE=Release \
  -DULMARO_STRICT=ON -DULMARO_BUILD_BENCH=ON -DULMARO_BUILD_TESTS=OFF -DULMARO_BUILD_TOOL=OFF \
  -DULMARO_BUILD_PROVIDER=OFF -DULMARO_BUILD_EXAMPLES=OFF -DULMARO_BENCH_PEERS="$PWD/$peers"
quietly cmake --build "$build" --target ulmaro_count
gcc -O2 -Wall -Wextra -Werror -fPIC -shared bench/count/plugin.c -o "$build/plugin.so"

exec /usr/bin/python3 -B bench/count.py --driver "$build/ulmaro_count" --plugin "$build/plugin.so" \
  --libraries "$peers/usr/lib/aarch64-linux-gnu:$peers/lib/aarch64-linux-gnu" --output docs/performance/aarch64.md "$@"
