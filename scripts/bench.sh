#!/bin/sh
# Measures the library beside its peers and writes numbers, table and picture: docs/performance/<machine>.json, .md,
# .svg. Several minutes; leave the machine alone meanwhile.
# usage: bench.sh [--quick | --render]
#   --quick   half a minute: fewer repetitions, nothing beyond 64 KiB, no single kernels; writes to build/performance/
#   --render  makes table and picture again from the existing numbers
# Peers are the distribution's OpenSSL, libgcrypt and Botan. ULMARO_PEERS=DIR[:DIR...] names folders where others were
# installed (each with lib/pkgconfig) that take their place; the results then go to build/newer-peers/.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

out=docs/performance
repetitions=9 seconds=0.05 filter=.
case ${1-} in
  '') ;;
  --quick) out=build/performance repetitions=3 seconds=0.005 filter='-MiB|^kernel' ;;
  --render) ;;
  *) sed -n 's/^# //p' "$0" >&2 && exit 2 ;;
esac
build=build/release
libraries=
if [ -n "${ULMARO_PEERS-}" ]; then
  out=build/newer-peers build=build/newer-peers/tree
  rm -rf "$build" # pkg-config's answers are cached there
  for folder in $(echo "$ULMARO_PEERS" | tr : ' '); do
    before=$libraries
    for config in "$folder"/lib*/pkgconfig "$folder"/lib/*/pkgconfig; do
      [ -d "$config" ] || continue
      libraries=$libraries${config%/pkgconfig}:
      export PKG_CONFIG_PATH="$config:${PKG_CONFIG_PATH-}"
    done
    # Otherwise the distribution's peer would be measured in its place.
    [ "$libraries" != "$before" ] || { echo "no lib/pkgconfig in $folder" >&2 && exit 1; }
  done
fi
numbers=$out/$(uname -m).json

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $test_packages python3 python3-matplotlib
if [ "${1-}" != --render ]; then
  [ -f "$build/build.ninja" ] || quietly cmake --preset release -B "$build"
  quietly cmake --build "$build" --target ulmaro_bench
  mkdir -p "$out"
  raw=$build/bench.json
  LD_LIBRARY_PATH=$libraries${LD_LIBRARY_PATH-} "$build/ulmaro_bench" \
    --benchmark_filter="$filter" --benchmark_enable_random_interleaving=true --benchmark_repetitions=$repetitions \
    --benchmark_min_time=$seconds --benchmark_out="$raw" --benchmark_out_format=json
  /usr/bin/python3 -B bench/report.py summarise "$raw" "$numbers"
fi
/usr/bin/python3 -B bench/report.py render "$numbers"
echo "wrote $numbers, and beside it the table and the picture"
