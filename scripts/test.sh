#!/bin/sh
# Installs what is missing, builds everything with warnings as errors, and runs all tests of this machine.
# usage: test.sh [PRESET...]   (default: release)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $test_packages
for preset in "${@:-release}"; do
  [ "$preset" != clang ] || need_packages clang
  [ -f "build/$preset/build.ninja" ] || quietly cmake --preset "$preset"
  quietly cmake --build --preset "$preset"
  ctest --preset "$preset"
done
