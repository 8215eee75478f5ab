# For the end-to-end tests of the hooks: a work folder that goes away with the test, an installation with a small store,
# a daemon for a bounded time, and checks. The tests set `host` and call finish at their end.
# shellcheck shell=bash disable=SC2154

velq=$1 source=$2
skipped=77
failures=0
daemon=

# needs PROGRAM PACKAGE...: leaves the test as skipped where a program is missing.
needs() {
  if ! command -v "$1" >/dev/null; then
    echo "SKIPPED: $1 is not here; install the packages: ${*:2}"
    exit "$skipped"
  fi
}

stop_daemon() {
  [ -n "$daemon" ] || return 0
  kill "$daemon" 2>/dev/null || true
  wait "$daemon" 2>/dev/null || true
  daemon=
}

# start_daemon COMMAND...: in the background; ends by itself after 50 seconds, whatever becomes of the test.
start_daemon() {
  timeout -k 3 50 "$@" >>"$work/daemon.out" 2>&1 </dev/null &
  daemon=$!
}

prepare_work() {
  work=$(mktemp -d "${TMPDIR:-/tmp}/velq-hooks-XXXXXX")
  trap 'stop_daemon; rm -rf "$work"' EXIT
  mkdir -p "$work/var/log" "$work/var/lib" "$work/var/run"
  log=$work/var/log/velq.log
  "$velq" store load "$source/tests/hooks/store.txt" -o "$work/prob.bin"
  "$velq" init --quiet "$work/var/lib/velq" --store "$work/prob.bin"
}

# The configuration that users are shown, with its folders below the work folder and the program of this build.
example() {
  sed -e "s|/var/|$work/var/|g" -e "s|/usr/bin/velq|$velq|" "$source/examples/hooks/$1"
}

# wait_for_lines COUNT: at most 40 seconds for that many lines in the hook's log.
wait_for_lines() {
  local tenths
  for ((tenths = 0; tenths < 400; tenths++)); do
    if [ -f "$log" ] && [ "$(wc -l <"$log")" -ge "$1" ]; then
      return 0
    fi
    sleep 0.1
  done
  fail "fewer than $1 lines were logged within 40 seconds"
}

# wait_for_text FILE TEXT: at most 10 seconds for what the daemon logs after the hook has ended; a check follows.
wait_for_text() {
  local tenths
  for ((tenths = 0; tenths < 100; tenths++)); do
    ! grep -qaF -- "$2" "$1" || return 0
    sleep 0.1
  done
}

fail() {
  echo "FAIL: $1"
  failures=$((failures + 1))
}

# logs WHAT RATING SENDER ACTION: one line of the log says so; the action by its start.
logs() {
  local count
  count=$(awk -F '\t' -v host="$host" -v rating="$2" -v sender="$3" -v action="$4" \
    '$2 == host && $3 == rating && $4 == sender && index($6, action) == 1 { n++ } END { print n + 0 }' "$log")
  if [ "$count" = 1 ]; then
    echo "ok: $1"
  else
    fail "$1: $count lines with $2, $3, $4"
  fi
}

# holds FOLDER COUNT: that many files lie in the folder.
holds() {
  local count
  count=$(find "$1" -type f 2>/dev/null | wc -l)
  if [ "$count" = "$2" ]; then
    echo "ok: $2 files in $(basename "$1")"
  else
    fail "$count files in $(basename "$1") instead of $2"
  fi
}

# says WHAT FILE TEXT: the text stands in the file.
says() {
  if grep -qaF -- "$3" "$2"; then
    echo "ok: $1"
  else
    fail "$1: $(basename "$2") does not say \"$3\""
  fi
}

finish() {
  stop_daemon
  if [ "$failures" -gt 0 ]; then
    echo "---- the hook's log"
    cat "$log" 2>/dev/null || true
    echo "---- the daemon's output and log"
    cat "$work/daemon.out" "$work"/var/log/*smsd.log 2>/dev/null || true
    exit 1
  fi
  echo "all checks passed"
}
