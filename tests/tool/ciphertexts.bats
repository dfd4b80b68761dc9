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
  u encrypt -k pub -i plain | cmp -s - ours && false
  u encrypt -k key --input plain --format der --output ours
  umask 000
  u decrypt --key key --input ours --output back
  cmp back plain
  echo old >old
  chmod 644 old
  u decrypt -k key -i ours -o old
  [ "$(stat -c %a back old | tr '\n' ' ')" = "600 644 " ]
}

@test "every layout is decrypted, and converts into every other" {
  u keygen -o key --pub pub
  random_file plain 50
  u encrypt -k pub -i plain -o der
  for to in "${FORMATS[@]}"; do
    u convert ciphertext --from der --to "$to" -i der -o "$to"
    u decrypt -k key -f "$to" -i "$to" | cmp - plain
    u encrypt -k pub -f "$to" -i plain | u decrypt -k key -f "$to" | cmp - plain
    for from in "${FORMATS[@]}"; do
      u encrypt -k pub -f "$from" -i plain -o one
      u convert ciphertext --from "$from" --to "$to" -i one -o two
      u convert ciphertext --from "$to" --to "$from" -i two | cmp - one
    done
  done
}

@test "the layouts are these, leading zero bytes kept" {
  x=00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff
  y=80112233445566778899aabbccddeeff00112233445566778899aabbccddeeff
  c3=c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3c3
  c2=a1a2a3
  unhex "$x$y$c3 03000000 $c2" >record
  while read -r format digits; do
    [ "$(u convert ciphertext --from raw --to "$format" -i record | tohex)" = "${digits// /}" ]
    unhex "$digits" | u convert ciphertext --from "$format" --to raw | cmp - record
  done <<CASES
der 306b 021f${x#00} 022100$y 0420$c3 0403$c2
c1c3c2 04$x$y$c3$c2
c1c2c3 04$x$y$c2$c3
c1c3c2-bare $x$y$c3$c2
c1c2c3-bare $x$y$c2$c3
CASES
  unhex "3068 021f${x#00} 022100$y 0420$c3 0400" | refuses 1 u convert ciphertext --from der --to raw # no message
}

@test "damaged, truncated and foreign ciphertext is refused without an output" {
  u keygen -o key --pub pub
  u keygen -o other
  echo "a message of some length" >plain
  u encrypt -k pub -f raw -i plain -o good
  digits=$(tohex <good)
  : >empty
  head -c 100 good >nothing
  head -c 124 good >short
  { cat good; echo; } >long
  u convert ciphertext --from raw --to der -i good -o der
  head -c 40 der >short.der
  { cat der; echo; } >long.der
  files=(*)
  # one bit in x, y, C3, the length and C2
  for at in 0 40 70 96 110; do
    byte=$((0x${digits:$((2 * at)):2} ^ 1))
    unhex "${digits:0:$((2 * at))}$(printf %02x $byte)${digits:$((2 * at + 2))}" >../bad
    refuses 1 u decrypt -k key -f raw -i ../bad -o out
  done
  for file in empty nothing short long; do
    refuses 1 u decrypt -k key -f raw -i $file -o out
  done
  for file in empty short.der long.der good; do
    refuses 1 u decrypt -k key -i $file -o out
  done
  refuses 1 u decrypt -k other -f raw -i good -o out
  refuses 1 u decrypt -k pub -f raw -i good -o out
  refuses 1 u decrypt -k key -f c1c3c2 -i good -o out
  refuses 1 u decrypt -k key -f c1c2c3 -i good -o out
  refuses 1 u decrypt -k key -f c1c3c2-bare -i empty -o out
  for from in "${FORMATS[@]}"; do
    refuses 1 u convert ciphertext --from "$from" --to der -i empty -o out
  done
  run -1 u decrypt -k key -f raw -i good -o /dev/full
  only_files "${files[@]}"
}

@test "the limits of encryption are checked" {
  u keygen -o key --pub pub
  : >empty
  refuses 1 u encrypt -k pub -i empty -o out
  truncate -s 536870848 large
  refuses 1 u encrypt -k pub -i large -o out
  [[ $stderr == *"more than 536870847 bytes"* ]]
  refuses 1 u encrypt -k pub -i missing -o out
  refuses 2 u encrypt -i empty -o out
  refuses 2 u encrypt -k pub -f c3 -i empty -o out
  [ ! -e out ]
}
