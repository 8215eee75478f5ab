#!/usr/bin/env bash
# Builds the fuzz targets with clang, libFuzzer and the address and undefined-behaviour sanitizers, and runs one of them
# or all in turn. Usage: fuzz.sh [TARGET|all] [SECONDS], by default every target for 60 seconds each.
#
# A target has the name of its folder in tests/fuzz/corpus.
# New inputs and findings go to FUZZ_OUTPUT (default build-fuzz/output/TARGET), starting from tests/fuzz/corpus/TARGET.
# An input that was a finding is copied to tests/fuzz/corpus/TARGET once it is mended; every build replays that folder.
# Words that inputs of a target are made of stand in tests/fuzz/words/TARGET.
# FUZZ_BUILD names the build folder (default build-fuzz).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
targets=(tests/fuzz/corpus/*)
targets=("${targets[@]##*/}")
target=${1:-all} seconds=${2:-60}
build=${FUZZ_BUILD:-$PWD/build-fuzz}
output=${FUZZ_OUTPUT:-$build/output}
[ "$target" = all ] || targets=("$target")

source scripts/package-groups.sh
install_packages build check
cmake -S . -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELQ_SANITIZE=fuzzer-no-link,address,undefined \
  -DVELQ_BUILD_FUZZERS=ON -DVELQ_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target velq_fuzzers -j"$(nproc)"

# Installations live in memory where the system offers that, and go with the run.
scratch=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" velq-fuzz-XXXXXX)
trap 'rm -rf "$scratch"' EXIT

failed=0
for name in "${targets[@]}"; do
  mkdir -p "$output/$name/corpus"
  echo "== $name: $seconds seconds"
  words=()
  [ ! -f "tests/fuzz/words/$name" ] || words=(-dict="tests/fuzz/words/$name")
  TMPDIR=$scratch "$build/bin/fuzz_$name" "${words[@]}" -max_total_time="$seconds" -max_len=8192 -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$output/$name/" \
    "$output/$name/corpus" "tests/fuzz/corpus/$name" || failed=1
done
exit "$failed"
