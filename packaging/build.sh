#!/usr/bin/env bash
# Builds the Debian packages libvelq1, libvelqtext1, libvelq-dev, velq and velq-data from this tree as it stands. Installs the packages
# that the build needs. Usage: build.sh [FOLDER]; the packages go to FOLDER (default build-packages in the tree).
# Environment: VELQ_GAMMA=boost builds them without GSL (README.md beside this file), the default is gsl.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/package-groups.sh"
output=${1:-$source_root/build-packages}
install_packages debian

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
(cd "$work/velq" && DEB_BUILD_OPTIONS="parallel=${VELQ_JOBS:-$(nproc)} nocheck" dpkg-buildpackage -b -us -uc) \
  >"$work/build.log" 2>&1 || {
  grep -vE "^\[[0-9]+/[0-9]+\] " "$work/build.log" | tail -40 | cut -c1-400 >&2
  echo "build.sh: the packages were not built" >&2
  exit 1
}
grep -E 'warning:|dpkg-gensymbols' "$work/build.log" || true
rm -rf "$output"
mkdir -p "$output"
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$output"
(cd "$output" && ls ./*.deb)
