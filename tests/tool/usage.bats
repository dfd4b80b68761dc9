load common

@test "wrong usage is refused at once, and no key is printed" {
  touch f
  vectors wrong_usage.txt | refuses_each 2 timeout 5 "$ULMARO"
  run -2 --separate-stderr u sm4 encrypt --key $KEY ''
  [[ ${#stderr_lines[@]} -eq 1 && $stderr != *$KEY* ]]
  run -2 --separate-stderr u sm4
  [ "${stderr_lines[1]}" = "Try 'ulmaro --help' or 'ulmaro COMMAND --help'." ]
  only_files f
}

@test "help, version, info and the demo" {
  run -0 u --version
  [ "$output" = "ulmaro $(sed -n 's/.*_VERSION "\(.*\)".*/\1/p' "$BATS_TEST_DIRNAME/../../include/UlmaroAlgrithm.h")" ]
  run -0 u sm4 encrypt --help
  run -0 u info
  [[ $output == *libUlmaroAlgrithmHardened.so*"getrandom"*"kernels    "*"SM3 "* ]]
  random_file sample 5000
  mkdir empty
  run -0 env TMPDIR=empty "$ULMARO" demo sample
  [[ $output == *"$(openssl dgst -sm3 -r sample | cut -c1-64)"*valid*refused*"the same key"*identical* ]]
  run -0 u demo
  run -1 u demo missing
  run -1 u demo - <sample
  [ "$output" = "ulmaro: standard input: the demo needs a regular file with content" ]
  rmdir empty
  only_files sample
}

@test "bench names the kernels and gives a rate for every line" {
  run --separate-stderr -0 u bench --time 0.001
  [ -z "$stderr" ]
  [[ "${lines[0]}" =~ ^Kernels\ in\ use\ +SM2\ [a-z0-9-]+,\ SM3\ [a-z0-9-]+,\ SM4\ [a-z0-9-]+$ ]]
  [ "${#lines[@]}" -eq 11 ]
  for line in "${lines[@]:1}"; do
    [[ "$line" =~ \ [1-9][0-9.]*\ (/s|MB/s)$ ]]
  done
}

@test "a mistyped word is recognised" {
  while IFS='|' read -r arguments meant; do
    read -ra arguments <<<"$arguments"
    refuses 2 u "${arguments[@]}"
    [[ ${stderr_lines[0]} == *"$meant" ]]
  done <<'END'
sing -k key|; did you mean 'sign'?
sign --kye key|; did you mean '--key'?
sm4 encript|; did you mean 'encrypt'?
sm3 --chekc file|; did you mean '--check'?
sign --nonsense|--key is required
END
}

@test "results come as JSON too" {
  json() { python3 -c 'import json, sys
for line in sys.stdin: print(sorted(json.loads(line).items()))'; }
  u keygen -o key
  printf a >$'a"\xff\n'
  sum=$(u sm3 -z $'a"\xff\n' | cut -c1-64)
  [ "$(u sm3 --json $'a"\xff\n' | json)" = "[('file', 'a\"\\udcff\\n'), ('sm3', '$sum')]" ]
  printf '%s  key\n%s  missing\n' "$sum" "$sum" >sums
  [ "$(u sm3 --check --json sums 2>/dev/null | json)" = "[('file', 'key'), ('ok', False)]
[('file', 'missing'), ('ok', None)]" ]
  u digest -k key -i key --json | json | grep -qE "^\[\('e', '[0-9a-f]{64}'\), \('z', '[0-9a-f]{64}'\)\]$"
  u info --json | json | grep -q "('kernels', 'SM2 "
  u sign -k key -i key -o signature
  [ "$(u verify -k key -i key -s signature --json | json)" = "[('valid', True)]" ]
  [ "$(u verify -k key -i signature -s signature --json 2>/dev/null | json)" = "[('reason', 'the signature is not valid'), ('valid', False)]" ]
}
