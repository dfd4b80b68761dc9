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
