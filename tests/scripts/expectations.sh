# Sourced by scripts that check one thing after the other: what does not hold is shown and counted, and the last line tells.
# shellcheck shell=bash

failures=0

# fail WHAT
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect_equal WHAT EXPECTED ACTUAL
expect_equal() {
  if [ "$2" = "$3" ]; then
    echo "ok: $1"
  else
    fail "$1"
    diff <(echo "$2") <(echo "$3") || true
  fi
}

# tell_failures: the status of all.
tell_failures() { [ "$failures" -eq 0 ] || { echo "$failures checks failed"; return 1; }; }
