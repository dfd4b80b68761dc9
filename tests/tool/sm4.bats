load common

sm4() {
  "$ULMARO" sm4 "$@"
}

@test "files of every awkward size agree with openssl in both directions" {
  for n in 0 1 15 16 17 31 32 33 1048559 1048560 1048575 1048576 1048577 2097152 2097185; do
    random_file plain "$n"
    openssl enc -sm4-cbc -K $KEY -iv $IV -in plain -out cbc.ref
    openssl enc -sm4-ecb -K $KEY -in plain -out ecb.ref
    sm4 encrypt --key $KEY --iv $IV -i plain -o cbc
    sm4 encrypt --mode ecb --key $KEY <plain >ecb
    cmp cbc cbc.ref
    cmp ecb ecb.ref
    sm4 decrypt --key $KEY --iv $IV -i - -o - <cbc.ref | cmp - plain
    sm4 decrypt --mode ecb --key $KEY -i ecb.ref -o back
    cmp back plain
  done
}

@test "without padding whole blocks keep their size, and others are refused" {
  random_file plain 1048592
  openssl enc -sm4-cbc -nopad -K $KEY -iv $IV -in plain -out ref
  sm4 encrypt --padding none --key $KEY --iv $IV -i plain | cmp - ref
  sm4 decrypt --padding none --key $KEY --iv $IV -i ref | cmp - plain
  : | sm4 encrypt --padding none --key $KEY --iv $IV | cmp - /dev/null
  : | sm4 decrypt --padding none --key $KEY --iv $IV | cmp - /dev/null
  random_file odd 17
  rm plain ref
  refuses 1 sm4 encrypt --padding none --key $KEY -i odd -o out
  refuses 1 sm4 decrypt --padding none --key $KEY --iv $IV -i odd -o out
  only_files odd
}

@test "a random IV is put in front, differs every time, and is found again" {
  random_file plain 1000
  sm4 encrypt --key $KEY -i plain -o one
  sm4 encrypt --key $KEY -i plain -o two
  ! cmp -s one two
  [ "$(stat -c %s one)" -eq 1024 ]
  iv=$(head -c 16 one | od -An -tx1 | tr -d ' \n')
  tail -c +17 one | openssl enc -d -sm4-cbc -K $KEY -iv "$iv" | cmp - plain
  sm4 decrypt --key $KEY -i two | cmp - plain
}

@test "keys come from files in bytes and in digits, also through pipes" {
  random_file plain 100
  sm4 encrypt --key $KEY --iv $IV -i plain -o ref
  printf '\x01\x23\x45\x67\x89\xab\xcd\xef\xfe\xdc\xba\x98\x76\x54\x32\x10' >bytes
  printf '  %s\n' "${KEY^^}" >digits
  for file in bytes digits <(cat digits); do
    sm4 encrypt --key-file "$file" --iv $IV -i plain | cmp - ref
  done
  sm4 encrypt --key-file - --iv $IV -i plain <bytes | cmp - ref
}

@test "wrong keys, IVs and options leave nothing behind" {
  random_file plain 100
  printf '%s0' $KEY >long
  printf '%.15s' $KEY >short
  : >empty
  for key in 00 "${KEY}00" "${KEY%?}" "${KEY%?}g"; do
    refuses 1 sm4 encrypt --key "$key" -i plain -o out
  done
  for file in long short empty missing . /dev/zero; do
    refuses 1 sm4 encrypt --key-file "$file" -i plain -o out
  done
  refuses 1 sm4 encrypt --key $KEY --iv 00 -i plain -o out
  refuses 1 sm4 encrypt --key $KEY -i missing -o out
  refuses 1 sm4 encrypt --key $KEY -i . -o out
  refuses 1 sm4 encrypt --key $KEY -i plain -o missing/out
  refuses 1 sm4 encrypt --key $KEY -i plain -o .
  refuses 2 sm4 encrypt -i plain -o out
  refuses 2 sm4 encrypt --key $KEY --key-file long -i plain -o out
  refuses 2 sm4 encrypt --key $KEY --mode ctr -i plain -o out
  refuses 2 sm4 encrypt --key $KEY --mode ecb --iv $IV -i plain -o out
  refuses 2 sm4 encrypt --key $KEY --padding zero -i plain -o out
  refuses 2 sm4 --key $KEY
  only_files plain long short empty
}

@test "an empty argument is refused everywhere, at once" {
  KEYS=(--key $KEY --iv $IV)
  touch f
  while read -ra words; do
    words=("${words[@]/@/}")
    run --separate-stderr -2 timeout 5 "$ULMARO" "${words[@]}"
    [ -z "$output" ] && [ "${#stderr_lines[@]}" -eq 1 ]
    [[ $stderr == *"an empty argument"* ]] && [[ $stderr != *$KEY* ]]
  done <<CASES
@
sm3 @
sm3 f @
sm3 -- --id @
sm4 @ encrypt
sm4 encrypt @ ${KEYS[*]}
sm4 encrypt ${KEYS[*]} -i f @
sm4 encrypt ${KEYS[*]} -i @
sm4 encrypt ${KEYS[*]} -o @
sm4 encrypt --key @
sm4 encrypt --key-file @
keygen -o @
keygen -o out --pub @
keygen -o out --passphrase-file @
pubkey -k @
digest -k @
convert key --to pem -i @
demo @
CASES
  only_files f
}

@test "damaged, short and wrongly keyed ciphertext is refused and harms no file" {
  random_file plain 1048576
  sm4 encrypt --key $KEY --iv $IV -i plain -o good
  echo precious >out
  chmod 640 out
  # The last block decides about the padding: 00, 17 and an inconsistent run are all wrong.
  for tail in 00 11 0203; do
    { head -c $((16 - ${#tail} / 2)) /dev/zero && printf "$(sed 's/../\\x&/g' <<<"$tail")"; } |
      sm4 encrypt --padding none --key $KEY --iv $IV >"bad$tail"
    refuses 1 sm4 decrypt --key $KEY --iv $IV -i "bad$tail" -o out
    [[ $stderr == *"wrong padding"* ]]
  done
  refuses 1 sm4 decrypt --key "${KEY/0/f}" --iv $IV -i good -o out
  head -c 1048590 good >ragged
  refuses 1 sm4 decrypt --key $KEY --iv $IV -i ragged -o out
  [[ $stderr == *"16-byte blocks"* ]]
  : >nothing
  refuses 1 sm4 decrypt --key $KEY --iv $IV -i nothing -o out
  refuses 1 sm4 decrypt --key $KEY -i nothing -o out
  random_file short 15
  refuses 1 sm4 decrypt --key $KEY -i short -o out
  [ "$(cat out)" = precious ]
  only_files plain good out ragged nothing short bad00 bad11 bad0203
}
