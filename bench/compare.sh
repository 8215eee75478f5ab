#!/usr/bin/env bash
# Compares two builds' benchmarks on a machine that need not be quiet. Row by row the two programs run right after each
# other, in turns the one and the other first, so that what else the machine does meets both alike.
# Usage: compare.sh [--rounds N] [--filter REGEX] [--time real|cpu] OLD NEW
# OLD and NEW are build folders or their velq_bench programs; N is at least 6 (default 9). Status 1 when a row fails, or
# the builds' answers differ.
# Environment: TMPDIR, the folder of the installations (default /dev/shm, which keeps the disk out of the times).
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
rounds=9 filter=. time=real builds=()

usage() { sed -n '2,8s/^# //p' "${BASH_SOURCE[0]}" >&2; exit 64; }
while [ $# -gt 0 ]; do
  case $1 in
    --rounds) rounds=${2:-} ;;
    --filter) filter=${2:-} ;;
    --time) time=${2:-} ;;
    -*) usage ;;
    *) builds+=("$1"); shift; continue ;;
  esac
  [ $# -ge 2 ] || usage
  shift 2
done
[ ${#builds[@]} -eq 2 ] && [[ $rounds =~ ^[0-9]+$ ]] && [ "$rounds" -ge 6 ] && [[ $time =~ ^(real|cpu)$ ]] || usage

declare -A program
for name in old new; do
  program[$name]=${builds[0]}
  builds=("${builds[@]:1}")
  [ ! -d "${program[$name]}" ] || program[$name]=${program[$name]}/bin/velq_bench
  [ -x "${program[$name]}" ] || { echo "compare.sh: no program ${program[$name]}" >&2; exit 66; }
done
export TMPDIR=${TMPDIR:-/dev/shm}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for name in old new; do
  "${program[$name]}" --benchmark_list_tests=true --benchmark_filter="$filter" | grep -xE '[^ ]+/[^ ]+' >"$work/$name.rows" ||
    { echo "compare.sh: ${program[$name]} has no such row" >&2; exit 65; }
done
{ diff "$work/old.rows" "$work/new.rows" || true; } | sed -n 's/^< /only in OLD: /p; s/^> /only in NEW: /p' >&2
mapfile -t rows < <(grep -Fxf "$work/new.rows" "$work/old.rows")
[ ${#rows[@]} -gt 0 ] || { echo "compare.sh: the builds have no row in common" >&2; exit 65; }

# run BUILD ROUND INDEX: writes the times of that row, and adds a line on what it answered.
run() {
  local row=${rows[$3]}
  "${program[$1]}" --benchmark_filter="^$row\$" --benchmark_min_time=0.05 --benchmark_out="$work/$1-$2-$3.json" \
    --benchmark_out_format=json 2>"$work/errors" | sed -n "s|^answers: |$row |p" >>"$work/$1.answers" ||
    { cat "$work/errors" >&2; exit 1; }
}

for ((round = 1; round <= rounds; ++round)); do
  order=(old new)
  ((round % 2)) || order=(new old)
  for index in "${!rows[@]}"; do
    run "${order[0]}" "$round" "$index"
    run "${order[1]}" "$round" "$index"
  done
  echo "round $round of $rounds" >&2
done

"$here/compare.py" "$time" "$work"
for name in old new; do
  sort -u -o "$work/$name.answers" "$work/$name.answers"
done
diff "$work/old.answers" "$work/new.answers" >&2 || { echo "compare.sh: the builds' answers differ" >&2; exit 1; }
