#!/bin/sh
# Format and static checks of everything that is tracked. The compile commands are clang's: it does not know all of
# g++'s options.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $test_packages $lint_packages
[ -f build/clang/build.ninja ] || quietly cmake --preset clang
git ls-files '*.c' '*.cpp' '*.h' '*.hpp' | xargs clang-format --dry-run --Werror
git ls-files '*.sh' .ci/run | xargs shellcheck -x
git ls-files 'src/*.cpp' 'tools/*.cpp' 'provider/*.cpp' | grep -v "/arm[._]" |
  xargs -P 2 -n 4 clang-tidy -p build/clang --quiet --warnings-as-errors='*' 2>/dev/null
echo "format and static checks: clean"
