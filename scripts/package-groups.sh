# Sourced by the scripts that install Debian packages: which packages there are, in groups, and installing what is missing
# of them. Sets source_root, the folder of the tree.
# shellcheck shell=bash

# shellcheck disable=SC2034 # for those that source this
source_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

libraries="libcli11-dev libcsv-dev libcurl4-openssl-dev libgsl-dev libmicrohttpd-dev libphonenumber-dev libsqlite3-dev libutf8proc-dev
           libutfcpp-dev nlohmann-json3-dev"
# The other incomplete gamma function; the tests compare the two.
gamma="libboost-math-dev"
# The wheel of the Python package.
python="python3 python3-pip python3-setuptools python3-wheel"
declare -A package_groups=(
  [python]="$python"
  # What building and testing take.
  [build]="g++ cmake ninja-build $libraries $gamma libgtest-dev libbenchmark-dev binutils pkg-config groff-base curl $python mypy
           python3-jsonschema"
  # What the tests run beside the engine: the daemons that the hooks serve, what spreads messages over several instances,
  # and the browser that opens the report and the page of the service. Without them those tests are skipped.
  [hosts]="gammu gammu-smsd smstools kannel kannel-extras haproxy parallel chromium chromium-driver python3-selenium"
  # What bench/serve compares the service with, and by.
  [bench]="wrk spamassassin spamd rspamd redis-server"
  # The Java package and its tests, which are skipped without them.
  [java]="openjdk-17-jdk-headless junit5"
  # Formatters, analysers, coverage, fuzzing.
  [check]="python3 clang-14 libclang-rt-14-dev clang-format-14 clang-tidy-14 libclang-14-dev llvm-14-dev cppcheck gcovr
           shellcheck valgrind heaptrack"
  # Building the Debian packages, and testing them.
  [debian]="build-essential fakeroot debhelper cmake ninja-build $libraries $gamma"
  [debian-tests]="lintian mmdebstrap"
  # Building them for other architectures.
  [debian-foreign]="mmdebstrap dpkg-dev"
  # Building for other platforms: what all of them take, and each of them.
  [platforms]="cmake ninja-build make gcc libc6-dev tcl dpkg-dev xz-utils googletest libutfcpp-dev $gamma binutils
               debian-archive-keyring"
  [windows-x86]="g++-mingw-w64-i686-posix wine wine64"
  [windows-x64]="g++-mingw-w64-x86-64-posix wine wine64"
  [linux-armhf]="g++-arm-linux-gnueabihf qemu-user"
  [linux-arm64]="g++-aarch64-linux-gnu qemu-user"
  [linux-i386]="g++-i686-linux-gnu"
)

# as_root COMMAND...
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "${0##*/}: this takes root or sudo: $*" >&2
    return 1
  fi
}

# apt_get ARGUMENT...: asks nothing and starts no daemon, neither from a start script (run level 1) nor from a unit. Waits
# for others that install, at most five minutes: apt itself waits for the locks of dpkg, but not for its own.
apt_get() {
  local seconds=300 report
  local give_up=$((SECONDS + seconds))
  until report=$(as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 SYSTEMD_OFFLINE=1 \
    apt-get -qq -o "DPkg::Lock::Timeout=$seconds" "$@" 2>&1 </dev/null); do
    if [[ $report != *"Could not get lock"* ]] || [ "$SECONDS" -ge "$give_up" ]; then
      echo "$report" >&2
      return 1
    fi
    sleep 1
  done
  [ -z "$report" ] || echo "$report" >&2
}

# install_packages GROUP...: what is missing of these groups, and nothing when nothing is.
install_packages() {
  local group package missing=()
  for group in "$@"; do
    [ -n "${package_groups[$group]:-}" ] ||
      { echo "${0##*/}: no group $group; there are: ${!package_groups[*]}" >&2; return 1; }
    for package in ${package_groups[$group]}; do
      [[ $(dpkg-query -W -f='${Status}' "$package" 2>/dev/null) == *" ok installed" ]] || missing+=("$package")
    done
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing: ${missing[*]}" >&2
  apt_get update && apt_get install -y --no-install-recommends "${missing[@]}"
}

# make_work_folder: sets `work` to a folder that goes when the script ends.
make_work_folder() {
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
}
