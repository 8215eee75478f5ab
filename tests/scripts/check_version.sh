#!/usr/bin/env bash
# Checks that what states the release's number states the one of include/velq.h. CMake, the libraries, pkg-config and the
# command take theirs from there. Usage: check_version.sh SOURCE_DIR
set -euo pipefail
cd "$1"
failures=0

release=$(sed -nE 's/^#define VELQ_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' include/velq.h | paste -sd.)
[[ $release =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || { echo "FAIL: include/velq.h states \"$release\""; exit 1; }

# states FILE PATTERN: the first line of the file that matches, in its group, is the release's number.
states() {
  local found
  found=$(sed -nE "/$2/ { s/^.*$2.*$/\\1/p; q }" "$1")
  if [ "$found" = "$release" ]; then
    echo "ok: $1"
  else
    echo "FAIL: $1 states \"$found\", include/velq.h \"$release\""
    failures=$((failures + 1))
  fi
}

states CHANGES.md '^## (.+)'
states packaging/debian/changelog '^velq \((.+)\)'
states bindings/python/velq/__init__.py '^__version__ = "(.+)"'

[ "$failures" -eq 0 ]
