#!/bin/bash
# The manual pages are well-formed; there is one for every entry point; the tool's page has every option that its help
# has, and its examples run.
# usage: manual.sh MAN_DIR TOOL EXPORTS_TXT; MANDOC names the formatter
set -euo pipefail
man=$1
tool=$(realpath "$2")
exports=$3

fail() {
  echo "manual.sh: $*" >&2
  exit 1
}
render() { "$MANDOC" -Tutf8 -O width=200 "$1" | col -bx; }

complaints=$("$MANDOC" -Tlint -Wwarning "$man"/man1/*.1 "$man"/man3/lib*.3 | grep -v 'missing date' || true)
[ -z "$complaints" ] || fail "$complaints"

entry_points=$(grep -E '^SM[1-4]_' "$exports")
[ "$(wc -l <<<"$entry_points")" -eq 35 ] || fail "not 35 entry points"
for name in $entry_points; do
  page=$man/$(sed -n 's/^\.so //p' "$man/man3/$name.3")
  grep -qx " *$name" <<<"$(render "$page")" || fail "$page does not describe $name"
done

# Help texts of every command, found by their lists of subcommands.
helps=$("$tool" --help)
subcommands() { sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]*\) .*/\1/p'; }
for command in $(subcommands <<<"$helps"); do
  help=$("$tool" "$command" --help)
  helps+=$help
  for sub in $(subcommands <<<"$help"); do helps+=$("$tool" "$command" "$sub" --help); done
done
page=$(render "$man/man1/ulmaro.1")
options=$(grep -oE -- '--[a-z][a-z0-9-]+' <<<"$helps" | sort -u)
[ "$(wc -l <<<"$options")" -gt 25 ] || fail "too few options in the help: $options"
for option in $options; do
  grep -q -- "$option\b" <<<"$page" || fail "$option is not in the page"
done

# The completions know every command, option and word.
# shellcheck source=/dev/null
. "$man/../completions/ulmaro"
completes() { # WORD... CANDIDATE: bash would offer it for the last word
  COMP_WORDS=("${@:1:$#-1}") COMP_CWORD=$(($# - 2))
  _ulmaro 2>/dev/null
  [[ " ${COMPREPLY[*]} " == *" ${*: -1} "* ]] || fail "no completion of $*"
}
completes ulmaro si sign
completes ulmaro sm4 '' decrypt
completes ulmaro sm4 encrypt --mo --mode
completes ulmaro keygen --force --cipher '' sm4
completes ulmaro convert ciphertext --from c1 c1c2c3-bare
for option in $options; do
  grep -q -- "$option\b" "$man/../completions/_ulmaro" || fail "zsh does not complete $option"
  grep -q -- "-l ${option#--}\b" "$man/../completions/ulmaro.fish" || fail "fish does not complete $option"
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
PATH=$(dirname "$tool"):$PATH
head -c 5000 /dev/urandom | tee letter >file
cp file one.bin
examples=$(sed -n 's/^ *\$ //p' <<<"$page")
[ "$(wc -l <<<"$examples")" -gt 5 ] || fail "no examples"
bash -euo pipefail -c "$examples" >log 2>&1 || fail "$(cat log)"
