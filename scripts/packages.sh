# shellcheck shell=sh disable=SC2034
# Sourced by the other scripts: installs the Debian packages that are missing. Prints nothing when none is.
#
#   need_packages PACKAGE...

need_packages() {
  missing=
  for package in "$@"; do
    case $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) in
      'install ok installed') ;;
      *) missing="$missing $package" ;;
    esac
  done
  [ -z "$missing" ] && return
  sudo=
  [ "$(id -u)" = 0 ] || sudo=sudo
  echo "Installing:$missing"
  log=$(mktemp)
  # shellcheck disable=SC2086  # the list is words
  if ! { $sudo apt-get update -q && $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -qy \
    --no-install-recommends $missing; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}

# Runs a command; shows what it printed only when it fails.
quietly() {
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}

# The version that CMakeLists.txt gives the project.
project_version() { sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' CMakeLists.txt; }

build_packages="cmake g++ ninja-build python3 libcli11-dev libmbedtls-dev libssl-dev"
test_packages="libgtest-dev openssl libgmp-dev bats pkg-config binutils libbenchmark-dev libgcrypt20-dev libbotan-2-dev valgrind mypy doxygen mandoc bsdextrautils strace qemu-user"
arm_packages="g++-aarch64-linux-gnu qemu-user"
proof_packages="python3-z3 python3-sympy python3-pyelftools binutils binutils-aarch64-linux-gnu"
lint_packages="clang clang-format clang-tidy shellcheck"
fuzz_packages="clang libclang-rt-dev llvm libssl-dev libgmp-dev"
package_packages="dpkg-dev python3-venv xz-utils lintian abigail-tools pkg-config"
