#!/usr/bin/env bash
# Installs the Debian packages that building and running for other targets needs and that are missing: compilers and
# emulators of this machine's own architecture. Usage: install-dependencies.sh [TARGET...]; the default is every target.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")
check_targets "${targets[@]}"

packages=(cmake ninja-build make gcc libc6-dev tcl dpkg-dev xz-utils googletest binutils debian-archive-keyring)
for target in "${targets[@]}"; do
  case $target in
    windows-x86) packages+=(g++-mingw-w64-i686-posix wine wine64) ;;
    windows-x64) packages+=(g++-mingw-w64-x86-64-posix wine wine64) ;;
    linux-armhf) packages+=(g++-arm-linux-gnueabihf qemu-user) ;;
    linux-arm64) packages+=(g++-aarch64-linux-gnu qemu-user) ;;
    linux-i386) packages+=(g++-i686-linux-gnu) ;;
  esac
done
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || fail "run as root, or install: ${missing[*]}"
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
"${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 update -qq >&2
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 install -y -qq \
  --no-install-recommends "${missing[@]}" >&2
