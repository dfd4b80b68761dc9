#!/bin/sh
# Format and static checks of everything that is tracked. Needs the release build for its compile commands.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $test_packages $lint_packages
[ -f build/release/build.ninja ] || quietly cmake --preset release
git ls-files '*.c' '*.cpp' '*.h' '*.hpp' | xargs clang-format --dry-run --Werror
git ls-files '*.sh' .ci/run | xargs shellcheck -x
git ls-files 'src/*.cpp' 'tools/*.cpp' | grep -v /arm_ |
  xargs -P 2 -n 4 clang-tidy -p build/release --quiet --warnings-as-errors='*'
echo "format and static checks: clean"
