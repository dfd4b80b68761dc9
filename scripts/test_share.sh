#!/bin/sh
# Prints how many lines of tests there are beside those of everything else, and fails when they are more than a third of
# them: non-blank lines of the code files that git knows. A proof is neither.
set -eu
cd "$(dirname "$0")/.."
lines() { # GREP_OPTION: everything else with -v
  git ls-files | grep -E '\.(cpp|hpp|h|c|inl|S|py|pyi|sh|bats|bash|cmake|map|in)$|CMakeLists\.txt$|^\.ci/run$' |
    grep -v '^proof/' | grep "$@" '^tests/' | xargs cat | grep -c '[^[:space:]]'
}
tests=$(lines -e)
others=$(lines -v -e)
echo "tests: $tests lines for $others of other code, $((100 * tests / others)) %"
[ $((3 * tests)) -le "$others" ]
