#!/usr/bin/env bash
# Runs a program where the C library finds none of the text converters that it loads at run time. Status 77 where a user
# may not hide them. Usage: check_without_converters.sh PROGRAM [ARGUMENT...]
set -euo pipefail

unshare --user --map-root-user --mount true 2>/dev/null || { echo "no namespaces here"; exit 77; }
exec unshare --user --map-root-user --mount bash -c '
  for folder in /usr/lib*/gconv /usr/lib/*/gconv; do
    [ ! -d "$folder" ] || mount -t tmpfs none "$folder" || exit 77
  done
  if iconv -f UTF-16LE -t UTF-8 </dev/null 2>/dev/null; then echo "FAIL: the converters are still there"; exit 1; fi
  exec "$@"' bash "$@"
