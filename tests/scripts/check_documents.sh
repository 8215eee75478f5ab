#!/usr/bin/env bash
# Checks that a document's code blocks are the compiled examples, and that its relative links lead somewhere.
# A block is bound to a file by a comment line before it: <!-- example: examples/host.c -->
# Usage: check_documents.sh SOURCE_DIR
set -euo pipefail
cd "$1"
failures=0
blocks=0

for document in README.md docs/*.md bench/README.md data/README.md; do
  [ -f "$document" ] || continue
  while IFS= read -r example; do
    blocks=$((blocks + 1))
    shown=$(awk -v mark="<!-- example: $example -->" '
      $0 == mark { armed = 1; next }
      armed && /^```/ { if (inside) exit; inside = 1; next }
      inside { print }' "$document")
    if ! diff <(echo "$shown") "$example"; then
      echo "FAIL: $document shows another $example"
      failures=$((failures + 1))
    fi
  done < <(sed -n 's/^<!-- example: \(.*\) -->$/\1/p' "$document")
  while IFS= read -r link; do
    if [ ! -e "$(dirname "$document")/${link%%#*}" ]; then
      echo "FAIL: $document links to $link, which is not there"
      failures=$((failures + 1))
    fi
  done < <(grep -oE '\]\([^)#:]+[^):]*\)' "$document" | sed 's/^](//; s/)$//')
done

echo "$blocks examples compared"
[ "$failures" -eq 0 ] && [ "$blocks" -gt 0 ]
