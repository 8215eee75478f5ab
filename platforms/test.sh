#!/usr/bin/env bash
# Builds the libraries for other targets and runs every test that does not depend on the building machine's own system:
# Windows programs under Wine, ARM ones under QEMU, 32-bit x86 Linux ones natively. Installs what is missing and keeps
# what it has made of the dependencies. Usage: test.sh [--short] [TARGET...]; the default is every target:
#   windows-x86 windows-x64 linux-armhf linux-arm64 linux-i386
# --short leaves out what another target runs in the same surroundings: of linux-arm64 failing disks, hostile files and kills,
# which linux-armhf has under the same emulator, of windows-x86 the internal functions, which windows-x64 has.
# Environment: VELQ_PLATFORM_CACHE (the dependencies), VELQ_PLATFORM_BUILD (build folders, default build-platforms in
# the tree), VELQ_GAMMA (gsl or boost, as for CMake; the default is gsl), VELQ_JOBS (processes at a time, default one for
# each processor).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$source_root/scripts/package-groups.sh"
short=
[ "${1:-}" != --short ] || { short=1; shift; }
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")
check_targets "${targets[@]}"
jobs=${VELQ_JOBS:-$(nproc)}
export VELQ_JOBS=$jobs
builds=${VELQ_PLATFORM_BUILD:-$source_root/build-platforms}

install_packages build platforms "${targets[@]}"
"$platforms/dependencies.sh" "${targets[@]}"

# Wine's folders are made by a server of their own: one that runs before them makes none for 32-bit programs. After that
# one server is kept for all programs. A second one, or one that a program had started, would keep their pipes open.
start_wine() {
  use_wine
  local windows=$WINEPREFIX/drive_c/windows
  if [ ! -f "$WINEPREFIX/system.reg" ] || { [ -d "$WINEDLLPATH" ] && [ ! -d "$windows/syswow64" ]; }; then
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    { wineboot --init && wineserver -w; } </dev/null >/dev/null 2>&1 || fail "Wine's folders were not made"
  fi
  if [ -d "$WINEDLLPATH" ]; then
    cp "$WINEDLLPATH"/*.dll "$windows/syswow64/"
  fi
  wineserver -p </dev/null >/dev/null 2>&1 || fail "no Wine server"
  trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
  wineboot </dev/null >/dev/null 2>&1 || fail "Wine does not start"
}
case " ${targets[*]} " in *" windows-"*) start_wine ;; esac

sum() { awk '{ sum += $1 } END { print sum + 0 }'; }
# tally WORD FILE: the tests that GoogleTest counted so in all its runs.
tally() { sed -nE "s/^\[  $1 *\] ([0-9]+) tests?(\.|, listed below:)\$/\1/p" "$2" | sum; }

# ratings LOG: what the differential tests say of the ratings they got: a line for each run, with a digest.
ratings() { { grep -a '^\[ RATINGS  \]' "$1" || true; } | tr -d '\r' | LC_ALL=C sort -u; }

# The machine's own ratings, which all targets have to share.
echo "== this machine's ratings"
(
  cd "$source_root"
  cmake --preset release >/dev/null
  cmake --build --preset release -j"$jobs" --target velq_differential_tests
)
# In the same quarters as on the targets: what the engine keeps for the life of a process has a part in later ratings.
own=$(mktemp)
for part in 0 1 2 3; do
  GTEST_TOTAL_SHARDS=4 GTEST_SHARD_INDEX=$part "$source_root/build/bin/velq_differential_tests" >>"$own" 2>&1 ||
    { tail -40 "$own"; fail "the differential tests fail here"; }
done
reference=$(ratings "$own")
rm -f "$own"

# left_out TARGET: the tests that the short form leaves out, as ctest takes them.
left_out() {
  case $short$1 in
    1linux-arm64) echo '^velq_(vfs_fault|hostile_file|write_ahead|crash|power_loss|contention)_tests' ;;
    1windows-x86) echo '^velq_internal_tests' ;;
    *) echo '^$' ;;
  esac
}

passed=0 failed=0 skipped=0
for target in "${targets[@]}"; do
  started=$SECONDS
  build=$builds/$target
  echo "== $target: build"
  cmake -S "$source_root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$platforms/toolchains/$target.cmake" -DVELQ_DEPENDENCIES="$cache/$target" \
    -DVELQ_GAMMA="${VELQ_GAMMA:-gsl}" -DVELQ_BUILD_TOGETHER=ON -DVELQ_BUILD_TOOLS=OFF -DVELQ_BUILD_BENCH=OFF >/dev/null
  cmake --build "$build" -j"$jobs"
  echo "== $target: test (built in $((SECONDS - started)) s)"
  report=$(mktemp)
  status=0
  ctest --test-dir "$build" -E "$(left_out "$target")" -j"$jobs" --no-tests=error --output-on-failure >"$report" 2>&1 </dev/null || status=$?
  if [ "$status" -ne 0 ]; then
    grep -aE '^ *[0-9]+/[0-9]+ Test|FAILED  |run\.sh:|FAIL:' "$report" | grep -avE ' Passed ' | cut -c1-300 || true
    grep -a -m40 -A6 ': Failure$' "$report" | cut -c1-300 || true
  fi
  # Programs that are no GoogleTest program count as one test each.
  log=$build/Testing/Temporary/LastTest.log
  others=$(grep -aE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: ' "$report" | grep -av '\.part_[0-9]' || true)
  good=$(($(tally PASSED "$log") + $(grep -c ' Passed ' <<<"$others" || true)))
  bad=$(($(tally FAILED "$log") + $(grep -cE 'Failed|Timeout|Exception|Not Run' <<<"$others" || true)))
  passed_over=$(tally SKIPPED "$log")
  rm -f "$report"
  # The differential tests rate the same messages everywhere; the digests of what they got must be the same.
  rated=$(ratings "$log")
  echo "$target: $(wc -l <<<"$rated") runs compared, $(sed -E 's/.* ([0-9]+) ratings, .*/\1/' <<<"$rated" | sum) ratings," \
    "$(sed -E 's/.*, ([0-9]+) too close .*/\1/' <<<"$rated" | sum) of them too close to a cut-off"
  if [ -z "$rated" ] || [ "$rated" != "$reference" ]; then
    echo "FAIL: the ratings of $target are not this machine's"
    diff <(echo "$reference") <(echo "$rated") || true
    bad=$((bad + 1))
  fi
  [ "$good" -gt 0 ] && { [ "$status" -eq 0 ] || [ "$bad" -gt 0 ]; } || bad=$((bad + 1))
  echo "$target: $good passed, $bad failed, $passed_over skipped, in $((SECONDS - started)) s"
  passed=$((passed + good)) failed=$((failed + bad)) skipped=$((skipped + passed_over))
done

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
