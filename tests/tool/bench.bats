load common

@test "bench names the kernels and gives a rate for every line" {
  run --separate-stderr "$ULMARO" bench --time 0.001
  [ "$status" -eq 0 ]
  [ -z "$stderr" ]
  [[ "${lines[0]}" =~ ^Kernels\ in\ use\ +SM2\ [a-z0-9-]+,\ SM3\ [a-z0-9-]+,\ SM4\ [a-z0-9-]+$ ]]
  [ "${#lines[@]}" -eq 11 ]
  for line in "${lines[@]:1}"; do
    [[ "$line" =~ \ [1-9][0-9.]*\ (/s|MB/s)$ ]]
  done
}

@test "bench refuses a time that is none" {
  refuses 2 "$ULMARO" bench --time 0
  refuses 2 "$ULMARO" bench --time soon
}
