#!/bin/sh
# Makes a release of the checked-out commit: tests it, packages it for both architectures into build/packages/, writes
# SHA256SUMS there and prints it.
# usage: release.sh [--skip-tests]
#   --skip-tests  for a trial run; the version then needs no date in CHANGELOG.md
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

refuse() {
  echo "release.sh: $*" >&2
  exit 1
}

tests=yes
case ${1-} in
  '') ;;
  --skip-tests) tests=no ;;
  *) sed -n 's/^# //p' "$0" >&2 && exit 2 ;;
esac

version=$(project_version)
[ -z "$(git status --porcelain)" ] || refuse "the tree has changes that are not committed"
entry=$(grep -F "## [$version] - " CHANGELOG.md) || refuse "CHANGELOG.md does not name version $version"
if [ $tests = yes ]; then
  case $entry in
    *-\ [0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]) ;;
    *) refuse "version $version has no date in CHANGELOG.md" ;;
  esac
  scripts/test.sh
  # shellcheck disable=SC2154,SC2086
  need_packages $arm_packages
  quietly cmake --preset aarch64
  quietly cmake --build --preset aarch64
  ctest --preset aarch64
  ctest --preset aarch64-plain
fi

rm -rf build/packages
scripts/package.sh
scripts/abi.sh
[ $tests = no ] || tests/install/packages.sh
cd build/packages
sha256sum -- *.deb *.tar.xz *.dsc *.whl >SHA256SUMS
echo "Version $version of commit $(git rev-parse --short HEAD), in build/packages:"
cat SHA256SUMS
