#!/bin/sh
# Compiles the first C example of the README exactly as it stands there, and compares what it prints with the text
# block that follows it.
# usage: readme_example.sh SOURCE_DIR LIBRARY_DIR
set -eu
source=$1
libdir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

awk '/^```c$/ { on = 1; next } /^```$/ && on { exit } on' "$source/README.md" >"$work/example.c"
awk '/^```c$/ { c = 1 } c && /^```text$/ { on = 1; next } /^```$/ && on { exit } on' "$source/README.md" >"$work/expected"
[ -s "$work/example.c" ] && [ -s "$work/expected" ]
cc -std=c99 -Wall -Wextra -Wpedantic -Werror -I"$source/include" "$work/example.c" -o "$work/example" \
  -L"$libdir" -lUlmaroAlgrithm
LD_LIBRARY_PATH=$libdir "$work/example" >"$work/printed"
diff -u "$work/expected" "$work/printed"
