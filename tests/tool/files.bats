load common

KEY=0123456789abcdeffedcba9876543210
IV=000102030405060708090a0b0c0d0e0f

encrypt() {
  "$ULMARO" sm4 encrypt --key $KEY --iv $IV "$@"
}

skip_if_sanitized() {
  ! grep -qaE '__(asan|tsan|msan)_init' "$ULMARO" || skip "sanitizers need memory of their own"
}

# Starts an encryption that reads $1 bytes and waits for more; its input is open as descriptor 9.
start_stalled() {
  mkfifo pipe
  # The shell has jobs in the background ignore the keyboard's signals.
  env --default-signal "$ULMARO" sm4 encrypt --key $KEY --iv $IV -i pipe -o out 3>&- &
  job=$!
  exec 9>pipe
  head -c "$1" /dev/zero >&9
}

@test "an existing file keeps its mode and its links, a new one gets the usual mode" {
  echo text >plain
  umask 027
  encrypt -i plain -o new
  [ "$(stat -c %a new)" = 640 ]
  echo old >kept
  chmod 604 kept
  ln -s kept link
  encrypt -i plain -o link
  [ -L link ] && [ "$(stat -c %a kept)" = 604 ]
  cmp kept new
  encrypt -i plain -o plain
  cmp plain new
}

@test "a full disk is reported" {
  head -c 100000 /dev/zero >plain
  run -1 encrypt -i plain -o /dev/full
  [ "$output" = "ulmaro: /dev/full: No space left on device" ]
  run -1 sh -c "\"$ULMARO\" sm4 encrypt --key $KEY -i plain >/dev/full"
  [ "$output" = "ulmaro: standard output: No space left on device" ]
}

@test "a file that may not grow is reported, and the old one stays" {
  ! grep -qa __gcov_ "$ULMARO" || skip "coverage writes files of its own at the end"
  head -c 100000 /dev/zero >plain
  echo precious >out
  run -1 sh -c "ulimit -f 20; \"$ULMARO\" sm4 encrypt --key $KEY -i plain -o out"
  [ "$output" = "ulmaro: out: File too large" ]
  [ "$(cat out)" = precious ]
  only_files plain out
}

@test "a folder that cannot be written is reported" {
  echo text >plain
  run -1 encrypt -i plain -o /proc/out
  [[ $output == "ulmaro: /proc/out: "* ]]
  [ "$(id -u)" -ne 0 ] || skip "root may write everywhere"
  mkdir closed && chmod 555 closed
  refuses 1 encrypt -i plain -o closed/out
}

@test "an interrupted run leaves the old file and no temporary one" {
  echo precious >out
  for signal in INT TERM HUP QUIT; do
    start_stalled 2000000
    ls .ulmaro-* # there is something to remove
    kill -"$signal" "$job"
    rc=0
    wait "$job" || rc=$?
    [ "$rc" -eq $((128 + $(kill -l "$signal"))) ]
    exec 9>&-
    rm pipe
  done
  [ "$(cat out)" = precious ]
  only_files out
}

@test "memory stays small whatever the size" {
  skip_if_sanitized
  start_stalled 100000000
  [ "$(awk '/VmHWM/ { print $2 }' "/proc/$job/status")" -lt 16384 ]
  exec 9>&-
  wait "$job"
  [ "$(stat -c %s out)" -eq 100000016 ]
}

@test "the progress bar is for large inputs on a terminal, and only there" {
  truncate -s 17M large
  truncate -s 15M small
  on_terminal() { script -qec "$*" /dev/null; }
  on_terminal "$ULMARO sm3 large" | grep -q '100%'
  on_terminal "$ULMARO sm4 encrypt --key $KEY -i large -o out" | grep -q '100%'
  ! on_terminal "$ULMARO sm3 small" | grep -q '%'
  ! on_terminal "$ULMARO sm3 --no-progress large" | grep -q '%'
  ! "$ULMARO" sm3 large 2>&1 | grep -q '%'
}

@test "help, version, info and the demo" {
  run -0 "$ULMARO" --version
  [ "$output" = "ulmaro $(sed -n 's/.*_VERSION "\(.*\)".*/\1/p' "$BATS_TEST_DIRNAME/../../include/UlmaroAlgrithm.h")" ]
  run -0 "$ULMARO" sm4 encrypt --help
  run -0 "$ULMARO" info
  [[ $output == *libUlmaroAlgrithmHardened.so*"getrandom"*"kernels    "*"SM3 "* ]]
  random_file sample 5000
  run -0 "$ULMARO" demo sample
  [[ $output == *"$(openssl dgst -sm3 -r sample | cut -c1-64)"* ]]
  [[ $output == *valid*refused*"the same key"*identical* ]]
  run -0 "$ULMARO" demo
  run -1 "$ULMARO" demo missing
  run -1 "$ULMARO" demo -
  only_files sample
}
