load common

FORMATS=(der raw c1c3c2 c1c2c3 c1c3c2-bare c1c2c3-bare)

@test "ciphertexts go both ways with openssl" {
  u keygen -o key --pub pub
  for n in 1 31 32 33 1000 100000; do
    random_file plain $n
    u encrypt -k pub -i plain -o ours
    openssl pkeyutl -decrypt -inkey key -in ours | cmp - plain
    openssl pkeyutl -encrypt -pubin -inkey pub -in plain -out theirs
    u decrypt -k key <theirs | cmp - plain
  done
  u encrypt -k pub -i plain | not cmp -s - ours
  u encrypt -k key --input plain --format der --output ours
  umask 000
  u decrypt --key key --input ours --output back
  cmp back plain
  echo old >old
  chmod 644 old
  u decrypt -k key -i ours -o old
  [ "$(modes back old)" = "600 644" ]
}

@test "every layout is decrypted, and converts into every other" {
  u keygen -o key --pub pub
  random_file plain 50
  for from in "${FORMATS[@]}"; do
    u encrypt -k pub -f "$from" -i plain -o one
    for to in "${FORMATS[@]}"; do
      u convert ciphertext --from "$from" --to "$to" -i one -o two
      u decrypt -k key -f "$to" -i two | cmp - plain
      u convert ciphertext --from "$to" --to "$from" -i two | cmp - one
    done
  done
}

@test "the layouts are these, leading zero bytes kept, and others are refused" {
  while read -r format digits message; do
    unhex "${digits#-}" >file
    if [ -z "$message" ]; then
      [ -e record ] || cp file record
      u convert ciphertext --from "$format" --to raw -i file | cmp - record
      u convert ciphertext --from raw --to "$format" -i record | cmp - file
    else
      refuses 1 u convert ciphertext --from "$format" --to raw -i file -o out
      [ "$stderr" = "ulmaro: file: $message (tried as bytes, hexadecimal digits and base64)" ]
    fi
  done < <(vectors ciphertexts.txt)
  only_files record file
}
