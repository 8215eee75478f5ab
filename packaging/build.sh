#!/usr/bin/env bash
# Builds the Debian packages libvelq1, libvelqtext1, libvelq-dev, velq and velq-data from this tree as it stands. Installs the packages
# that the build needs. Usage: build.sh [--architecture ARCHITECTURE] [FOLDER]; the packages go to FOLDER (default build-packages in
# the tree). For another architecture than the machine's (arm64, armhf, i386) they are built by its cross compiler in a Debian
# system of their own, which takes root; programs of it that the build itself runs are started by foreign.sh.
# Environment: VELQ_GAMMA=boost builds them without GSL (README.md beside this file), the default is gsl. For other architectures:
# VELQ_PLATFORM_CACHE keeps the system (default in ~/.cache; made anew after a week), VELQ_FOREIGN_ROOT names a folder where it is
# laid out and stays, with the build in its /build/velq.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/package-groups.sh"
source "$source_root/packaging/systems.sh"
architecture=
[ "${1:-}" != --architecture ] || { architecture=$2; shift 2; }
output=${1:-$source_root/build-packages}
if [ -n "$architecture" ]; then
  [ "$(id -u)" -eq 0 ] || { echo "build.sh: run as root for another architecture" >&2; exit 1; }
  install_packages debian-foreign
else
  install_packages debian
fi

make_work_folder
mkdir "$work/velq"
# Build folders lie in the tree and stay out of the package's source.
tar -C "$source_root" --exclude='./build*' --exclude=./.git -c . | tar -C "$work/velq" -x
cp -r "$source_root/packaging/debian" "$work/velq/debian"
export VELQ_GAMMA=${VELQ_GAMMA:-gsl}
case $VELQ_GAMMA in
  gsl) ;;
  boost)
    sed -i 's/\blibgsl-dev\b/libboost-math-dev/' "$work/velq/debian/control"
    mv "$work/velq/debian/copyright.boost" "$work/velq/debian/copyright"
    ;;
  *) echo "build.sh: VELQ_GAMMA is $VELQ_GAMMA; it is gsl or boost" >&2; exit 1 ;;
esac
rm -f "$work/velq/debian/copyright.boost"

# build: makes the packages in $work, for this machine.
build() {
  (cd "$work/velq" && DEB_BUILD_OPTIONS="parallel=${VELQ_JOBS:-$(nproc)} nocheck" dpkg-buildpackage -b -us -uc)
}

# build_foreign: the same for another architecture. Of what the build asks for, apt knows which has to be of which one.
build_foreign() {
  local root=${VELQ_FOREIGN_ROOT:-$work/root} archive
  archive=$(archived_system "system-cross-$architecture-$(sed -n '/^Build-Depends/,/^[A-Z]/p' "$work/velq/debian/control" | fingerprint)" \
    --architectures="$(dpkg --print-architecture),$architecture" --variant=apt \
    --include="crossbuild-essential-$architecture,fakeroot,libgtest-dev:$architecture" \
    --customize-hook='mkdir -p "$1/build"' --customize-hook="copy-in $work/velq /build" \
    --customize-hook="chroot \"\$1\" apt-get build-dep -qq -y --no-install-recommends -a$architecture /build/velq" \
    --customize-hook='rm -rf "$1/build"') || return 1
  lay_out_system "$archive" "$root" && mkdir "$root/build" && cp -r "$work/velq" "$root/build" || return 1
  foreign_architecture "$architecture"
  in_system "$root" VELQ_GAMMA="$VELQ_GAMMA" DEB_BUILD_OPTIONS="parallel=${VELQ_JOBS:-$(nproc)} nocheck" \
    sh -c "cd /build/velq && dpkg-buildpackage -a$architecture -b -us -uc" &&
    mv "$root"/build/*.deb "$root"/build/*.changes "$root"/build/*.buildinfo "$work"
}

"build${architecture:+_foreign}" >"$work/build.log" 2>&1 || {
  grep -vE "^\[[0-9]+/[0-9]+\] " "$work/build.log" | tail -40 | cut -c1-400 >&2
  echo "build.sh: the packages were not built" >&2
  exit 1
}
grep -E 'warning:|dpkg-gensymbols' "$work/build.log" || true
rm -rf "$output"
mkdir -p "$output"
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$output"
(cd "$output" && ls ./*.deb)
