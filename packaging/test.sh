#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian, and installs, uses, upgrades and removes them in a fresh minimal
# Debian system of their own (tests/packages/in_fresh_system.sh says what must hold there). Needs root, for chroot.
# Usage: test.sh [--architecture ARCHITECTURE] [FOLDER]; with FOLDER the packages that build.sh has put there are tested, and none
# are built. Those of another architecture are tried in a system of it (foreign.sh).
# Where mounting or devices are refused (some containers), what needs the fresh system is skipped.
# Environment: VELQ_GAMMA as for build.sh, and which of the two the packages in FOLDER are; VELQ_PLATFORM_CACHE keeps the minimal system (default in ~/.cache); it is made anew after a week.
set -euo pipefail
architecture=
[ "${1:-}" != --architecture ] || { architecture=$2; shift 2; }
[ "$(id -u)" -eq 0 ] || { echo "test.sh: run as root" >&2; exit 1; }
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/package-groups.sh"
source "$source_root/packaging/systems.sh"
install_packages debian-tests

make_work_folder

if [ $# -gt 0 ]; then
  mkdir "$work/packages"
  cp "$1"/*.deb "$1"/*.changes "$1"/*.buildinfo "$work/packages"
else
  echo "== build"
  "$source_root/packaging/build.sh" ${architecture:+--architecture "$architecture"} "$work/packages"
fi

passed=0 failed=0
echo "== lintian"
if lintian --fail-on error --allow-root "$work"/packages/*.changes; then
  passed=1
else
  failed=1
fi

echo "== GSL"
# It stands in the packages of a build with GSL, which shows that the check sees it, and nowhere in those without.
gamma=${VELQ_GAMMA:-gsl}
traces=$(for package in "$work"/packages/*.deb; do
  case $package in *-dbgsym_*) continue ;; esac
  dpkg-deb -f "$package" Depends | grep -o 'libgsl[^ ,]*' || true
  dpkg-deb --fsys-tarfile "$package" | grep -aioE 'libgsl[a-z.0-9]*|gsl: %s|gsl_[a-z_]+' || true
done | sort -u)
if { [ "$gamma" = gsl ] && grep -q '^libgsl' <<<"$traces"; } || { [ "$gamma" = boost ] && [ -z "$traces" ]; }; then
  echo "ok: $gamma: GSL in the packages: $(paste -sd' ' <<<"${traces:-nothing}")"
  passed=$((passed + 1))
else
  echo "FAIL: $gamma: GSL in the packages: $(paste -sd' ' <<<"${traces:-nothing}")"
  failed=$((failed + 1))
fi

# What the fresh system needs of this one: a folder for processes, and a device.
mkdir "$work/processes"
if ! refusal=$({ unshare --mount mount -t proc proc "$work/processes" && mknod -m 666 "$work/null" c 1 3 &&
  : >"$work/null"; } 2>&1); then
  skipped=$(grep -c '^check ' "$source_root/tests/packages/in_fresh_system.sh")
  echo "SKIPPED: installing, using, upgrading and removing the packages; no fresh system can run here: $refusal"
  echo "$passed passed, $failed failed, $skipped skipped"
  exit "$failed"
fi

# field PACKAGE NAME
field() { dpkg-deb -f "$work/packages/$1"_*.deb "$2"; }

echo "== system"
# What the packages ask for beside each other, and what building a C program takes.
needs=$(for name in libvelq1 libvelqtext1 velq; do field $name Depends | tr ',' '\n' | sed 's/^ *//; s/ .*//'; done |
  grep -vE '^(lib)?velq' | sort -u | paste -sd,)
options=()
if [ -n "$architecture" ]; then
  foreign_architecture "$architecture"
  options=(--architectures="$architecture" --skip=check/qemu)
fi
archive=$(archived_system "system-$architecture${architecture:+-}$(fingerprint <<<"$needs")" "${options[@]}" --variant=apt \
  --include="gcc,libc6-dev,make,cmake,pkg-config,$needs")
lay_out_system "$archive" "$work/system"

# The next release, for the upgrade: the same packages with a higher version.
release=$(field libvelq1 Version)
next=${release%.*}.99
mkdir "$work/next"
for package in "$work"/packages/*.deb; do
  case $package in *-dbgsym_*) continue ;; esac
  dpkg-deb -R "$package" "$work/repack"
  sed -i -E "/^(Version|Depends):/ s/\b${release//./\\.}\b/$next/g" "$work/repack/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$work/repack" "$work/next" >/dev/null
  rm -rf "$work/repack"
done

test_folder=$work/system/test
mkdir -p "$test_folder"/{packages,next}
for package in "$work"/packages/*.deb; do
  case $package in *-dbgsym_*) ;; *) cp "$package" "$test_folder/packages" ;; esac
done
cp "$work"/next/*.deb "$test_folder/next"
cp "$source_root"/tests/packages/in_fresh_system.sh "$source_root"/examples/{host,prepare}.c \
  "$test_folder"
cp -r "$source_root/tests/consumer" "$test_folder"

echo "== install, use, upgrade, remove"
status=0
in_system "$work/system" bash /test/in_fresh_system.sh "$release" "$next" |
  tee "$work/report" || status=$?
passed=$((passed + $(grep -c '^ok: ' "$work/report" || true)))
bad=$(grep -c '^FAIL: ' "$work/report" || true)
# A run that broke off is a failure too.
[ "$status" -eq 0 ] || [ "$bad" -gt 0 ] || bad=1
failed=$((failed + bad))
echo "$passed passed, $failed failed, 0 skipped"
[ "$failed" -eq 0 ]
