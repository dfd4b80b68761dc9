#!/bin/bash
# What scripts/package.sh made, as its users meet it: the Debian packages are installed into an empty root, the archives
# are unpacked somewhere, the wheels installed into a new environment, where the module's tests run. Against both the README's programs are built and run, and its tool commands; 64-bit Arm under
# the emulator. The libraries are no larger than docs/install.md says, lintian finds no fault, and the packages that ours
# depend on exist.
# usage: packages.sh [amd64 | arm64]...   (default: both)
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/arm64.sh

# shellcheck disable=SC2154,SC2086
need_packages $arm_packages $package_packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
packages=$PWD/build/packages

fail() {
  echo "packages.sh: $*" >&2
  exit 1
}

# The README's programs and commands with what lies in PREFIX; the tool gets LIBRARY_PATH, which an archive needs not.
use() { # PREFIX LIBRARY_DIR PYTHON_DIR LIBRARY_PATH
  local tool=$1/bin/ulmaro
  tests/install/consumers.sh "$2" "${cmake_options[@]}"
  python3 -B tests/docs/links.py "$1/share/doc"
  for file in "$tool" "$2/ossl-modules/ulmaro.so" "$2"/libUlmaro*.so; do
    tests/abi/shipped.sh "$file"
    ! "$READELF" -SW "$file" | grep -Eq '\.(debug_|symtab)' || fail "$file is not stripped"
    [[ $file != */libUlmaro*.so ]] || [ "$(stat -c %s "$file")" -le "$most_bytes" ] ||
      fail "$file is larger than docs/install.md says"
  done
  # shellcheck disable=SC2086
  OPENSSL_MODULES=$2/ossl-modules OPENSSL_CONF=$1/share/ulmaro-openssl-provider/openssl.cnf \
    quietly ${EMULATOR:+$EMULATOR -E LD_LIBRARY_PATH="$mbedtls"} "$2/ulmaro-openssl-provider/ulmaro-provider-check"
  mkdir -p "$work/bin"
  printf '#!/bin/sh\nLD_LIBRARY_PATH=%s exec %s %s "$@"\n' "$4" "$EMULATOR" "$tool" >"$work/bin/ulmaro"
  chmod +x "$work/bin/ulmaro"
  PYTHONPATH=$3 python3 -B tests/docs/pages.py "$1/include" "$2" "$work/bin/ulmaro" README.md
}

# The source package gives the same packages, without a network; a compiler cache may change their build identifiers.
build_from_source() { # DEB...
  lintian --allow-root --fail-on error,warning "$packages"/*.dsc
  quietly dpkg-source --no-check --extract "$packages"/*.dsc "$work/source"
  (cd "$work/source" && quietly unshare -rn dpkg-buildpackage -us -uc -b)
  contents() { dpkg-deb --field "$1" && dpkg-deb --contents "$1" | awk '{ print $1, $2, $3, $6 }'; }
  for deb in "$@"; do diff <(contents "$deb") <(contents "$work/$(basename "$deb")"); done
}

[ $# -gt 0 ] || set -- amd64 arm64
for architecture in "$@"; do
  debs=("$packages"/*_"$architecture".deb)
  case $architecture in
    amd64)
      triplet=x86_64-linux-gnu mbedtls='' cmake_options=() most_bytes=450000
      export CC=cc CXX=c++ EMULATOR='' NM=nm READELF=readelf
      debs+=("$packages"/*_all.deb)
      apt=(apt-get)
      ;;
    arm64)
      triplet=aarch64-linux-gnu mbedtls=$PWD/build/package-arm64/arm64/root/usr/lib/$triplet
      cmake_options=(--toolchain "$PWD/cmake/aarch64-linux-gnu.cmake") most_bytes=330000
      export CC=$triplet-gcc CXX=$triplet-g++ EMULATOR="qemu-aarch64 -L /usr/$triplet" NM=$triplet-nm READELF=$triplet-readelf
      apt=(arm64_apt "$PWD/build/package-arm64/arm64")
      ;;
    *) fail "unknown architecture $architecture" ;;
  esac

  echo "$architecture: Debian packages"
  # A first upload to Debian is asked to close the wish for it; this is none.
  lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "${debs[@]}"
  : >"$work/status" # a machine on which nothing is installed yet
  quietly "${apt[@]}" -o Dir::State::status="$work/status" --simulate --no-install-recommends install "${debs[@]}"
  root=$work/$architecture
  mkdir -p "$root"/var/lib/dpkg/{info,updates}
  touch "$root/var/lib/dpkg/status"
  quietly dpkg --root="$root" --force-depends --force-architecture --install "${debs[@]}"
  libraries=$root/usr/lib/$triplet
  use "$root/usr" "$libraries" "$root/usr/lib/python3/dist-packages" "$libraries:$mbedtls"

  if [ "$architecture" = "$(dpkg --print-architecture)" ]; then
    echo "$architecture: source package"
    build_from_source "${debs[@]}"
  fi

  echo "$architecture: archive"
  tar -C "$work" -xf "$packages"/UlmaroAlgrithm-*-"$architecture.tar.xz"
  archive=$(echo "$work"/UlmaroAlgrithm-*-"$architecture")
  use "$archive" "$archive/lib" "$archive/lib" ''
  # shellcheck disable=SC2086  # a command and its options
  env -i ${EMULATOR:+${EMULATOR% -L *}} "$archive/bin/ulmaro" info | grep -q '^library *in the tool'

  echo "$architecture: wheel"
  quietly python3 -m venv "$work/venv-$architecture"
  quietly "$work/venv-$architecture/bin/pip" install --no-index --find-links "$packages" --only-binary :all: \
    --platform "manylinux_2_25_${triplet%%-*}" --target "$work/wheel-$architecture" ulmaro-algrithm
  cmp "$work/wheel-$architecture/ulmaro_algrithm/libUlmaroAlgrithmHardened.so" "$archive/lib/libUlmaroAlgrithmHardened.so"
  if [ -z "$EMULATOR" ]; then # it has no interpreter
    quietly "$work/venv-$architecture/bin/pip" install --no-index --find-links "$packages" ulmaro-algrithm
    quietly env -i PATH="$PATH" "$work/venv-$architecture/bin/python" -B tests/python/ulmaro_algrithm_test.py \
      HashAndCipher PublicKeys Formats
  fi
done
