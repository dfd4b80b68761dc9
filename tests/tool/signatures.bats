load common

# The standard's example: key, e of "message digest" under the default identity, and the signature for its k.
D=3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8
Z=b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3
E=f0b43e94ba45accaace692ed534382eb17e6ab5a19ce7b31f4486fdfc0d28640
R=f5a03b0648d2c4630eeac513e1bb81a15944da3827d5b74143ac7eaceee720b3
S=b1b6aa29df212fd8763182bc0d421ca1bb9038fd1f7f42d4840b69c485bbc1aa

@test "the standard's example" {
  echo $D >key
  printf 'message digest' >message
  run -0 u digest -k key -i message
  [ "$output" = "Z = $Z"$'\n'"e = $E" ]
  u digest -k key -i message --id ALICE123@YAHOO.COM |
    grep -qx 'Z = 26db4bc1839bd22e97e1dab667ec5e0a730d5e16521398b4435c576a93afd7ed'
  echo $R$S >signature
  u verify -k key -i message -s signature -f hex
  u verify -k key --digest $E -s signature -f hex
}

@test "signatures go both ways with openssl, under every identity" {
  u keygen -o key --pub pub
  random_file message 100000
  long=$(printf 'x%.0s' {1..8190}) # one byte more is allowed, but not by openssl
  for id in '' 1234567812345678 ALICE123@YAHOO.COM "$long"; do
    u sign -k key --id "$id" -i message -o ours
    openssl dgst -sm3 -verify pub -sigopt "distid:$id" -signature ours message
    openssl dgst -sm3 -sign key -sigopt "distid:$id" -out theirs message
    u verify -k pub --id "$id" -i message -s theirs
    refuses 1 u verify -k pub --id "${id}0" -i message -s theirs
  done
  u digest -k pub --id "${long}x" -i message
  refuses 1 u digest -k pub --id "${long}xx" -i message
  u sign -k key <message >ours
  u sign -k key --digest "$(u digest -k pub <message | sed -n 's/^e = //p')" -o of_digest
  for signature in ours of_digest; do
    openssl dgst -sm3 -verify pub -sigopt distid:1234567812345678 -signature $signature message
    u verify -k key -s $signature <message
  done
}

@test "signatures are strict DER, or 64 bytes, or their digits" {
  while read -r der raw; do
    unhex "$der" >file
    if [[ $raw =~ ^[0-9a-f]{128}$ ]]; then
      u convert signature --from der --to hex -i file | grep -qx "$raw"
      echo "$raw" | u convert signature --from hex --to raw | u convert signature --from raw --to der | cmp - file
    else
      refuses 1 u convert signature --from der --to raw -i file -o out
      [ "$stderr" = "ulmaro: file: $raw (tried as bytes, hexadecimal digits and base64)" ]
    fi
  done < <(vectors signatures.txt)
  only_files file
  u keygen -o key
  for format in der raw hex; do
    echo text | u sign -k key -f $format -o signature
    echo text | u verify -k key -f $format -s signature
  done
}

@test "what is not the signature is refused, and said on standard error only" {
  u keygen -o key --pub pub
  echo text >message
  u sign -k key -i message -o der
  u sign -k key -i message -f raw -o raw
  raw=$(tohex <raw)
  n=fffffffeffffffffffffffffffffffff7203df6b21c6052b53bbf40939d54123
  zero=$(printf '%064d' 0)
  for bad in "${raw:64}${raw:0:64}" "$n${raw:64}" "${raw:0:64}$n" "$zero${raw:64}" "${raw:0:64}$zero" $zero$zero; do
    echo "$bad" >bad
    refuses 1 u verify -k pub -i message -f hex -s bad
    [ "$stderr" = "ulmaro: the signature is not valid" ]
  done
  run -2 sh -c '"$ULMARO" verify -k pub -i message -s der >/dev/full'
}

@test "a failure says what would have fitted" {
  u keygen -o key --pub pub
  echo text >message
  u sign -k key -i message --id '' -o empty
  u sign -k key -i message -f raw -o raw
  u sign -k key --digest "$(u sm3 message | cut -c1-64)" -o bare
  u sign -k key -i message -o usual
  u encrypt -k pub -i message -f c1c2c3 -o sealed
  while IFS='|' read -r arguments words; do
    read -ra arguments <<<"$arguments"
    run --separate-stderr -1 u "${arguments[@]}" -i message
    [[ $stderr == *"it is valid$words" ]]
  done <<'END'
verify -k pub -s empty| with --id ''
verify -k pub -s raw| with --format raw
verify -k pub -s bare| for the digest of the message alone, without Z: see --digest
verify -k pub -s usual --id other| without --id
END
  mkfifo pipe
  echo other >pipe &
  run -1 timeout 5 "$ULMARO" verify -k pub -s usual -i pipe # which cannot be read again
  for format in der raw c1c3c2; do
    refuses 1 u decrypt -k key -i sealed -f $format -o out
    [[ $stderr == *"; it can be decrypted with --format c1c2c3" ]]
  done
  not ls out
}
