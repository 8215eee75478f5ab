#!/usr/bin/env bash
# Runs the differential tests on the engine as built and on the one with the other library's gamma function, and compares
# the digests of the ratings. Usage: compare_gamma_ratings.sh PROGRAM OTHER_LIBVELQ [FILTER], the filter being GoogleTest's.
set -euo pipefail
program=$1 other=$2 filter=${3:-*}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
folder=$(dirname "$(realpath "$other")")

libraries=$(LD_LIBRARY_PATH=$folder ldd "$program")
[[ $libraries == *"$folder/libvelq.so.1"* ]] || { echo "FAIL: $other is not loaded"; exit 1; }

# ratings NAME: what the tests say of them.
ratings() {
  "$program" --gtest_filter="$filter" >"$work/$1" 2>"$work/$1.errors" || { tail -40 "$work/$1" "$work/$1.errors" >&2; exit 1; }
  grep '^\[ RATINGS  \]' "$work/$1"
}
ratings own >"$work/own.ratings"
LD_LIBRARY_PATH=$folder ratings other >"$work/other.ratings"
diff "$work/own.ratings" "$work/other.ratings" || { echo "FAIL: the ratings differ"; exit 1; }
awk '{ sub(/.*: /, ""); ratings += $1; close_ones += $3 }
  END { print "ok: " NR " digests of " ratings " ratings are the same, " close_ones " too close to a cut-off to compare" }' \
  "$work/own.ratings"
