#!/usr/bin/env bash
# Checks that an engine built for Boost.Math has nothing of GSL, neither called nor inside, and that one built for GSL has:
# the latter shows that the check can see it. Usage: check_gamma.sh KIND LIBRARY [KIND LIBRARY...], the kinds being gsl and
# boost; NM and OBJDUMP name the tools for another processor's libraries.
set -euo pipefail
nm=${NM:-nm} objdump=${OBJDUMP:-objdump}
failures=0

# Symbols, libraries that are loaded with it, texts.
traces() {
  "$nm" "$1" 2>/dev/null | grep -io '\bgsl[_a-z]*' | sed 's/^/symbol /' || true
  "$objdump" -p "$1" | grep -ioE '(NEEDED|DLL Name:) .*gsl.*' || true
  grep -aoE 'gsl: %s|libgsl' "$1" | sed 's/^/text /' || true
}

while [ $# -gt 0 ]; do
  kind=$1 library=$2
  shift 2
  found=$(traces "$library" | sort -u)
  case $kind in
    gsl) expected=some ;;
    boost) expected=none ;;
    *) echo "check_gamma.sh: no kind $kind" >&2; exit 2 ;;
  esac
  if [ "$expected" = "$([ -n "$found" ] && echo some || echo none)" ]; then
    echo "ok: $kind: $expected of GSL in ${library##*/}"
  else
    printf 'FAIL: %s: there should be %s of GSL in %s\n%s\n' "$kind" "$expected" "$library" "$found"
    failures=$((failures + 1))
  fi
done
[ "$failures" -eq 0 ]
