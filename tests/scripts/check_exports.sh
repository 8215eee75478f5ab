#!/usr/bin/env bash
# Checks what the shared libraries show of themselves: exactly the expected exports, the expected names and
# dependencies, no way from the engine to SQLite but through the access layer, and nothing needed by the text preparation.
# Usage: check_exports.sh LIBVELQ LIBKDSH LIBVELQTEXT SOURCE_DIR; NM and READELF name the tools for another processor's libraries.
set -euo pipefail
velq=$1 kdsh=$2 text=$3 source=$4
nm=${NM:-nm} readelf=${READELF:-readelf}
source "$(dirname "${BASH_SOURCE[0]}")/expectations.sh"

exports() { "$nm" -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort; }
dynamic() { "$readelf" -d "$1" | sed -n "s/.*($2).*\[\(.*\)\].*/\1/p"; }

expect_equal "libvelq exports the stored list" "$(grep -v '^#' "$source/tests/expected/velq_exports.txt")" "$(exports "$velq")"
expect_equal "libkdsh exports the stored list" "$(grep -v '^#' "$source/tests/expected/kdsh_exports.txt")" "$(exports "$kdsh")"
expect_equal "libvelqtext exports the stored list" "$(grep -v '^#' "$source/tests/expected/velqtext_exports.txt")" \
  "$(exports "$text")"
expect_equal "its header declares the stored list" "$(grep -v '^#' "$source/tests/expected/velqtext_exports.txt")" \
  "$(sed -n 's/^VELQ_API .*\b\(velq_[a-z_]*\)(.*/\1/p' "$source/include/velq_text.h" | LC_ALL=C sort -u)"
expect_equal "the public header declares the stored list" \
  "$(grep -v '^#' "$source/tests/expected/velq_exports.txt")" \
  "$(grep -oE '\bVELQ_[A-Za-z_]+\(' "$source/include/velq.h" | tr -d '(' | grep -vx VELQ_TEXT | LC_ALL=C sort -u)"
expect_equal "libvelq has 53 exports" 53 "$(exports "$velq" | wc -l)"
expect_equal "libkdsh has 23 exports" 23 "$(exports "$kdsh" | wc -l)"
expect_equal "libvelq's name" libvelq.so.1 "$(dynamic "$velq" SONAME)"
expect_equal "libkdsh's name" libkdsh.so.1 "$(dynamic "$kdsh" SONAME)"
expect_equal "libvelqtext's name" libvelqtext.so.1 "$(dynamic "$text" SONAME)"
expect_equal "libvelqtext needs nothing but the system" "" \
  "$(dynamic "$text" NEEDED | grep -vE '^(libc|ld-linux.*)\.so' || true)"
expect_equal "libvelq looks beside itself" '$ORIGIN' "$(dynamic "$velq" RUNPATH)"
needed=$(dynamic "$velq" NEEDED) called=$("$nm" -D --undefined-only "$velq")
expect_equal "libvelq needs libkdsh" libkdsh.so.1 "$(grep -x 'libkdsh.so.1' <<<"$needed" || true)"
expect_equal "no direct SQLite" "" "$(grep sqlite <<<"$needed" || true)"
expect_equal "no SQLite call" "" "$(grep sqlite3_ <<<"$called" || true)"
expect_equal "no text converter of the system" "" "$(grep iconv <<<"$called" || true)"

tell_failures
