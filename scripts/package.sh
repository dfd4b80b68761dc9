#!/bin/sh
# Builds what is shipped, for x86-64 and, across, for 64-bit Arm, into build/packages/: Debian packages, an archive to
# unpack anywhere, and a wheel for Python; and the source package. The same commit gives the same bytes.
# usage: package.sh [amd64 | arm64]...   (default: both)
#        package.sh --debian             only the Debian packages of this machine: what the source package runs
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/arm64.sh

only_debian=
if [ "${1-}" = --debian ]; then
  only_debian=yes
  set -- "$(dpkg --print-architecture)"
else
  # shellcheck disable=SC2154,SC2086
  need_packages $build_packages $arm_packages $package_packages
fi
umask 022
version=$(project_version)
maintainer=${DEBFULLNAME:-$(git log -1 --format=%an)}" <${DEBEMAIL:-$(git log -1 --format=%ae)}>"
: "${SOURCE_DATE_EPOCH:=$(git log -1 --format=%ct)}"
export SOURCE_DATE_EPOCH
out=$PWD/build/packages
mkdir -p "$out"

# From Debian's arm64 archive: the tool's libraries in root; each run-time package with its symbols file in debian,
# where dpkg-shlibdeps looks. Inside the build tree, or its path would leave a trace in the tool.
unpack_all_arm64() {
  arm64=build/package-arm64/arm64
  unpack_arm64 $arm64 libc6 libgcc-s1 libstdc++6 libmbedcrypto7 libmbedtls-dev libcli11-dev libssl-dev libssl3
  rm -rf $arm64/debian
  mkdir $arm64/debian
  for package in "$arm64"/debs/*.deb; do
    case $package in
      *-dev_*) ;;
      *) dpkg-deb -R "$package" "$arm64/debian/$(dpkg-deb -f "$package" Package)" ;;
    esac
  done
}

configure_and_build() { # CACHE_VARIABLE...
  quietly cmake --preset "$preset" "$@"
  quietly cmake --build --preset "$preset"
}

# The libraries' symbols file, and which packages hold the libraries that ours and the tool need.
describe_libraries() {
  (
    cd "$tree/packaging"
    rm -rf debian
    mkdir -p debian/libulmaroalgrithm/DEBIAN "debian/libulmaroalgrithm/usr/lib/$triplet"
    cp ../libUlmaro*.so "debian/libulmaroalgrithm/usr/lib/$triplet"
    printf 'Source: ulmaroalgrithm\n\nPackage: libulmaroalgrithm\nArchitecture: any\n' >debian/control
    [ -z "$root" ] || ln -s "$PWD"/../arm64/debian/* debian/
    export DEB_HOST_ARCH="$architecture"
    quietly dpkg-gensymbols -plibulmaroalgrithm -v"$version" -Pdebian/libulmaroalgrithm -Osymbols
    cp symbols debian/libulmaroalgrithm/DEBIAN/
    depends() { quietly dpkg-shlibdeps -xlibulmaroalgrithm -Tsubstvars "$@" && sed -n 's/^shlibs:Depends=//p' substvars; }
    libraries=$(depends ../libUlmaro*.so)
    tool=$(depends ../ulmaro)
    provider=$(depends ../ossl-modules/ulmaro.so ../ulmaro-provider-check)
    echo "set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS \"$libraries\")
string(APPEND CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS \", $tool\")
string(APPEND CPACK_DEBIAN_PROVIDER_PACKAGE_DEPENDS \", $provider\")" >depends.cmake
  )
}

# The archive, whose tool is one static file, and the library's wheel for Python.
pack_archive() {
  name=UlmaroAlgrithm-$version-$architecture
  rm -rf "${tree:?}/$name"
  quietly cmake --install "$tree" --strip --prefix "$tree/$name"
  doc=$tree/$name/share/doc/UlmaroAlgrithm
  mkdir -p "$doc"
  cp README.md CHANGELOG.md CONTRIBUTING.md packaging/copyright "$doc"
  mkdir "$doc/docs" "$doc/include"
  ln -s ../../../../include/UlmaroAlgrithm.h "$doc/include" # to which pages point
  cp -R docs/*.md docs/performance "$doc/docs"
  mkdir "$doc/examples"
  cp examples/*.c examples/*.cpp "$doc/examples"
  cp "$root/usr/share/doc/libmbedtls-dev/copyright" "$doc/copyright.mbedtls"
  cp /usr/share/doc/libcli11-dev/copyright "$doc/copyright.cli11"
  cp "$root/usr/share/doc/libc6/copyright" "$doc/copyright.glibc"
  cp /usr/share/doc/libgcc-s1/copyright "$doc/copyright.gcc"
  XZ_OPT=-9 tar -C "$tree" --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner \
    -cJf "$out/$name.tar.xz" "$name"
  python3 -B bindings/python/wheel_of_module.py "$out" "$tree/$name/lib/libUlmaroAlgrithmHardened.so"
}

# What is committed, and Debian's files beside it.
pack_source() {
  rm -f "$out/$1"_*.orig.tar.xz "$out/$1"_*.debian.tar.xz "$out/$1"_*.dsc
  work=$(mktemp -d)
  git archive --format=tar --prefix="$1-$version/" HEAD | xz -9 >"$work/$1_$version.orig.tar.xz"
  tar -C "$work" -xf "$work/$1_$version.orig.tar.xz"
  debian=$work/$1-$version/debian
  cp -R packaging/debian "$debian"
  cp packaging/copyright "$debian"
  sed -i "s/@MAINTAINER@/$maintainer/" "$debian/control"
  sed "s/@PROJECT_VERSION@/$version/; s/@ULMARO_DEB_MAINTAINER@/$maintainer/
    s/@deb_date@/$(date -u -R -d "@$SOURCE_DATE_EPOCH")/" packaging/changelog.Debian.in >"$debian/changelog"
  (cd "$work" && quietly dpkg-source --build "$1-$version")
  mv "$work/$1"_* "$out"
  rm -rf "$work"
}

[ $# -gt 0 ] || set -- amd64 arm64
[ $only_debian ] || pack_source ulmaroalgrithm
for architecture in "$@"; do
  preset=package-$architecture root=
  case $architecture in
    amd64) triplet=x86_64-linux-gnu ;;
    arm64) triplet=aarch64-linux-gnu ;;
    *) sed -n '2,/^set/s/^# //p' "$0" >&2 && exit 2 ;;
  esac
  if [ $only_debian ]; then
    preset="package-amd64" # no toolchain file: whatever this machine is
  elif [ "$architecture" = arm64 ]; then
    root=$PWD/build/package-arm64/arm64/root
    unpack_all_arm64
  fi
  tree=$PWD/build/$preset
  rm -f "$out"/*_"$architecture.deb" "$out"/*-"$architecture.tar.xz"
  [ "$architecture" != amd64 ] || rm -f "$out"/*_all.deb
  rm -f "$out"/*_"${triplet%%-*}.whl"
  mbedtls=$root/usr/lib/$triplet/libmbedcrypto

  # One build tree, installed twice: only the tool is linked again, statically.
  configure_and_build -DULMARO_DEBIAN=ON -DULMARO_DEB_ARCHITECTURE="$architecture" \
    -DULMARO_DEB_MAINTAINER="$maintainer" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="lib/$triplet" \
    -DULMARO_PYTHON_DIR=lib/python3/dist-packages -DCMAKE_SKIP_INSTALL_RPATH=ON -DULMARO_STATIC_TOOL=OFF \
    -DMbedCrypto_LIBRARY="$mbedtls.so"
  describe_libraries
  (cd "$tree" && quietly cpack)
  rm -rf "$out/_CPack_Packages"
  [ ! $only_debian ] || continue

  configure_and_build -DULMARO_DEBIAN=OFF -DCMAKE_INSTALL_LIBDIR=lib -DULMARO_PYTHON_DIR=lib \
    -DCMAKE_SKIP_INSTALL_RPATH=OFF -DULMARO_STATIC_TOOL=ON -DMbedCrypto_LIBRARY="$mbedtls.a"
  pack_archive
done
ls -l "$out"
