#!/bin/sh
# Both libraries in one process, in every order and way of loading: what was built for the hardened library (by its
# flags), opened it, or asked it by handle never draws from rand or seeds it.
# usage: two_libraries.sh LIBRARY_DIR INCLUDE_DIR [PYTHON MODULE_DIR]; CC and CXX compile, EMULATOR runs
set -eu
libraries=$1 include=$2 python=${3-} module=${4-}
source=$(cd "$(dirname "$0")" && pwd)/two_libraries.c
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ln -s "$libraries"/libUlmaroAlgrithm*.so .
plain=-lUlmaroAlgrithm hardened=-lUlmaroAlgrithmHardened
with="${EMULATOR:+$EMULATOR -E}"
with=${with:-env} # runs a program with a variable more

shared() { # NAME FILE...
  name=$1
  shift
  "$compiler" -shared -o "lib$name.so" "$@" -L. -Wl,-rpath,"$work"
}
program() { # NAME FILE...
  name=$1
  shift
  "$compiler" -o "$name" main.o -Wl,--no-as-needed "$@" -L. -lcounter -ldl -Wl,-rpath,"$work"
}
expect() { # "WHO=SOURCE..." VARIABLE=VALUE PROGRAM ARGUMENT...
  wanted=$1
  shift
  # shellcheck disable=SC2086  # a command and its options
  printed=$($with "$@" | tr -d '\n')
  [ "$printed" = " $wanted" ] || { echo "$language: $*: wanted $wanted, got$printed" >&2 && failed=1; }
}

failed=0 compiler=$CC
"$CC" -fPIC -DCOUNTER -c "$source" -o counter.o
shared counter counter.o
"$CC" -I "$include" -c "$source" -o main.o
for language in c c++; do
  standard='c99'
  [ $language = c ] || compiler=$CXX standard=c++20
  # Without optimisation, so that nothing is inlined.
  set -- -x $language -std=$standard -D_DEFAULT_SOURCE -fPIC -I "$include" -c "$source"
  "$compiler" "$@" -DUSE=use_plain -o plain.o
  "$compiler" "$@" -DUSE=use_hardened -DULMARO_HARDENED -o hardened.o
  shared use_plain plain.o $plain
  shared use_hardened hardened.o $hardened

  program plain_first hardened.o $plain $hardened
  program on_plain plain.o $plain
  expect hardened=kernel A= ./plain_first
  expect 'plain=rand hardened=kernel handle=kernel' A= ./on_plain l:./libuse_hardened.so
done

# All other ways for C++, which makes C's calls too.
expect 'plain=rand hardened=kernel handle=kernel' A= ./on_plain g:./libuse_hardened.so
expect plain=kernel LD_PRELOAD=./libUlmaroAlgrithmHardened.so ./on_plain
program on_hardened hardened.o $hardened
expect 'hardened=kernel handle=rand' A= ./on_hardened l:./libUlmaroAlgrithm.so
expect 'hardened=kernel handle=rand' A= ./on_hardened g:./libUlmaroAlgrithm.so
expect 'hardened=kernel handle=kernel' LD_PRELOAD=./libUlmaroAlgrithm.so ./on_hardened l:./libUlmaroAlgrithmHardened.so
program hardened_first hardened.o $hardened $plain
expect hardened=kernel A= ./hardened_first

program on_neither
for modes in 'l l' 'l g' 'g l' 'g g'; do
  p=${modes% *}:./libUlmaroAlgrithm.so h=${modes#* }:./libUlmaroAlgrithmHardened.so
  expect 'handle=rand handle=kernel' A= ./on_neither "$p" "$h"
  expect 'handle=kernel handle=rand' A= ./on_neither "$h" "$p"
  p=${modes% *}:./libuse_plain.so h=${modes#* }:./libuse_hardened.so
  expect 'plain=rand handle=rand hardened=kernel handle=kernel' A= ./on_neither "$p" "$h"
done

program on_both -luse_plain -luse_hardened
expect 'plain=rand hardened=kernel' A= ./on_both
program on_both -luse_hardened -luse_plain
expect 'plain=kernel hardened=kernel' A= ./on_both # the common names are the first library's
program by_hand plain.o $hardened # without the flag, by the common names
expect plain=kernel A= ./by_hand

if [ -n "$python" ]; then
  printed=$(LD_PRELOAD=$work/libcounter.so PYTHONPATH=$module ULMARO_ALGRITHM_LIBRARY=./libUlmaroAlgrithmHardened.so "$python" -B -c '
import ctypes
ctypes.CDLL("./libUlmaroAlgrithm.so", ctypes.RTLD_GLOBAL)
from ulmaro_algrithm import Curve
curve = Curve()
keys = curve.generate()
curve.sign(keys, b"m"), curve.encrypt(keys.public, b"m")
print(ctypes.CDLL(None).random_calls())')
  [ "$printed" = 0 ] || { echo "Python: $printed calls of rand" >&2 && failed=1; }
fi
exit $failed
