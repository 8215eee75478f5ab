#!/usr/bin/env bash
# Configures the preset for installing into a folder of its own: what it would build has the command and the libraries, and
# none of the tests. Usage: check_install_preset.sh SOURCE_DIR
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$1" -B "$work" --preset install >/dev/null
ninja -C "$work" -t commands all >"$work/commands"
for wanted in bin/velq lib/libvelq.so lib/libvelqtext.so lib/libkdsh.so prob.bin velq.1; do
  grep -q "$wanted" "$work/commands" || { echo "FAIL: $wanted is not built"; exit 1; }
done
if grep -E "$1/(tests|bench|examples)/|gtest" "$work/commands"; then
  echo "FAIL: this is built, too"
  exit 1
fi
echo "$(grep -c ' -c ' "$work/commands") files are compiled"
