# shellcheck shell=sh
# Sourced after packages.sh by the scripts that need Debian's arm64 packages: downloads them with a package index of
# their own, so that nothing of the machine's changes.
#
#   fetch_arm64 FOLDER PACKAGE...   leaves them in FOLDER/debs, unless they are there

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
  [ -d "$arm64_folder/debs" ] && return
  rm -rf "$arm64_folder/debs.part"
  mkdir -p "$arm64_folder/lists/partial" "$arm64_folder/cache/archives/partial" "$arm64_folder/debs.part"
  : >"$arm64_folder/status"
  quietly arm64_apt "$arm64_folder" update
  (cd "$arm64_folder/debs.part" && quietly arm64_apt "$arm64_folder" download "$@")
  mv "$arm64_folder/debs.part" "$arm64_folder/debs"
}
