#!/bin/sh
# Proves what docs/proofs.md says about built libraries, compares the meanings of instructions that the proofs use with
# the processor, and plants faults, which must be refused. Where package.sh has built the archives, the libraries in them
# must be the same in memory as those of build/release and build/aarch64.
# usage: prove.sh [BUILD...]   (default: build/release build/aarch64; build/PRESET is built if it is not)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/arm64.sh

# shellcheck disable=SC2154,SC2086
need_packages $proof_packages $arm_packages
[ $# -gt 0 ] || set -- build/release build/aarch64
for build in "$@"; do
  [ ! -f "$build/libUlmaroAlgrithm.so" ] || continue
  preset=${build#build/}
  # shellcheck disable=SC2086
  need_packages $build_packages $test_packages
  # shellcheck disable=SC2086
  case $preset in
    aarch64) unpack_arm64 build/aarch64/arm64 $arm64_test_packages ;;
    clang) need_packages clang ;;
  esac
  quietly cmake --preset "$preset"
  quietly cmake --build "$build" --target libUlmaroAlgrithm.so
done

# As it is in memory, without the number that tells builds apart.
image() { # LIBRARY FILE
  case $(readelf -h "$1") in
    *AArch64*) aarch64-linux-gnu-objcopy -O binary -R .note.gnu.build-id "$1" "$2" ;;
    *) objcopy -O binary -R .note.gnu.build-id "$1" "$2" ;;
  esac
}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for pair in release:amd64 aarch64:arm64; do
  built=build/${pair%:*}/libUlmaroAlgrithm.so
  archive=build/packages/UlmaroAlgrithm-$(project_version)-${pair#*:}.tar.xz
  if [ ! -f "$archive" ] || [ ! -f "$built" ]; then continue; fi
  tar -xJOf "$archive" --wildcards '*/lib/libUlmaroAlgrithm.so' >"$folder/shipped.so"
  image "$folder/shipped.so" "$folder/shipped"
  image "$built" "$folder/built"
  cmp "$folder/shipped" "$folder/built"
  echo "$archive has the code of $built"
done

libraries=
for build in "$@"; do libraries="$libraries $build/libUlmaroAlgrithm.so"; done
# shellcheck disable=SC2086
{
  /usr/bin/python3 -B proof/check_instructions.py $libraries
  /usr/bin/python3 -B proof/prove.py $libraries
  /usr/bin/python3 -B proof/faults.py --count 12 $libraries
}
