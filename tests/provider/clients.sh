#!/bin/bash
# Runs the commands of tests/vectors/provider_clients.txt twice, with this provider first and OpenSSL's own second and the
# other way round, and asks the check who answers.
# usage: clients.sh SOURCE_DIR BUILD_DIR; OPENSSL is the openssl that can load the module, EMULATOR runs the check
set -euo pipefail
source=$1
build=$2
read -ra openssl <<<"${OPENSSL:-openssl}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export OPENSSL_MODULES=$build/ossl-modules

fail() {
  echo "clients.sh: $*" >&2
  exit 1
}
run() { # SIDE ARGUMENT...
  case $1 in
    ours) OPENSSL_CONF=$source/provider/openssl.cnf "${openssl[@]}" "${@:2}" ;;
    theirs) env -u OPENSSL_CONF openssl "${@:2}" ;;
  esac </dev/null 2>&1
}

# shellcheck disable=SC2086
check() { env "$1" ${EMULATOR-} "$build/ulmaro-provider-check"; }
check OPENSSL_CONF="$source/provider/openssl.cnf" || fail "another provider answers"
! check OPENSSL_CONF= >/dev/null || fail "the check finds nothing wrong"

for order in "ours theirs" "theirs ours"; do
  read -r first second <<<"$order"
  folder=$work/$first
  mkdir "$folder"
  cd "$folder"
  echo "a message" >message
  printf %32s . >digest
  cp "$source/tests/vectors/provider_ca.cnf" ca.cnf
  touch ca.db
  while IFS='|' read -r who words said; do
    who=${who% } said=${said# }
    [[ $who == [a-z]* ]] || continue
    read -ra arguments <<<"$words"
    [ "$who" != both ] || said=$(run "$second" "${arguments[@]}")
    [ "$who" != second ] && side=$first || side=$second
    output=$(run "$side" "${arguments[@]}") || fail "$side: $words: $output"
    [[ $output == *"$said"* ]] || fail "$side: $words: $output"
  done <"$source/tests/vectors/provider_clients.txt"
done
