load common

# Sealed under a passphrase, so that opening takes a while; so the files for a key are the ones to damage.
setup_file() { export LABEL='ulmaro sealed file,'; }

@test "what was sealed is opened, and nothing else" {
  u keygen -o key --pub pub
  u keygen -o other
  echo word >pw
  echo wrong >wrong
  for n in 0 1 65535 65536 65537 200000; do
    random_file file $n
    u seal -k pub -i file -o sealed
    u open -k key <sealed | cmp - file
  done
  u seal -k pub <file | not cmp -s - sealed
  u seal --passphrase-file pw -i file -o under
  u open --passphrase-file pw -i under -o back
  cmp back file
  [ "$(modes back)" = 600 ]
  rm back
  refuses 1 u open -k other -i sealed -o out
  refuses 1 u open -i sealed -o out
  refuses 1 u open --passphrase-file wrong -i under -o out
  refuses 1 u open -k key -i file -o out
  refuses 2 u seal -k pub --passphrase-file pw -i file -o out
  refuses 2 u seal -i file -o out
  only_files key pub other pw wrong file sealed under
}

@test "no change of a sealed file goes unnoticed" {
  u keygen -o key --pub pub
  printf 0123456789 | u seal -k pub -o small
  size=$(stat -c %s small)
  for ((at = 0; at < size; at++)); do
    { head -c $at small; tail -c +$((at + 1)) small | head -c 1 | tr '\0-\377' '\200-\377\0-\177'; tail -c +$((at + 2)) small; } >bad
    refuses 1 u open -k key -i bad -o out
    head -c $at small >bad
    refuses 1 u open -k key -i bad -o out
  done
  { cat small; printf x; } >bad
  refuses 1 u open -k key -i bad -o out

  random_file file 200000 # four pieces
  u seal -k pub -i file -o sealed
  head=$(($(stat -c %s sealed) - 200000 - 4 * 32))
  piece() { tail -c +$((head + 1 + $1 * 65568)) sealed | head -c 65568; }
  for order in '0 1 2' '1 0 2 3' '0 1 1 2 3' '0 2 3' '0 1 2 3 3' '3' ''; do
    { head -c $head sealed; for i in $order; do piece "$i"; done; } >bad
    refuses 1 u open -k key -i bad -o out
  done
  { head -c $head sealed; for i in 0 1 2 3; do piece $i; done; } | u open -k key | cmp - file
  # On standard output only what is authentic appears, and the exit code says that it is not all.
  { head -c $((head + 65568 + 100)) sealed; printf x; } >bad
  run -1 sh -c '"$ULMARO" open -k key -i bad >part'
  cmp part <(head -c 65536 file)
  not ls out
}

@test "the format is the documented one, made with openssl" {
  echo word >pw
  printf 'some text' >file
  u seal --passphrase-file pw -i file -o sealed
  digits=$(tohex <sealed)
  [ "${digits:0:24}" = 89554c4d41524f0a1a010214 ] # a passphrase, 20 bytes
  header=${digits:0:64}
  [ "${header:56}" = 000f4240 ] # a million iterations
  key=$(openssl kdf -keylen 32 -kdfopt digest:SM3 -kdfopt pass:word -kdfopt "hexsalt:${header:24:32}" \
    -kdfopt iter:1000000 PBKDF2 | tr -d ':\n')
  mac() { openssl mac -digest SM3 -macopt hexkey:"$1" HMAC | tr -d '\n' | tr A-F a-f; }
  derived() { { printf '%s %s' "$LABEL" "$1"; unhex "$header"; } | mac "$key"; }
  ciphertext=${digits:64:18}
  unhex "$ciphertext" | openssl enc -d -sm4-ctr -K "$(derived encryption | cut -c1-32)" -iv "$(printf '%032d' 0)" | cmp - file
  [ "${digits:82}" = "$(unhex "$(printf '%016d' 0)01$ciphertext" | mac "$(derived authentication)")" ]

  # An empty piece behind a full one would be a second form of the same content.
  head -c 65536 /dev/zero | openssl enc -sm4-ctr -K "$(derived encryption | cut -c1-32)" -iv "$(printf '%032d' 0)" >full
  tag() { { unhex "$1"; cat; } | mac "$(derived authentication)"; }
  { unhex "$header"; cat full; unhex "$(tag 000000000000000000 <full)$(tag 000000000000000101 </dev/null)"; } >two
  refuses 1 u open --passphrase-file pw -i two -o out
  [[ $stderr == *'two: cut off' ]]
}
