#!/bin/sh
# Installs what is missing, builds the library and the tool, and shows them at work on a file of this checkout.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages
[ -f build/demo/build.ninja ] || quietly cmake -S . -B build/demo -G Ninja -DULMARO_BUILD_TESTS=OFF -DULMARO_BUILD_EXAMPLES=OFF
quietly cmake --build build/demo
exec build/demo/ulmaro demo "${1:-README.md}"
