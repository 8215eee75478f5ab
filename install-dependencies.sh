#!/usr/bin/env bash
# Installs the Debian packages that a build needs and that are missing. Usage: install-dependencies.sh [GROUP...]
# Groups: build (the default), hosts (what the tests run beside the engine: the daemons that the hooks serve, and the
# browser that opens the report; without them those tests are skipped), check (formatters, analysers, coverage).
set -euo pipefail

declare -A groups=(
  [build]="g++ cmake ninja-build libsqlite3-dev libgsl-dev libgtest-dev libbenchmark-dev libcli11-dev
           nlohmann-json3-dev libutfcpp-dev libcsv-dev binutils pkg-config python3 groff-base"
  [hosts]="gammu gammu-smsd smstools chromium"
  [check]="clang-14 libclang-rt-14-dev clang-format-14 clang-tidy-14 cppcheck gcovr valgrind heaptrack"
)

missing=()
for group in "${@:-build}"; do
  for package in ${groups[$group]:?unknown group $group}; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-dependencies.sh: run as root, or install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq >&2
# Daemons are installed for the tests, which start their own: in run level 1 none is started here.
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
