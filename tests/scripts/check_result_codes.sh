#!/usr/bin/env bash
# Checks that the comment of every function in the public header names all result codes that the function can return, and
# no other. The truth is tests/expected/result_codes.txt, which the tests of the guards hold against the running library.
# Usage: check_result_codes.sh SOURCE_DIR
set -euo pipefail
header=$1/include/velq.h table=$1/tests/expected/result_codes.txt exports=$1/tests/expected/velq_exports.txt
source "$(dirname "${BASH_SOURCE[0]}")/expectations.sh"

# Function and codes, one line each, in the order of the header. A comment is about the declarations behind it, up to the
# next comment; a code stands at the beginning of its line, two blanks before its cause.
codes_in_header() {
  awk '
    /^\/\*/ { codes = "" }
    /^ \*  ?(0|-[0-9]+)  [^ ]/ { codes = codes " " $2 }
    /^VELQ_API / {
      match($0, /VELQ_[A-Za-z_]+\(/)
      name = substr($0, RSTART, RLENGTH - 1)
      if (($2 == "void") != (codes == "")) codes = codes " in spite of its type " $2
      print name (codes == "" ? " none" : codes)
    }' "$header"
}

expected=$(grep -v '^#' "$table")
expect_equal "the table has a row for each of the $(grep -vc '^#' "$exports") exports" \
  "$(grep -v '^#' "$exports")" "$(cut -d' ' -f1 <<<"$expected")"
expect_equal "each function's comment names its result codes" "$expected" "$(codes_in_header | LC_ALL=C sort)"
expect_equal "each code of the enumeration is some function's result" \
  "$(sed -n 's/^    VELQ_\(SUCCESS\|NOT_INITIALIZED\|ERR_[A-Z_]*\) = \(-\?[0-9]*\).*/\2/p' "$header" | sort -n)" \
  "$(tr ' ' '\n' <<<"$expected" | grep -E '^-?[0-9]+$' | sort -nu)"

tell_failures
