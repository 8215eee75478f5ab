#!/usr/bin/env bash
# Builds with coverage instrumentation, runs the tests of the engine and prints the line coverage of src/, kdsh/
# and the text preparation.
# Fails below 95 %. Usage: coverage.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/package-groups.sh
install_packages build check

cmake --preset coverage >/dev/null
cmake --build --preset coverage -j"$(nproc)"
find build-coverage -name '*.gcda' -delete
ctest --preset coverage -j"$(nproc)" --no-tests=error -R '^(velq_api|velq_internal|velq_differential|velq_text|c_api)' >build-coverage/tests.txt ||
  { tail -20 build-coverage/tests.txt; exit 1; }
gcovr --root . --filter 'src/' --filter 'kdsh/' --filter 'text/prepare_text' --exclude-throw-branches --print-summary --fail-under-line 95 build-coverage
