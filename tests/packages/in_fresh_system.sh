#!/usr/bin/env bash
# Runs in a minimal system with the packages in /test/packages and their next release in /test/next: installs, uses,
# upgrades and removes them. Every check prints a line; the last line counts them.
# Usage: in_fresh_system.sh RELEASE NEXT, the versions of the two
set -euo pipefail
release=$1 next=$2
cd /test
export DEBIAN_FRONTEND=noninteractive
passed=0 failed=0

# check WHAT COMMAND...: the command's own output is shown when it fails.
check() {
  local what=$1
  shift
  if "$@" >/test/output 2>&1; then
    echo "ok: $what"
    passed=$((passed + 1))
  else
    echo "FAIL: $what"
    cat /test/output
    failed=$((failed + 1))
  fi
}

# Everything on the disk but this test's folder and what package management itself writes.
files() {
  find / -xdev \( -path /test -o -path /proc -o -path /sys -o -path /dev -o -path /var/lib/dpkg -o -path /var/log \
    -o -path /var/cache -o -path /tmp \) -prune -o -print | LC_ALL=C sort
}
versions() { dpkg-query -W -f='${Version}\n' libvelq1 libvelqtext1 libvelq-dev velq velq-data | sort -u; }

# rates PROGRAM: the example host starts on the installation, rates, and blocks the sender.
rates() {
  local answer
  answer=$("$1" '/test/installation/Quenlibra\Tarvolent' 13900002222 "some words of some length" spam)
  echo "$answer"
  grep -qx 'black list: 13900002222 (contact 42)' <<<"$answer"
}
prepares() { [ "$("$1")" = "fur all: call now" ]; }
build_with_cmake() {
  rm -rf build
  cmake -S consumer -B build -DHOST_SOURCE=/test/host.c -DPREPARE_SOURCE=/test/prepare.c && cmake --build build &&
    rates build/host && prepares build/prepare
}
build_with_pkg_config() {
  local flags
  read -ra flags <<<"$(pkg-config --cflags --libs velq)"
  cc -std=c11 -o host host.c "${flags[@]}" && rates ./host || return 1
  read -ra flags <<<"$(pkg-config --cflags --libs velqtext)"
  cc -std=c11 -o prepare prepare.c "${flags[@]}" && prepares ./prepare
}
command_rates() {
  rm -rf installation
  velq init installation || return 1
  local answer
  answer=$(velq rate --install installation --number 10086 "some words of some length")
  echo "$answer"
  grep -qw ham <<<"$answer"
}
command_knows_words() {
  local answer
  answer=$(velq rate --install installation "WINNER!! claim your free prize now, call the claim line, txt to win cash")
  echo "$answer"
  grep -qw spam <<<"$answer"
}
# The answer of the service at a port to a message.
ask_service() {
  local message='{"number":"10086","body":"some words of some length"}'
  exec 3<>"/dev/tcp/127.0.0.1/$1"
  printf 'POST /v1/rate HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nContent-Type: application/json\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s' \
    "$1" "${#message}" "$message" >&3
  cat <&3
  exec 3<&-
}
serves() {
  test -s /lib/systemd/system/velq.service || return 1
  velq serve --install installation --listen 127.0.0.1:0 >listening &
  local service=$! tenths answer
  for ((tenths = 0; tenths < 300; tenths++)); do
    ! grep -q "^listening on http://127.0.0.1:" listening || break
    sleep 0.1
  done
  answer=$(ask_service "$(sed -nE 's|^listening on http://127.0.0.1:([0-9]+).*|\1|p' listening)")
  echo "$answer"
  kill "$service" && wait "$service" && grep -q '"rating": *"ham"' <<<"$answer"
}
hook_files_spam() {
  rm -rf incoming spam log
  mkdir incoming
  printf 'From: 447700900555\nFrom_TOA: 91 international, ISDN/telephone\nAlphabet: UTF-8\n\n%s' \
    "WINNER!! claim your free prize now, call the claim line, txt to win cash" >incoming/GSM1.abc
  velq hook smstools --install installation --spam-folder spam --log log RECEIVED incoming/GSM1.abc || return 1
  cat log
  [ -f spam/GSM1.abc ] && [ ! -e incoming/GSM1.abc ] && [ "$(cut -f3 log)" = spam ]
}
update_is_refused() {
  velq update inspect /usr/share/velq/updates/1-to-2.update &&
    ! velq update --install installation --prob /usr/share/velq/updates/1-to-2.update --prob-version 2
}
loader_knows() { [[ $(ldconfig -p) == *"libvelq.so.1 "* ]]; }
loader_forgot() { ! loader_knows; }
finds_no_search_path() { ! grep -aq "/test" /usr/bin/velq && loader_knows; }
same_files() { files >/test/after && diff /test/before /test/after; }
has_documents() {
  local name
  for name in libvelq1 libvelqtext1 libvelq-dev velq velq-data; do
    [ -s "/usr/share/doc/$name/copyright" ] && gzip -t "/usr/share/doc/$name"/changelog*.gz || return 1
  done
}

files >before
check "all packages install" dpkg -i packages/*.deb
check "the release is $release" test "$(versions)" = "$release"
check "the loader knows the library" finds_no_search_path
check "each package has a copyright file and a changelog" has_documents
check "the command has a manual page" gzip -t /usr/share/man/man1/velq.1.gz
check "the command lays out an installation and rates by the operator rule" command_rates
check "the starter store knows spam" command_knows_words
check "the service starts, answers and ends" serves
check "a hook files a message that is spam" hook_files_spam
check "the update of older data is installed and refused where it is not needed" update_is_refused
check "a C program builds with CMake, rates and prepares" build_with_cmake
check "a C program builds with pkg-config, rates and prepares" build_with_pkg_config

cp host old-host
check "all packages upgrade" dpkg -i next/*.deb
check "the release is $next" test "$(versions)" = "$next"
check "a program built before the upgrade still rates" rates ./old-host
check "an installation made before the upgrade is kept" test -s installation/Quenlibra/Tarvolent/data/prob.bin

check "the library stays while the command needs it" bash -c '! dpkg -r libvelq1'
check "all packages are removed" dpkg -P velq velq-data libvelq-dev libvelqtext1 libvelq1
check "the loader forgets the library" loader_forgot
check "nothing is left behind" same_files

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
