#!/usr/bin/env bash
# Installs the libraries into a temporary folder and builds a C program outside the tree against them in both ways: with
# CMake's find_package and with pkg-config. Both programs must rate a message; a second
# one, built in the same ways against the text preparation alone, must prepare one.
# Usage: check_installed.sh BUILD_DIR SOURCE_DIR LAY_OUT_INSTALLATION
set -euo pipefail
build=$1 source=$2 lay_out=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for component in runtime development; do
  cmake --install "$build" --prefix "$work/prefix" --component "$component" >/dev/null
done
directory=$("$lay_out" "$work/installation")

# rates PROGRAM: it starts, rates and blocks the sender.
rates() {
  local answer
  answer=$("$1" "$directory" 13900002222 "some words of some length" spam)
  [ "$(sed -n 2p <<<"$answer")" = "black list: 13900002222 (contact 42)" ] || { echo "FAIL: $1 said: $answer"; exit 1; }
}

prepares() {
  local answer
  answer=$("$1")
  [ "$answer" = "fur all: call now" ] || { echo "FAIL: $1 said: $answer"; exit 1; }
}

cmake -S "$source/tests/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DHOST_SOURCE="$source/examples/host.c" -DPREPARE_SOURCE="$source/examples/prepare.c" >/dev/null
cmake --build "$work/consumer" >/dev/null
rates "$work/consumer/host"
prepares "$work/consumer/prepare"
echo "ok: find_package"

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name velq.pc)")
export PKG_CONFIG_PATH
read -ra flags <<<"$(pkg-config --cflags --libs velq)"
cc -std=c11 -o "$work/host" "$source/examples/host.c" "${flags[@]}" -Wl,-rpath,"$(pkg-config --variable=libdir velq)" \
  -Wl,-rpath-link,"$(pkg-config --variable=libdir velq)"
rates "$work/host"
read -ra flags <<<"$(pkg-config --cflags --libs velqtext)"
cc -std=c11 -o "$work/prepare" "$source/examples/prepare.c" "${flags[@]}" \
  -Wl,-rpath,"$(pkg-config --variable=libdir velqtext)"
prepares "$work/prepare"
echo "ok: pkg-config"
