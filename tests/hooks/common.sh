# For the end-to-end tests of the hooks: a work folder that goes away with the test, an installation with a small store,
# a daemon for a bounded time, and checks. The tests set `host`, `daemon_log` and `handler_ended`, the pattern of what the
# daemon logs when a hook has ended, and call finish at their end.
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

# start_daemon COMMAND...: in the background; ends by itself after two minutes, whatever becomes of the test.
start_daemon() {
  timeout -k 30 120 "$@" >>"$work/daemon.out" 2>&1 </dev/null &
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

# ended_handlers: how many hooks have ended by what the daemon says, over all its starts.
ended_handlers() {
  cat "$daemon_log" 2>/dev/null | grep -caE -- "$handler_ended" || true
}

# wait_for_handlers COUNT: at most 100 seconds until the daemon has seen that many hooks end. Their own log says less: a
# hook still runs when it has written its line, and a daemon that is stopped then takes it for failed.
wait_for_handlers() {
  local tenths
  for ((tenths = 0; tenths < 1000; tenths++)); do
    [ "$(ended_handlers)" -lt "$1" ] || return 0
    sleep 0.1
  done
  fail "$(ended_handlers) hooks instead of $1 had ended after 100 seconds"
}

# wait_for_text TEXT: at most 30 seconds for what the daemon logs behind the end of a hook; a check follows.
wait_for_text() {
  local tenths
  for ((tenths = 0; tenths < 300; tenths++)); do
    ! grep -qaF -- "$1" "$daemon_log" || return 0
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
    cat "$work/daemon.out" "${daemon_log:-}" 2>/dev/null || true
    exit 1
  fi
  echo "all checks passed"
}
