#!/usr/bin/env bash
# Checks that the native half of the Java package calls every export of the engine, and the preparation of texts.
# Usage: check_java_calls.sh LIBVELQJNI SOURCE_DIR; NM names the nm to use
set -euo pipefail
called=$("${NM:-nm}" -D --undefined-only "$1" | grep -oE '\b(VELQ|velq)_[A-Za-z_]+' | LC_ALL=C sort -u)
exported=$(cat "$2"/src/velq.map "$2"/text/velqtext.map | grep -oE '^ +[A-Za-z_]+;' | tr -d ' ;' | LC_ALL=C sort -u)
diff <(echo "$called") <(echo "$exported") || { echo "FAIL: < called, > exported"; exit 1; }
echo "$(wc -l <<<"$called") exports called"
