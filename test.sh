#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests: the release build and the build with address and
# undefined-behaviour sanitizers. Usage: test.sh [PRESET...]; the default is: release asan.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
./install-dependencies.sh build

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
  ctest --preset "$preset" -j"$jobs" --no-tests=error --output-junit "$report" >"$report.txt" 2>&1 || true
  grep -vE '^ *(Start|[0-9]+/[0-9]+ Test) +.*( Passed |$)' "$report.txt" | grep -vE '^ +Start +[0-9]+:' || true
  total=$(grep -oP '<testsuite[^>]* tests="\K[0-9]+' -z "$report" | tr -d '\0' | head -1)
  broken=$(grep -oP '<testsuite[^>]* failures="\K[0-9]+' -z "$report" | tr -d '\0' | head -1)
  left_out=$(grep -oP '<testsuite[^>]* skipped="\K[0-9]+' -z "$report" | tr -d '\0' | head -1)
  rm -f "$report" "$report.txt"
  failed=$((failed + broken))
  skipped=$((skipped + left_out))
  passed=$((passed + total - broken - left_out))
done

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
