load common

# Both tools over the same arguments, their names and digests made equal; ours tells wrong digests from other trouble.
same_as_coreutils() {
  local ours theirs ours_rc=0 theirs_rc=0
  theirs=$(sha256sum "$@" 2>&1) || theirs_rc=$?
  ours=$("$ULMARO" sm3 "${@//sha256/sm3}" 2>&1) || ours_rc=$?
  diff <(echo "$theirs" | sed -E 's/sha256sum/ulmaro/; s/SHA256/SM3/; s/[0-9a-f]{64}/H/; s/sha256/sm3/') \
    <(echo "$ours" | sed -E 's/[0-9a-f]{64}/H/')
  [ $((ours_rc != 0)) -eq "$theirs_rc" ]
}

@test "digests agree with openssl around every block edge" {
  for n in 0 1 55 56 63 64 65 119 120 128 4095 262143 262144 262145; do
    random_file "f$n" "$n"
    [ "$(u sm3 "f$n")" = "$(openssl dgst -sm3 -r "f$n" | cut -c1-64)  f$n" ]
  done
  printf abc | u sm3 | grep -qx '66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0  -'
  printf abc | u sm3 - f0 | cut -c67- | xargs | grep -qx -- '- f0'
}

@test "printed lines, names and failures are those of the sum family" {
  touch plain 'two words' '[a,b]' sm4 'a) = b' ./-x 'back\slash' $'new\nline' $'re\rturn'
  same_as_coreutils plain 'two words' '[a,b]' sm4 'back\slash' $'new\nline' $'re\rturn'
  same_as_coreutils -b plain -- -x
  same_as_coreutils --tag --binary plain 'back\slash' 'a) = b'
  same_as_coreutils plain missing -b . sm4 '[a,b]'
  cmp <(u sm3 -z $'new\nline' | tail -c +65) <(sha256sum -z $'new\nline' | tail -c +65)
}

@test "checking says what the sum family says" {
  for sum in sha256sum "$ULMARO sm3"; do
    list=sm3.list
    [ "$sum" = sha256sum ] && list=sha256.list
    printf data | tee good bad gone x 'a) = b' $'\r\n\\' >/dev/null
    $sum good bad gone x $'\r\n\\' >$list
    $sum --tag good x 'a) = b' >>$list
    $sum -b good | tr a-f A-F | sed 's/$/\r/' | sed 's/GOOD/good/' >>$list
    printf '# a comment\n\nnot a checksum line\n%064d\n%064d good\n  %s\n' 0 1 "$($sum good)" >>$list
    grep ' good$' $list | tail -1 >one.$list
    echo garbage >none.$list
    $sum good gone | sed '1s/../zz/' >strict.$list
    cat $list none.$list >two.$list
  done
  printf other >bad
  rm gone
  # The family takes "DIGEST NAME" with one blank as another format, which is not offered here.
  sed -i '/^0*1 good$/d' ./*.list
  for option in --check --warn --quiet --status --strict --ignore-missing; do
    for list in sha256.list one.sha256.list strict.sha256.list; do
      same_as_coreutils --check $option $list
    done
  done
  same_as_coreutils -c one.sha256.list none.sha256.list two.sha256.list missing.sha256.list
  sed -i 's/good/gone/' one.*
  same_as_coreutils -c --ignore-missing one.sha256.list
  same_as_coreutils -c --ignore-missing --status one.sha256.list
  u sm3 good | u sm3 -c | grep -qx 'good: OK'
  u sm3 -c <(openssl dgst -sm3 good)
}

@test "a wrong digest, other trouble and what is no line are told apart" {
  touch good bad gone
  u sm3 good >good.list
  u sm3 good gone >gone.list
  u sm3 bad gone >bad.list
  digest=$(cut -c1-64 good.list)
  printf '%s\n' "\\$digest  a\\x" "\\$digest  a\\" "$digest  " "${digest}x good" \
    "SM3 () = $digest" "SM3 (good) = ${digest}0" "$digest  good@x" | tr @ '\0' >none.list
  printf '%s\n' "$digest  good" "$digest  ." >folder.list
  cat good.list none.list >some.list
  rm gone
  echo >bad
  while read -r code arguments; do
    read -ra words <<<"$arguments"
    run -"$code" u sm3 --check "${words[@]}"
  done <<'CASES'
0 good.list
0 some.list
2 some.list --strict
1 bad.list
1 bad.list gone.list
2 gone.list
0 gone.list --ignore-missing
2 folder.list --ignore-missing
2 none.list
2 good.list missing.list
CASES
  u sm3 -cw some.list 2>&1 | grep -c 'some.list: [2-8]: improperly' | grep -qx 7
  refuses 2 u sm3 --check .
  [ "$stderr" = "ulmaro: .: read error" ]
  refuses 2 timeout 10 "$ULMARO" sm3 --check /dev/zero
  run -2 u sm3 --check - <<<"$digest  -" # standard input cannot be the list and a file in it
  run -2 sh -c '"$ULMARO" sm3 --check good.list >/dev/full'
  run -1 sh -c '"$ULMARO" sm3 good >/dev/full'
  [ "$output" = "ulmaro: standard output: No space left on device" ]
}

@test "several jobs print what one does" {
  random_file large 4000000
  for n in {1..300}; do echo "$n" >"f$n"; done
  "$ULMARO" sm3 large f{1..300} | sed '7s/^/x/; 250s/  f/  g/; 260s/  f.*/  f1/' >list
  while read -r code arguments; do
    for jobs in 1 4; do
      # shellcheck disable=SC2086
      run -"$code" "$ULMARO" sm3 --jobs $jobs $arguments
      echo "$output" >"printed$jobs"
    done
    cmp printed1 printed4
  done <<CASES
1 large $(echo f{1..300}) missing . f1
1 --check --warn list
CASES
  cmp <(printf data | "$ULMARO" sm3 --jobs 4 large - f1 -) <(printf data | "$ULMARO" sm3 large --jobs=1 - f1 -)
  refuses 2 "$ULMARO" sm3 --jobs 0 f1
}

@test "nothing in a name is obeyed by the terminal" {
  name=$'e\e[31m\x7f\xc2\x9b\xff\xc3(\xc3\xa9'
  seen='e\033[31m\177\302\233\377\303(é'
  u sm3 <(:) | sed "s|/.*|$name|" >list
  run -2 --separate-stderr u sm3 --check list
  [ "$output" = "$seen: FAILED open or read" ]
  [ "${stderr_lines[0]}" = "ulmaro: $seen: No such file or directory" ]
  refuses 1 u sm3 "$name"$'\n'
  [ "$stderr" = "ulmaro: $seen\\n: No such file or directory" ]
  touch "$name"
  [ "$(u sm3 "$name" | cut -c67-)" = "$name" ]
  script -qec "$ULMARO sm3 e*" /dev/null | grep -qF "  $seen"
  refuses 2 u sm3 --jobs "$name"
  [[ $stderr == *"$seen"* ]]
}
