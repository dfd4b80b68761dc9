load common

@test "files of every awkward size agree with openssl in both directions" {
  for n in 0 1 15 16 17 31 32 33 1048559 1048560 1048575 1048576 1048577 2097152 2097185; do
    random_file plain "$n"
    openssl enc -sm4-cbc -K $KEY -iv $IV -in plain -out cbc
    openssl enc -sm4-ecb -K $KEY -in plain -out ecb
    sm4 encrypt --iv $IV -i plain | cmp - cbc
    sm4 encrypt --mode ecb <plain | cmp - ecb
    sm4 decrypt --iv $IV -i - -o - <cbc | cmp - plain
    sm4 decrypt --mode ecb -i ecb -o back
    cmp back plain
  done
}

@test "without padding whole blocks keep their size, and others are refused" {
  random_file plain 1048592
  openssl enc -sm4-cbc -nopad -K $KEY -iv $IV -in plain -out ref
  for file in plain /dev/null; do
    sm4 encrypt --padding none --iv $IV -i $file >sealed
    [ $file = /dev/null ] || cmp sealed ref
    sm4 decrypt --padding none --iv $IV -i sealed | cmp - $file
  done
  [ ! -s sealed ]
  random_file odd 17
  refuses 1 sm4 encrypt --padding none -i odd -o out
  refuses 1 sm4 decrypt --padding none --iv $IV -i odd -o out
  only_files plain ref sealed odd
}

@test "a random IV is put in front, differs every time, and is found again" {
  random_file plain 1000
  sm4 encrypt -i plain -o one
  sm4 encrypt -i plain -o two
  not cmp -s one two
  [ "$(stat -c %s one)" -eq 1024 ]
  tail -c +17 one | openssl enc -d -sm4-cbc -K $KEY -iv "$(head -c 16 one | tohex)" | cmp - plain
  sm4 decrypt -i two | cmp - plain
}

@test "keys come from files in bytes and in digits, also through pipes, or leave nothing behind" {
  random_file plain 100
  sm4 encrypt --iv $IV -i plain -o ref
  unhex $KEY >bytes
  printf '  %s\n' "${KEY^^}" >digits
  for file in bytes digits <(cat digits) -; do
    u sm4 encrypt --key-file "$file" --iv $IV -i plain <bytes | cmp - ref
  done
  printf '%s0' $KEY >long
  printf '%.15s' $KEY >short
  : >empty
  for file in long short empty missing . /dev/zero; do
    refuses 1 u sm4 encrypt --key-file "$file" -i plain -o out
  done
  refuses_each 1 u sm4 encrypt -i plain <<CASES
--key 00 -o out | the key must be 16 bytes, 32 hexadecimal digits
--key ${KEY}00 -o out | the key must be 16 bytes
--key ${KEY%?} -o out | the key must be 16 bytes
--key ${KEY%?}g -o out | the key is not hexadecimal
--key $KEY --iv 00 -o out | the IV must be 16 bytes
--key $KEY -o missing/out | missing/out: No such file or directory
--key $KEY -o . | .: Is a directory
CASES
  only_files plain ref bytes digits long short empty
}

@test "damaged, short and wrongly keyed ciphertext is refused and harms no file" {
  # The last block decides about the padding: 0, 17 and an inconsistent run are all wrong.
  unhex 00000000000000000000000000000000 | sm4 encrypt --padding none --iv $IV >zero
  unhex 11111111111111111111111111111111 | sm4 encrypt --padding none --iv $IV >seventeen
  unhex 03030303030303030303030303030203 | sm4 encrypt --padding none --iv $IV >uneven
  head -c 1048576 /dev/zero | sm4 encrypt --iv $IV -o good # random bytes under another key might end in padding
  head -c 1048590 good >ragged
  head -c 15 good >short
  : >nothing
  echo precious >out
  files=(*)
  refuses_each 1 u sm4 decrypt -o out <<CASES
--key $KEY --iv $IV -i zero | zero: wrong padding
--key $KEY --iv $IV -i seventeen | seventeen: wrong padding
--key $KEY --iv $IV -i uneven | uneven: wrong padding
--key ${KEY/0/f} --iv $IV -i good | good: wrong padding
--key $KEY --iv $IV -i ragged | ragged: the ciphertext is not a whole number of 16-byte blocks
--key $KEY --iv $IV -i nothing | nothing: too short: padded ciphertext has at least one block
--key $KEY -i nothing | nothing: too short to begin with an initialisation vector
--key $KEY -i short | short: too short to begin
CASES
  [ "$(cat out)" = precious ]
  only_files "${files[@]}"
}
