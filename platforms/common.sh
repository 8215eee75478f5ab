# Sourced by the scripts of this folder: the targets, and where what is built for them is kept.
# shellcheck shell=bash disable=SC2034
all_targets=(windows-x86 windows-x64 linux-armhf linux-arm64 linux-i386)
platforms=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source_root=$(dirname "$platforms")
cache=${VELQ_PLATFORM_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/velq-platforms}
export VELQ_PLATFORM_CACHE=$cache

fail() { echo "${0##*/}: $*" >&2; exit 1; }

# check_targets TARGET...: ends the script for a name that is none.
check_targets() {
  local target
  for target in "$@"; do
    [[ " ${all_targets[*]} " == *" $target "* ]] || fail "no target $target; there are: ${all_targets[*]}"
  done
}

# triplet TARGET: the compiler's name for it.
triplet() {
  case $1 in
    windows-x86) echo i686-w64-mingw32 ;;
    windows-x64) echo x86_64-w64-mingw32 ;;
    linux-armhf) echo arm-linux-gnueabihf ;;
    linux-arm64) echo aarch64-linux-gnu ;;
    linux-i386) echo i686-linux-gnu ;;
  esac
}

# Wine's settings: a prefix of its own, no messages of its own, no screen.
use_wine() {
  export WINEPREFIX=$cache/wine/prefix WINEDLLPATH=$cache/wine/i386-windows WINEDEBUG=-all
  export LC_ALL=C.UTF-8 # the code pages follow the locale
  unset DISPLAY
}
