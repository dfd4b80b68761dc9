#!/bin/sh
# Compiles the public headers, the C header under records.c, warnings being errors, in every language version they are
# meant for, for either library; and compares the version that the C header tells.
# usage: headers.sh INCLUDE_FOLDER VERSION; the compilers are taken from CC and CXX
set -eu
include=$1 version=$2
here=$(cd "$(dirname "$0")" && pwd)
# A flexible array, which C89 has not, is an extension that clang mentions.
warnings="-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -Wno-c99-extensions"

check() { # compiler language version file
  for library in -UULMARO_HARDENED -DULMARO_HARDENED; do
    echo "$1 -std=$3 $library $4"
    # shellcheck disable=SC2086
    echo "#include \"$4\"" | $1 -x "$2" -std="$3" $warnings $library -fsyntax-only -I "$include" -I "$here" -
  done
}

for std in c89 c99 c11; do
  check "${CC:-cc}" c $std records.c
done
for std in c++98 c++11 c++17 c++20; do
  check "${CXX:-c++}" c++ $std records.c
  [ $std = c++98 ] || check "${CXX:-c++}" c++ $std UlmaroAlgrithmInternals.hpp
done
for file in UlmaroAlgrithm.hpp UlmaroAlgrithmFormats.hpp; do check "${CXX:-c++}" c++ c++20 $file; done

v=ULMARO_ALGRITHM_VERSION
told=$(printf '#include "UlmaroAlgrithm.h"\n%s\n' "$v ${v}_MAJOR ${v}_MINOR ${v}_PATCH" |
  ${CC:-cc} -E -P -I "$include" - | tail -1)
[ "$told" = "\"$version\" $(echo "$version" | tr . ' ')" ] || { echo "the header tells $told" && exit 1; }
