# Shared by the command-line tests. ULMARO is the path of the executable under test.
bats_require_minimum_version 1.5.0

KEY=0123456789abcdeffedcba9876543210
IV=000102030405060708090a0b0c0d0e0f

u() { "$ULMARO" "$@"; }

sm4() { "$ULMARO" sm4 "$1" --key $KEY "${@:2}"; } # DIRECTION OPTION...

setup() {
  : "${ULMARO:?path of the executable under test}"
  mkdir "$BATS_TEST_TMPDIR/work" && cd "$BATS_TEST_TMPDIR/work" || return 1
}

# Bash ignores the failure of a command with ! in front, but not of this.
not() { ! "$@"; }

# The command fails as a failure of the work: exit code, one line on standard error, silence on standard output.
refuses() {
  local code=$1
  shift
  run --separate-stderr -"$code" "$@"
  [ -z "$output" ]
  [ -n "$stderr" ]
  [ "$code" -eq 2 ] || [ "${#stderr_lines[@]}" -eq 1 ]
}

# Every line of standard input, "ARGUMENTS | MESSAGE", is refused like that, with this in what it says. @ is an empty
# argument. COMMAND comes before the arguments.
refuses_each() { # CODE COMMAND...
  local arguments message words
  while IFS='|' read -r arguments message; do
    echo "$arguments"
    read -ra words <<<"$arguments"
    refuses "$1" "${@:2}" "${words[@]/#@/}" </dev/null
    [[ $stderr == *"${message# }"* ]]
  done
}

# The lines of a file in tests/vectors.
vectors() { grep -v '^#' "$BATS_TEST_DIRNAME/../vectors/$1"; }

# No file but the named ones in this folder: no half file, no temporary file.
only_files() { diff <(printf '%s\n' "$@" | sort) <(ls -A | sort); }

# The modes of files.
modes() { stat -c %a "$@" | xargs; }

random_file() { head -c "$2" /dev/urandom >"$1"; }

# Bytes from hexadecimal digits; blanks are ignored.
unhex() {
  local digits=${*//[[:space:]]/}
  printf '%b' "$(sed 's/../\\x&/g' <<<"$digits")"
}

# Hexadecimal digits of standard input.
tohex() { od -An -v -tx1 | tr -d ' \n'; }
