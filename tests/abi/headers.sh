#!/bin/sh
# Compiles each public header alone, warnings being errors, in every language version it is meant for, for either library.
# Usage: headers.sh INCLUDE_FOLDER; the compilers are taken from CC and CXX.
set -eu
include=$1
# A flexible array, which C89 has not, is an extension that clang mentions.
warnings="-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -Wno-c99-extensions"

check() { # compiler language version header
  for library in -UULMARO_HARDENED -DULMARO_HARDENED; do
    echo "$1 -std=$3 $library $4"
    # shellcheck disable=SC2086
    echo "#include \"$4\"" | $1 -x "$2" -std="$3" $warnings $library -fsyntax-only -I "$include" -
  done
}

for std in c89 c99 c11; do
  check "${CC:-cc}" c $std UlmaroAlgrithm.h
done
for std in c++98 c++11 c++17 c++20; do
  check "${CXX:-c++}" c++ $std UlmaroAlgrithm.h
  [ $std = c++98 ] || check "${CXX:-c++}" c++ $std UlmaroAlgrithmInternals.hpp
done
check "${CXX:-c++}" c++ c++20 UlmaroAlgrithm.hpp
