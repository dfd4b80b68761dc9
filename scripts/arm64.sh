# shellcheck shell=sh
# Sourced after packages.sh by the scripts that need Debian's arm64 packages: downloads them with a package index of
# their own, so that nothing on the machine changes.
#
#   fetch_arm64 FOLDER PACKAGE...    leaves them in FOLDER/debs, unless the same are there
#   unpack_arm64 FOLDER PACKAGE...   and their contents in FOLDER/root

arm64_apt() { # FOLDER ARGUMENT...
  arm64_state=$1
  shift
  apt-get -q -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Sandbox::User=root \
    -o Dir::State::lists="$arm64_state/lists" -o Dir::State::status="$arm64_state/status" \
    -o Dir::Cache="$arm64_state/cache" "$@"
}

fetch_arm64() {
  case $1 in /*) arm64_folder=$1 ;; *) arm64_folder=$PWD/$1 ;; esac
  shift
  [ "$(cat "$arm64_folder/debs/list" 2>/dev/null)" = "$*" ] && return
  rm -rf "$arm64_folder/debs" "$arm64_folder/debs.part" "$arm64_folder/root"
  mkdir -p "$arm64_folder/lists/partial" "$arm64_folder/cache/archives/partial" "$arm64_folder/debs.part"
  : >"$arm64_folder/status"
  quietly arm64_apt "$arm64_folder" update
  (cd "$arm64_folder/debs.part" && quietly arm64_apt "$arm64_folder" download "$@")
  echo "$*" >"$arm64_folder/debs.part/list"
  mv "$arm64_folder/debs.part" "$arm64_folder/debs"
}

unpack_arm64() {
  fetch_arm64 "$@"
  [ -d "$1/root" ] && return
  rm -rf "$1/root.part"
  for package in "$1"/debs/*.deb; do dpkg-deb -x "$package" "$1/root.part"; done
  mv "$1/root.part" "$1/root"
}

# What the tests of the cross build link and run.
# shellcheck disable=SC2034
arm64_test_packages="libgtest-dev libgmp-dev libssl-dev libssl3 openssl"
