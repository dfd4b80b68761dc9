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
      [ "$stderr" = "ulmaro: file: $message" ]
    fi
  done < <(vectors ciphertexts.txt)
  only_files record file
}

@test "damaged and foreign ciphertext is refused without an output" {
  u keygen -o key --pub pub
  u keygen -o other
  echo "a message of some length" >plain
  u encrypt -k pub -f raw -i plain -o good
  for at in 0 40 70 110; do # in x, y, C3 and C2
    head -c $at good >bad$at
    tail -c +$((at + 1)) good | head -c 1 | tr '\0-\377' '\1-\377\0' >>bad$at
    tail -c +$((at + 2)) good >>bad$at
  done
  files=(*)
  refuses_each 1 u <<'CASES'
decrypt -k key -f raw -i bad0 -o out | decryption failed: the key is wrong or the ciphertext is damaged
decrypt -k key -f raw -i bad40 -o out | decryption failed
decrypt -k key -f raw -i bad70 -o out | decryption failed
decrypt -k key -f raw -i bad110 -o out | decryption failed
decrypt -k other -f raw -i good -o out | decryption failed
decrypt -k key -f c1c3c2-bare -i good -o out | decryption failed
decrypt -k key -i good -o out | good: not the expected DER
decrypt -k pub -f raw -i good -o out | pub: a public key, but a private one is needed
decrypt -k key -f raw -i good -o /dev/full | No space left on device
CASES
  only_files "${files[@]}"
}

@test "the limits of encryption are checked" {
  u keygen -o key --pub pub
  : >empty
  truncate -s 536870848 large
  refuses_each 1 u <<'CASES'
encrypt -k pub -i empty -o out | empty: empty, and SM2 cannot encrypt an empty message
encrypt -k pub -i large -o out | more than 536870847 bytes
encrypt -k pub -i missing -o out | missing: No such file
CASES
  only_files key pub empty large
}
