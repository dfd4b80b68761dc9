load common

encrypt() { sm4 encrypt --iv $IV "$@"; }
decrypt() { sm4 decrypt --iv $IV "$@"; }

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
  mkdir folder
  ln -s ../kept folder/link
  encrypt -i plain -o folder/link
  [[ -L folder/link && $(modes kept) = 604 ]]
  cmp kept new
  encrypt -i plain -o plain
  cmp plain new
  ln -s "$PWD/target" dangling
  ln -s dangling chain
  encrypt -i kept -o chain
  [[ -L chain && -L dangling && -f target ]]
  decrypt -i target -o secret
  [ "$(modes target secret)" = "640 600" ]
  strace -f -e trace=/fsync,/rename "$ULMARO" sm4 encrypt --key $KEY -i plain -o new 2>&1 |
    sed -n 's/^\([a-z]*\).*/\1/p' | tr '\n' ' ' | grep -q '^fsync renameat2* fsync '
}

# Owner, group, mode and access list of $1.
rights() {
  python3 -c 'import os, sys; print(os.getxattr(sys.argv[1], "system.posix_acl_access").hex())' "$1" 2>/dev/null || true
  stat -c '%u:%g %a' "$1"
}

@test "replacing a file gives nobody more than before" {
  [ "$(id -u)" -eq 0 ] || skip "needs root"
  chmod 755 ../.. .. .
  as() { setpriv --reuid "$1" --regid "$1" --clear-groups -- "${@:2}"; }
  onto() { "${@:2}" "$ULMARO" sm4 decrypt --key $KEY --iv $IV -i sealed -o "$1"; }
  echo secret >plain
  encrypt -i plain -o sealed
  mkdir -m 777 open
  mkdir -m 1777 sticky
  # file, owner and mode before, who writes, exit code, owner and mode after
  while read -r file owner mode user code after; do
    echo old >"$file" && chown "$owner" "$file" && chmod "$mode" "$file"
    run -"$code" onto "$file" as "$user"
    [ "$(rights "$file")" = "$after" ]
    [ "$code" -eq 0 ] || [ "$(cat "$file")" = old ]
    rm "$file"
  done <<'CASES'
open/f 1000:1001 6755 0 0 1000:1001 755
open/f 1000:1000 7777 1000 0 1000:1000 777
open/f 1000:1001 664 1000 0 1000:1000 644
open/f 1000:1001 604 1000 0 1000:1000 600
open/f 1000:1000 666 1001 1 1000:1000 666
sticky/f 1000:1000 666 0 1 1000:1000 666
sticky/f 1000:1000 666 1000 0 1000:1000 666
CASES
  as 1000 mkfifo -m 666 sticky/fifo
  run -1 onto sticky/fifo timeout 5
  [ -z "$(ls -A open sticky | grep ulmaro)" ]
  # user 1234 may read, the group may not; and a folder whose new files everyone in a list may read
  list="import os, sys; os.setxattr(sys.argv[1], 'system.posix_acl_' + sys.argv[2], bytes.fromhex(sys.argv[3]))"
  entries=0200000001000600ffffffff02000400d204000004000000ffffffff10000400ffffffff20000000ffffffff
  touch open/listed open/plain
  chmod 640 open/plain
  python3 -c "$list" open/listed access $entries 2>/dev/null || skip "the file system has no access lists"
  python3 -c "$list" open default ${entries/d2/d3}
  for file in open/listed open/plain; do
    before=$(rights $file)
    onto $file env
    [ "$(rights $file)" = "$before" ]
    cmp plain $file
  done
}

@test "descriptors by their names are written where they stand" {
  echo text >plain
  encrypt -i plain -o sealed
  unseal() { decrypt -i sealed -o "$@"; }
  ln -s /dev/stdout link
  for name in /dev/stdout /dev/fd/1 /proc/self/fd/1 /proc/thread-self/fd/1 link - /dev/fd/5; do
    { echo header; unseal $name 5>&1; echo footer; } >out
    unseal $name >>out 5>>out
    diff out <(printf 'header\ntext\nfooter\ntext\n')
    unseal $name 5>&1 | cmp - plain
  done
  unseal /dev/stderr 2>err
  cmp err plain
  exec 6<>gone
  rm gone
  unseal /dev/fd/6
  cmp /dev/fd/6 plain
  encrypt -i /dev/null -o /dev/null
  # closed, read-only, another process's file
  refuses 1 unseal /dev/fd/9
  refuses 1 unseal /dev/fd/7 7<plain
  refuses 1 unseal /proc/$$/fd/6
  [[ $stderr == *"another process"* ]]
  run -1 sh -c "\"$ULMARO\" sm4 decrypt --key $KEY --iv $IV -i sealed -o /dev/stdout >&-"
  exec 6<&-
  # what would feed itself
  cp sealed both
  run -1 sh -c "\"$ULMARO\" sm4 encrypt --key $KEY -i both >>both"
  cmp both sealed
  # the new file does not become standard output
  run -1 sh -c "\"$ULMARO\" keygen -o key --pub - <&- >&-"
  only_files plain sealed link out err both
}

# The command, a line for the shell, fails with this message.
fails() { # MESSAGE COMMAND
  run -1 bash -c "$2"
  [ "$output" = "ulmaro: $1" ]
}

@test "an output that cannot be written is reported, and the old file stays" {
  head -c 100000 /dev/zero >plain
  mkdir disk
  echo precious >out
  encrypt="'$ULMARO' sm4 encrypt --key $KEY -i plain"
  fails "/dev/full: No space left on device" "$encrypt -o /dev/full"
  fails "standard output: No space left on device" "$encrypt >/dev/full"
  fails "/dev/null: Input/output error" "ASAN_OPTIONS=detect_leaks=0 strace -o trace -P /dev/null -e trace=close \
    -e inject=close:error=EIO $encrypt -o /dev/null"
  run -1 encrypt -i plain -o /proc/out
  [[ $output == "ulmaro: /proc/out: "* ]]
  if ! grep -qa __gcov_ "$ULMARO"; then # coverage writes files of its own at the end
    fails "out: File too large" "ulimit -f 20; $encrypt -o out"
  fi
  [ "$(cat out)" = precious ]
  only_files plain disk out trace
  if [ "$(id -u)" -ne 0 ]; then
    chmod 555 disk
    fails "disk/out: Permission denied" "$encrypt -o disk/out"
  fi
  mount -t tmpfs -o size=64k none disk 2>/dev/null || skip "needs the right to mount"
  cp out disk
  fails "disk/out: No space left on device" "$encrypt -o disk/out"
  cmp out disk/out
  (cd disk && only_files out)
}

teardown() {
  ! mountpoint -q disk || umount disk
}

# A file is at every moment the old one or the new one. Only SIGKILL leaves a temporary one.
@test "an interrupted run leaves the old file" {
  echo precious >out
  for signal in INT TERM HUP QUIT KILL; do
    start_stalled 2000000
    [ "$(modes .ulmaro-*)" = 600 ]
    kill -"$signal" "$job"
    rc=0
    wait "$job" || rc=$?
    [ "$rc" -eq $((128 + $(kill -l "$signal"))) ]
    exec 9>&-
    rm pipe
    [ "$signal" != KILL ] || rm .ulmaro-*
    [ "$(cat out)" = precious ]
    only_files out
  done
}

@test "memory stays small whatever the size" {
  ! grep -qaE '__(asan|tsan|msan)_init' "$ULMARO" || skip "sanitizers need memory of their own"
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
  on_terminal "$ULMARO sm3 small" | not grep -q '%'
  on_terminal "$ULMARO sm3 --no-progress large" | not grep -q '%'
  u sm3 large 2>&1 | not grep -q '%'
}

# Runs a command, a line for the shell, whose reader has gone; leaves its exit code in rc and its standard error in err.
without_reader() {
  { sleep 0.2; bash -c "env $1 2>err; echo \$? >rc"; } | true
}

@test "a reader that goes away ends the run" {
  random_file plain 3000000
  head -c 2000000 plain >blocks
  for command in "sm4 encrypt --key $KEY -i plain" "sm4 decrypt --key $KEY --mode ecb --padding none -i blocks" \
    "sm3 plain"; do
    without_reader "--default-signal=PIPE '$ULMARO' $command"
    [[ "$(cat rc err)" = 141 ]]
    without_reader "--ignore-signal=PIPE '$ULMARO' $command"
    [ "$(cat rc err)" = $'1\nulmaro: standard output: Broken pipe' ]
  done
  only_files plain blocks rc err
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
    decrypt -i sealed -o back
    cmp back plain
    rm sink
  done
}
