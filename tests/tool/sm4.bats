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

@test "without padding whole blocks keep their size" {
  random_file plain 1048592
  openssl enc -sm4-cbc -nopad -K $KEY -iv $IV -in plain -out ref
  for file in plain /dev/null; do
    sm4 encrypt --padding none --iv $IV -i $file >sealed
    [ $file = /dev/null ] || cmp sealed ref
    sm4 decrypt --padding none --iv $IV -i sealed | cmp - $file
  done
  [ ! -s sealed ]
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

@test "keys come from files in bytes and in digits, also through pipes" {
  random_file plain 100
  sm4 encrypt --iv $IV -i plain -o ref
  unhex $KEY >bytes
  printf '  %s\n' "${KEY^^}" >digits
  for file in bytes digits <(cat digits) -; do
    u sm4 encrypt --key-file "$file" --iv $IV -i plain <bytes | cmp - ref
  done
}
