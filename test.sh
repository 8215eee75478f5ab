#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests: the release build and the build with address and
# undefined-behaviour sanitizers. Usage: test.sh [PRESET...]; the default is: release asan.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/package-groups.sh
# Without the hosts or Java, the tests that run them are skipped.
install_packages build java hosts || install_packages build

jobs=$(nproc)
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release asan)

passed=0 failed=0 skipped=0
for preset in "${presets[@]}"; do
  echo "== $preset: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$jobs"
  echo "== $preset: test"
  report=$(mktemp)
  ctest --preset "$preset" -j"$jobs" --no-tests=error >"$report" 2>&1 || true
  # A line for each test that did not pass, with what it printed, and ctest's own summary.
  grep -vE '^ *([0-9]+/[0-9]+ Test +#[0-9]+: .* Passed |Start +[0-9]+: )' "$report" || true
  count() { grep -cE "^ *[0-9]+/[0-9]+ Test +#[0-9]+: .*$1" "$report" || true; }
  all=$(count '') good=$(count ' Passed ') left_out=$(count '\*\*\*Skipped')
  rm -f "$report"
  passed=$((passed + good)) skipped=$((skipped + left_out)) failed=$((failed + all - good - left_out))
done

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
