load common

KEY=0123456789abcdeffedcba9876543210
IV=000102030405060708090a0b0c0d0e0f

encrypt() {
  "$ULMARO" sm4 encrypt --key $KEY --iv $IV "$@"
}

teardown() {
  ! mountpoint -q disk || umount disk
}

@test "a disk that fills up keeps the old file and no half one" {
  mkdir disk
  mount -t tmpfs -o size=64k none disk 2>/dev/null || skip "needs the right to mount"
  random_file plain 100000
  echo precious >disk/out
  run -1 encrypt -i plain -o disk/out
  [ "$output" = "ulmaro: disk/out: No space left on device" ]
  [ "$(cat disk/out)" = precious ]
  (cd disk && only_files out)
}

# The exit code of a command whose reader has gone; its standard error is in err.
without_reader() {
  {
    sleep 0.2
    rc=0
    "$@" 2>err || rc=$?
    echo $rc >rc
  } | true
  cat rc
}

@test "a reader that goes away ends the run" {
  random_file plain 3000000
  commands=("sm4 encrypt --key $KEY -i plain" "sm4 decrypt --key $KEY --mode ecb --padding none -i blocks" "sm3 plain")
  head -c 2000000 plain >blocks
  for command in "${commands[@]}"; do
    # shellcheck disable=SC2086
    [ "$(without_reader env --default-signal=PIPE "$ULMARO" $command)" -eq 141 ] && [ ! -s err ]
    # shellcheck disable=SC2086
    [ "$(without_reader env --ignore-signal=PIPE "$ULMARO" $command)" -eq 1 ]
    [ "$(cat err)" = "ulmaro: standard output: Broken pipe" ]
  done
  rm rc err
  only_files plain blocks
}

@test "inputs that cannot be read are named, and nothing is written" {
  mkdir folder
  "$ULMARO" keygen -o key
  for input in folder missing /proc/self/mem; do
    refuses 1 "$ULMARO" sm3 "$input"
    [[ ${stderr} == "ulmaro: $input: "* ]]
    refuses 1 encrypt -i "$input" -o out
    [[ ${stderr} == "ulmaro: $input: "* ]]
    refuses 1 "$ULMARO" sign --key key -i "$input" -o out
    [[ ${stderr} == "ulmaro: $input: "* ]]
    refuses 1 "$ULMARO" sign --key "$input" -i key -o out
    [[ ${stderr} == "ulmaro: $input: "* ]]
  done
  only_files folder key
}

interrupted() {
  local signal=$1 delay=$2
  shift 2
  env --default-signal timeout -s "$signal" "$delay" "$ULMARO" sm4 encrypt --key $KEY --iv $IV "$@" || true
}

# A file is at every moment the old one or the new one, in place as well. Only SIGKILL leaves a temporary file.
@test "a signal at any moment leaves no half file and no damaged original" {
  random_file plain 3000000
  echo precious >old
  encrypt -i plain -o sealed
  for i in $(seq 60); do
    signal=$(printf '%s\n' TERM INT HUP KILL | sed -n "$((i % 4 + 1))p")
    cp plain in_place
    cp old out
    delay=$(printf 0.%03d%d $((i % 30)) $((RANDOM % 10)))
    interrupted "$signal" "$delay" -i in_place -o in_place
    interrupted "$signal" "$delay" -i plain -o out
    cmp -s in_place plain || cmp in_place sealed
    cmp -s out old || cmp out sealed
    [ "$signal" = KILL ] && rm -f .ulmaro-*
    only_files plain old sealed in_place out
  done
}

# The pipe is full before the second piece is read; then the file changes.
@test "a file that shrinks or grows while it is read is taken as it is found" {
  for change in "truncate -s 2500000" "truncate -s 1048576" "truncate -s 5000000"; do
    random_file plain 4000000
    mkfifo sink
    encrypt -i plain -o sink 3>&- &
    job=$!
    exec 9<sink
    head -c 16 <&9 >sealed
    $change plain
    cat <&9 >>sealed
    exec 9<&-
    wait $job
    "$ULMARO" sm4 decrypt --key $KEY --iv $IV -i sealed -o back
    cmp back plain
    rm sink
  done
}
