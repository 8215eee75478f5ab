#!/usr/bin/env bash
# Builds the Debian packages for other architectures and tries them there, ARM under QEMU, i386 by itself: the token store that
# `velq store build` makes of a small corpus, which has to be this machine's byte for byte, the kit's tests, and what test.sh does with
# the packages in a fresh system of that architecture. Ends with a table of figures. Needs root.
# Usage: test-architectures.sh [ARCHITECTURE...]; the default is: arm64 armhf i386
# Environment: VELQ_PLATFORM_CACHE (the systems), VELQ_JOBS (processes at a time), VELQ_GAMMA (as for build.sh);
# VELQ_KIT_PARTS=N runs every Nth of the kit's tests (default 8: they take an emulator long), 0 none;
# VELQ_CORPUS="FILE..." builds the store of these files of labelled messages instead.
set -euo pipefail
source_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
architectures=("$@")
[ ${#architectures[@]} -gt 0 ] || architectures=(arm64 armhf i386)
[ "$(id -u)" -eq 0 ] || { echo "test-architectures.sh: run as root" >&2; exit 1; }
source "$source_root/scripts/package-groups.sh"
source "$source_root/packaging/systems.sh"
install_packages build debian-foreign debian-tests
jobs=${VELQ_JOBS:-$(nproc)}
export VELQ_JOBS=$jobs
parts=${VELQ_KIT_PARTS:-8}
work=$(mktemp -d -p "${TMPDIR:-/var/tmp}")
trap 'rm -rf "$work"' EXIT
passed=0 failed=0 skipped=0
table=$'| architecture | packages built in | store built in | kit tests passed | checks of the packages passed | in all |\n|---|---|---|---|---|---|\n'

# count WORD FILE: what GoogleTest counted so.
count() { sed -nE "s/^\[  $1 *\] ([0-9]+) tests?(\.|, listed below:)\$/\1/p" "$2" | awk '{ sum += $1 } END { print sum + 0 }'; }

# step ARCHITECTURE WHAT COMMAND...: one check. Sets `took`, for the table.
step() {
  local what="$1: $2" started=$SECONDS
  shift 2
  if "$@" >"$work/output" 2>&1; then
    took="$((SECONDS - started)) s"
    echo "ok: $what ($took)"
    passed=$((passed + 1))
  else
    took=failed
    echo "FAIL: $what"
    tail -40 "$work/output" | cut -c1-400
    failed=$((failed + 1))
    return 1
  fi
}

# A corpus in the project's own words: the spam of the bench, and the written messages.
mkdir "$work/corpus"
if [ -n "${VELQ_CORPUS:-}" ]; then
  read -ra corpus <<<"$VELQ_CORPUS"
  cp "${corpus[@]}" "$work/corpus"
else
  grep -v '^#' "$source_root/bench/disguises/messages.tsv" | sed 's/^[^\t]*/spam/' >"$work/corpus/spam.tsv"
fi

echo "== this machine's store"
cmake -S "$source_root" --preset release >/dev/null
cmake --build "$source_root/build" -j"$jobs" --target velq_command >/dev/null
ln -s "$source_root/data/written" "$work/written"
(cd "$work" && "$source_root/build/bin/velq" store build --quiet corpus/*.tsv --written written --variants 1 -o own.bin)
sha256sum "$work/own.bin"

# In the system in which the packages were built, with the programs of the build.
as_built='export LD_LIBRARY_PATH=$(echo /build/velq/obj-*/lib)'
build_tests() {
  in_system "$root" sh -c "cd /build/velq/obj-* && cmake -DVELQ_BUILD_TESTS=ON . && cmake --build . -j$jobs --target velq_kit_tests"
}
kit_tests() {
  in_system "$root" GTEST_TOTAL_SHARDS="$parts" GTEST_SHARD_INDEX=0 sh -c "$as_built; cd /tmp && exec /build/velq/obj-*/bin/velq_kit_tests" \
    >"$work/kit" 2>&1 && [ "$(count PASSED "$work/kit")" -gt 0 ]
}
store_is_the_same() {
  rm -rf "$root/store"
  mkdir "$root/store"
  cp -r "$work/corpus" "$source_root/data/written" "$root/store"
  in_system "$root" sh -c "$as_built; cd /store && /build/velq/obj-*/bin/velq store build --quiet corpus/*.tsv --written written --variants 1 -o store.bin" &&
    cmp "$root/store/store.bin" "$work/own.bin"
}
starter_data_is_the_same() {
  cmake --build "$source_root/build" -j"$jobs" --target velq_starter_store &&
    dpkg-deb --fsys-tarfile "$packages"/velq-data_*.deb | tar -x -C "$work" ./usr/share/velq &&
    cmp "$work/usr/share/velq/prob.bin" "$source_root/build/data/prob.bin" &&
    cmp "$work/usr/share/velq/updates/1-to-2.update" "$source_root/build/data/updates/1-to-2.update"
}

# add_counts PASSED FAILED SKIPPED [SECONDS]: to all; sets `took` to what the table says of them.
add_counts() {
  passed=$((passed + $1)) failed=$((failed + $2)) skipped=$((skipped + $3))
  took="$1 of $(($1 + $2 + $3))${4:+ in $4 s}"
}

for architecture in "${architectures[@]}"; do
  started=$SECONDS
  root=$work/$architecture packages=$work/packages-$architecture
  foreign_architecture "$architecture"
  echo "== $architecture"
  if ! step "$architecture" "the packages are built" \
    env VELQ_FOREIGN_ROOT="$root" "$source_root/packaging/build.sh" --architecture "$architecture" "$packages"; then
    table+="| $architecture | failed | | | | $((SECONDS - started)) s |"$'\n'
    continue
  fi
  row="| $architecture | $took"
  step "$architecture" "a store comes out byte for byte as on this machine" store_is_the_same || true
  row+=" | $took"
  step "$architecture" "so does the data of the packages" starter_data_is_the_same || true

  took=
  if [ "$parts" -gt 0 ] && step "$architecture" "the kit's tests are built" build_tests; then
    testing=$SECONDS
    ended=well
    kit_tests || { ended=badly; grep -aE 'FAILED|: Failure' "$work/kit" | cut -c1-300 || tail -5 "$work/kit"; }
    bad=$(count FAILED "$work/kit")
    # A run that broke off is a failure too.
    [ "$ended" = well ] || [ "$bad" -gt 0 ] || bad=1
    add_counts "$(count PASSED "$work/kit")" "$bad" "$(count SKIPPED "$work/kit")" $((SECONDS - testing))
    echo "$architecture: the kit's tests, every ${parts}th: $took"
  fi
  row+=" | $took"
  rm -rf "$root"

  testing=$SECONDS
  "$source_root/packaging/test.sh" --architecture "$architecture" "$packages" >"$work/report" 2>&1 || true
  grep -avE '^(== |N: |I: )' "$work/report" || true
  took=failed
  if [[ $(tail -n 1 "$work/report") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed,\ ([0-9]+)\ skipped$ ]]; then
    add_counts "${BASH_REMATCH[@]:1:3}" $((SECONDS - testing))
  else
    failed=$((failed + 1))
  fi
  table+="$row | $took | $((SECONDS - started)) s |"$'\n'
done

echo "== figures"
echo -n "$table"
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
