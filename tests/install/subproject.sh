#!/bin/sh
# The source tree inside another project: shared with settings that are meant for the other's own targets, instrumented,
# and static.
# usage: subproject.sh SOURCE_DIR
set -eu
source=$1
. "$source/scripts/packages.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "subproject.sh: $*"; exit 1; }
build() { # NAME CMAKE_OPTION...
  name=$1
  shift
  quietly cmake -S "$source/tests/install/consumer" -B "$work/$name" -G Ninja -DSOURCE="$source" "$@"
  quietly cmake --build "$work/$name" -j 2
}
programs_run_in() {
  for program in plain hardened cipher; do quietly "$work/$1/$program"; done
}

build shared -DFETCH=ON -DCMAKE_CXX_FLAGS=-DULMARO_HARDENED -DCMAKE_CXX_VISIBILITY_PRESET=hidden \
  -DCMAKE_UNITY_BUILD=ON -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON -DCMAKE_POLICY_DEFAULT_CMP0069=NEW
grep -qx 'CMAKE_BUILD_TYPE:STRING=' "$work/shared/CMakeCache.txt" || fail "the project's build type was chosen for it"
quietly cmake --install "$work/shared" --prefix "$work/stage"
mv "$work/stage" "$work/moved"
rm -r "$work/shared"
programs_run_in moved/bin
[ "$(find "$work/moved" -type f | wc -l)" -eq 5 ] || fail "installed: $(find "$work/moved")"

if command -v clang++ >/dev/null; then
  build instrumented -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_C_FLAGS=-fsanitize=address,undefined -DCMAKE_CXX_FLAGS=-fsanitize=address,undefined
  programs_run_in instrumented
fi

build static -DBUILD_SHARED_LIBS=OFF -DULMARO_INSTALL=ON "-DULMARO_KERNELS=x86-aesni;arm-aes"
programs_run_in static
[ "$(nm "$work/static/plain" | grep -oE '(x86|arm)_[a-z0-9_]+_kernels' | sort -u | wc -l)" -eq 1 ] ||
  fail "other kernels than were asked for"
quietly cmake --install "$work/static" --prefix "$work/stage"
[ -z "$(find "$work/stage" -name '*.so')" ] || fail "a shared library in a static build"
archive=$(find "$work/stage" -name libUlmaroAlgrithm.a)
libdir=$(dirname "$archive")
"$source/tests/install/consumers.sh" "$libdir"
[ -z "$("${READELF:-readelf}" -sW "$archive" | awk '$5 != "LOCAL" && $6 == "DEFAULT" && $7 != "UND"')" ] ||
  fail "a shared object with the archive in it would export its names"
# shellcheck disable=SC2046  # the flags are words
if "${CC:-cc}" "$source/examples/sign_and_verify.c" -o "$work/both" $(PKG_CONFIG_LIBDIR=$libdir/pkgconfig \
  pkg-config --static --cflags --libs UlmaroAlgrithm UlmaroAlgrithmHardened) >"$work/log" 2>&1; then
  fail "one program with both archives"
fi
grep -q 'multiple definition of' "$work/log"
