#!/usr/bin/env bash
# Installs what is missing, builds, lays out an installation under build/run and rates the sample messages of
# data/samples.tsv on it. Usage: run.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/package-groups.sh
install_packages build

echo "== build"
cmake --preset release >/dev/null
cmake --build --preset release -j"$(nproc)" --target velq kdsh velq_command velq_starter_store

velq=build/bin/velq
install=build/run
echo "== installation in $install"
rm -rf "$install"
"$velq" init "$install" --quiet
"$velq" list black add --install "$install" 13900001111 --name 'Unwanted' --quiet
"$velq" list black add --install "$install" +4477009001234 --name 'Prize caller' --quiet
"$velq" list white add --install "$install" 13812345678 --name '张伟' --quiet
"$velq" list white add --install "$install" +15550100200 --name 'Anna' --quiet

echo "== sample messages"
printf '%-8s %-8s %-16s %s\n' expected rated sender text
while IFS=$'\t' read -r expected number text; do
  [[ $expected == \#* ]] && continue
  rated=$("$velq" rate --install "$install" --number "$number" "$text" | cut -f1)
  printf '%-8s %-8s %-16s %s\n' "$expected" "$rated" "$number" "$text"
done <data/samples.tsv

echo "== what the classifier alone makes of them (texts without senders)"
grep -v '^#' data/samples.tsv | cut -f1,3 >build/samples-by-text.tsv
"$velq" evaluate build/samples-by-text.tsv --store build/data/prob.bin --quiet
