#!/bin/sh
# Compares the binary interface of what package.sh built (every symbol, its type, the records that it takes) with
# tests/abi/interface.abi: both libraries, both architectures. Any difference is an error, except the additional
# functions of the hardened library (tests/abi/exports_hardened.txt).
# usage: abi.sh [--update] [amd64 | arm64]...   (default: both)
#   --update  rewrites tests/abi/interface.abi; the commit must say why the interface may change
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $package_packages
stored=tests/abi/interface.abi

# What the headers declare and the library exports, without what differs between builds of the same interface.
describe() { # LIBRARY
  abidw --headers-dir include --exported-interfaces-only --drop-private-types --no-parameter-names --no-show-locs \
    --no-comp-dir-path --no-corpus-path --no-elf-needed --no-architecture --type-id-style hash "$1"
}

if [ "${1-}" = --update ]; then
  shift
  describe build/package-amd64/libUlmaroAlgrithm.so >"$stored"
fi
[ $# -gt 0 ] || set -- amd64 arm64
found=$(mktemp)
own_names=$(mktemp)
trap 'rm -f "$found" "$own_names"' EXIT
sed 's/.*/[suppress_function]\n  symbol_name = &\n  change_kind = added-function/' tests/abi/exports_hardened.txt >"$own_names"
for architecture in "$@"; do
  for library in "build/package-$architecture"/libUlmaro*.so; do
    describe "$library" >"$found"
    case $library in
      *Hardened.so) set -- --suppr "$own_names" ;;
      *) set -- ;;
    esac
    abidiff --harmless --redundant --ignore-soname --fail-no-debug-info "$@" "$stored" "$found"
    echo "$library: the interface is unchanged"
  done
done
