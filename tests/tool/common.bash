# Shared by the command-line tests. ULMARO is the path of the executable under test.
bats_require_minimum_version 1.5.0

KEY=0123456789abcdeffedcba9876543210
IV=000102030405060708090a0b0c0d0e0f

u() {
  "$ULMARO" "$@"
}

setup() {
  : "${ULMARO:?path of the executable under test}"
  mkdir "$BATS_TEST_TMPDIR/work" && cd "$BATS_TEST_TMPDIR/work" || return 1
}

# The command fails as a failure of the work: exit code, one line on standard error, silence on standard output.
refuses() {
  local code=$1
  shift
  run --separate-stderr -"$code" "$@"
  [ -z "$output" ]
  [ -n "$stderr" ]
  [ "$code" -eq 2 ] || [ "${#stderr_lines[@]}" -eq 1 ]
}

# No file but the named ones in this folder: no half file, no temporary file.
only_files() {
  diff <(printf '%s\n' "$@" | sort) <(ls -A | sort)
}

random_file() {
  head -c "$2" /dev/urandom >"$1"
}

# Bytes from hexadecimal digits; blanks are ignored.
unhex() {
  local digits=${*//[[:space:]]/}
  printf '%b' "$(sed 's/../\\x&/g' <<<"$digits")"
}

# Digits of a DER element from its tag and its contents in digits.
tlv() {
  local body size
  body=$(printf %s "${@:2}" | tr -d '[:space:]')
  size=$(printf %02x $((${#body} / 2)))
  [ ${#body} -lt 256 ] || size=81$size
  printf %s "$1$size$body"
}

# Hexadecimal digits of standard input.
tohex() {
  od -An -v -tx1 | tr -d ' \n'
}
