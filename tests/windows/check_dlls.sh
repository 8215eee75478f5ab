#!/usr/bin/env bash
# Checks what the DLLs show of themselves: their names, exactly the expected exports without decoration, and nothing
# imported but the engine's own layer and what every Windows has.
# Usage: check_dlls.sh VELQ_DLL KDSH_DLL VELQTEXT_DLL SOURCE_DIR; OBJDUMP names the tool.
set -euo pipefail
velq=$1 kdsh=$2 text=$3 source=$4
objdump=${OBJDUMP:-objdump}
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/expectations.sh"

exports() {
  "$objdump" -p "$1" | awk '/^\[Ordinal\/Name Pointer\] Table/ { on = 1; next } on && !/^[ \t]*\[/ { exit }
    on { print $NF }' | LC_ALL=C sort
}
imports() { "$objdump" -p "$1" | sed -n 's/^[ \t]*DLL Name: //p' | tr '[:upper:]' '[:lower:]' | LC_ALL=C sort; }
name() { "$objdump" -p "$1" | sed -n 's/^Name[ \t].* \([^ ]*\)$/\1/p'; }

expect_equal "velq.dll's name" velq.dll "$(name "$velq")"
expect_equal "kdsh.dll's name" kdsh.dll "$(name "$kdsh")"
expect_equal "velqtext.dll's name" velqtext.dll "$(name "$text")"
expect_equal "velqtext.dll exports the stored list" "$(grep -v '^#' "$source/tests/expected/velqtext_exports.txt")" \
  "$(exports "$text")"
expect_equal "velqtext.dll imports the system" $'kernel32.dll\nmsvcrt.dll' "$(imports "$text")"
expect_equal "velq.dll exports the stored list" "$(grep -v '^#' "$source/tests/expected/velq_exports.txt")" "$(exports "$velq")"
expect_equal "kdsh.dll exports the stored list" "$(grep -v '^#' "$source/tests/expected/kdsh_exports.txt")" "$(exports "$kdsh")"
expect_equal "velq.dll imports the layer and the system" $'kdsh.dll\nkernel32.dll\nmsvcrt.dll' "$(imports "$velq")"
expect_equal "kdsh.dll imports the system" $'kernel32.dll\nmsvcrt.dll' "$(imports "$kdsh")"

tell_failures
