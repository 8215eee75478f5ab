#!/usr/bin/env bash
# Static checks: layout (clang-format), clang with its warnings as errors on what clang-tidy does not read, clang-tidy,
# cppcheck, shellcheck. The ordinary builds have gcc's warnings as errors. Every check runs, whatever became of the one
# before; the last line counts them.
# Usage: check.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/package-groups.sh
install_packages build java check

mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.c')
mapfile -t analysed < <(git ls-files 'src/*.cpp' 'kdsh/*.cpp' 'text/*.cpp' 'tools/*.cpp' ':(glob)bindings/java/*.cpp' |
  grep -v platform_win32)

layout() {
  clang-format-14 --dry-run --Werror "${sources[@]}"
}

clang_warnings() {
  cmake -S . -B build-clang -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 -DVELQ_BUILD_BENCH=OFF >/dev/null &&
    cmake --build build-clang -j"$(nproc)" --target velq velqtext &&
    scripts/compile-only.py build-clang "${analysed[@]}"
}

# each_by_clang_tidy OPTION... -- FILE...: one file at a time, since with several the analyzer takes a va_list of the later
# ones for uninitialized.
each_by_clang_tidy() {
  local options=()
  while [ "$1" != -- ]; do options+=("$1"); shift; done
  shift
  printf '%s\0' "$@" | xargs -0 -P "$(nproc)" -n 1 clang-tidy-14 "${options[@]}" -p build-clang --quiet 2>&1 |
    grep -vE '^[0-9]+ warnings? (generated|treated)' || [ "${PIPESTATUS[1]}" -eq 0 ]
}

# With the compiler's warnings. The plugin keeps the checks out of the headers of the system, which takes half of the time.
# One check compares declarations of the project with those of the system, so it reads without the plugin what declares
# a class in advance, itself or by a header.
clang_tidy() {
  local plugin=$PWD/build-clang/own-code-plugin.so in_advance='^[[:space:]]*(class|struct)[[:space:]]+[A-Za-z_0-9:]+;'
  clang++-14 -std=c++17 -O1 -fno-rtti -fPIC -shared -isystem "$(llvm-config-14 --includedir)" -o "$plugin" \
    scripts/own-code-plugin.cpp || return
  local included declaring
  included=$(git grep -lE "$in_advance" -- '*.h' | sed 's|.*/||' | paste -sd '|')
  mapfile -t declaring < <(git grep -lE "$in_advance|^#include \"(.*/)?(${included//./\\.})\"" -- "${analysed[@]}")
  local status=0
  each_by_clang_tidy --load="$plugin" -- "${analysed[@]}" || status=1
  [ ${#declaring[@]} -eq 0 ] ||
    each_by_clang_tidy --checks='-*,bugprone-forward-declaration-namespace' -- "${declaring[@]}" || status=1
  return "$status"
}

# The engine with the style checks; the tool without, whose rewriting of loops as algorithms is no gain.
cppcheck_all() {
  local options=(--std=c++20 --language=c++ --inline-suppr --error-exitcode=1 --suppress=missingIncludeSystem
    --suppress=unusedStructMember --quiet -I src -I include -I kdsh)
  cppcheck --enable=warning,performance,portability,style "${options[@]}" src kdsh text -i src/platform/platform_win32.cpp &&
    cppcheck --enable=warning,performance,portability "${options[@]}" -I tools tools
}

scripts() {
  git ls-files -z '*.sh' .ci/run | xargs -0 shellcheck --external-sources --source-path=SCRIPTDIR --severity=warning
}

passed=0 failed=0
for check in layout clang_warnings clang_tidy cppcheck_all scripts; do
  echo "== $check"
  if "$check"; then
    passed=$((passed + 1))
  else
    echo "== $check failed"
    failed=$((failed + 1))
  fi
done
echo "$passed passed, $failed failed, 0 skipped"
[ "$failed" -eq 0 ]
