#!/usr/bin/env bash
# Runs a program of a target: under Wine, under QEMU, or natively through the target's own loader. A GoogleTest program
# must end in GoogleTest's own closing line: a program that never ran (a missing emulator part, a foreign loader) can end
# with status 0 and no output. Usage: run.sh TARGET PROGRAM [ARGUMENT...]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
target=$1
check_targets "$target"
shift

output=$(mktemp)
itself=$(mktemp) # what the program finds as its own name
trap 'rm -f "$output" "$itself"' EXIT

root=/usr/$(triplet "$target")
case $target in
  windows-*) use_wine; command=(wine) ;;
  linux-armhf) command=(qemu-arm -L "$root" -0 "$itself") ;;
  linux-arm64) command=(qemu-aarch64 -L "$root" -0 "$itself") ;;
  linux-i386) command=("$root/lib/ld-linux.so.2" --library-path "$root/lib" --argv0 "$itself") ;;
esac
# A test that starts its own program anew, for a process without a past, has to come through the emulator again.
printf '#!/bin/sh\nexec %s "$@"\n' "$(printf '%q ' "${command[@]}" "$1")" >"$itself"
chmod +x "$itself"

status=0
"${command[@]}" "$@" </dev/null >"$output" 2>&1 || status=$?
tr -d '\r' <"$output"
# The build sets this variable for GoogleTest programs. A part of a small program may be left without tests, but closes.
if [ "$status" -eq 0 ] && [ -n "${GTEST_TOTAL_SHARDS:-}" ]; then
  grep -qE $'^\\[  PASSED  \\] [0-9]+ tests?\\.\r?$' "$output" || { echo "run.sh: $1 did not close"; status=1; }
fi
exit "$status"
