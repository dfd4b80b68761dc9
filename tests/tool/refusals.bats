load common

# The files that tests/vectors/refused_work.txt speaks of.
make_files() {
  mkdir folder
  ln -s new link
  : >empty
  echo precious >out
  head -c 4097 /dev/zero >longer
  head -c 65537 /dev/zero >huge
  truncate -s 536870848 large
  echo plain >plain
  printf '%s0' $KEY >key17
  printf '%.15s' $KEY >key15
  # Keys; signatures of the first; a message for it.
  u keygen -o key --pub pub
  u keygen -o other
  echo pass >pw
  sed 's/./!/30' key >damaged
  sed '/END/d' key >open
  sed '/END/s/PRIVATE/PUBLIC/' key >misnamed
  sed 's/PRIVATE/STRANGE/' key >strange
  sed 's/PRIVATE/PUBLIC/' key >published
  sed 's/PUBLIC KEY/CERTIFICATE/' pub >certified
  sed 's/PUBLIC/PRIVATE/' pub >secret
  u sign -k key -i key -o der
  u sign -k key -i key -f raw -o raw
  head -c 63 raw >raw63
  { cat raw; echo; } >raw65
  for n in 126 127 129 130; do printf "%0${n}d" 0 >digits$n; done
  echo "a message of some length" | u encrypt -k pub -f raw -o good
  for at in 0 40 70 110; do # in x, y, C3 and C2
    head -c $at good >bad$at
    tail -c +$((at + 1)) good | head -c 1 | tr '\0-\377' '\1-\377\0' >>bad$at
    tail -c +$((at + 2)) good >>bad$at
  done
  # The last block decides about the padding: 0, 17 and an inconsistent run are all wrong.
  unhex 00000000000000000000000000000000 | sm4 encrypt --padding none >zero
  unhex 11111111111111111111111111111111 | sm4 encrypt --padding none >seventeen
  unhex 03030303030303030303030303030203 | sm4 encrypt --padding none >uneven
  head -c 1048576 /dev/zero | sm4 encrypt --iv $IV >sealed # random bytes under another key might end in padding
  head -c 1048590 sealed >ragged
}

@test "work that cannot be done is refused in one line, and no file is written, lost or left behind" {
  make_files
  before=$(ls -lA --full-time)
  for code in 1 2; do
    vectors refused_work.txt | sed -n "s/^$code //p" | refuses_each $code timeout 20 "$ULMARO"
  done
  refuses 1 u pubkey -k <(cat huge) -o new # no size tells beforehand
  [[ $stderr == *"more than 65536 bytes" ]]
  refuses 1 bash -c '"$ULMARO" keygen -o new --pub /dev/fd/4 3>&- 4>&-' # would be the new file of the private key
  refuses 1 bash -c '"$ULMARO" keygen -o - --pub out --force >>out'
  [[ $stderr == *"both keys"* ]]
  refuses 1 bash -c '"$ULMARO" sign -k - -i pub -o key <key'
  [ "$(ls -lA --full-time)" = "$before" ]
}
