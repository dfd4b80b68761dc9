#!/bin/sh
# Installs what is missing, builds everything with warnings as errors, and runs all tests of this machine.
# usage: test.sh [PRESET...]   (default: release; aarch64 and aarch64-plain run through the emulator)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/arm64.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $test_packages
for preset in "${@:-release}"; do
  build=${preset%-plain}
  # shellcheck disable=SC2086
  case $preset in
    clang) need_packages clang ;;
    aarch64*) need_packages $arm_packages && unpack_arm64 build/aarch64/arm64 $arm64_test_packages ;;
  esac
  [ -f "build/$build/build.ninja" ] || quietly cmake --preset "$build"
  quietly cmake --build --preset "$build"
  ctest --preset "$preset"
done
