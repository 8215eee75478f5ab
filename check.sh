#!/usr/bin/env bash
# Static checks: layout (clang-format), clang-tidy, cppcheck, and a clang build with warnings as errors. The ordinary
# builds have gcc's warnings as errors. Usage: check.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
./install-dependencies.sh build check

mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.c')
mapfile -t analysed < <(git ls-files 'src/*.cpp' 'kdsh/*.cpp' 'tools/*.cpp' | grep -v platform_win32)

echo "== layout"
clang-format-14 --dry-run --Werror "${sources[@]}"

echo "== clang 14, warnings as errors"
cmake -S . -B build-clang -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DVELQ_BUILD_BENCH=OFF >/dev/null
cmake --build build-clang -j"$(nproc)"

echo "== clang-tidy"
printf '%s\0' "${analysed[@]}" | xargs -0 -P "$(nproc)" -n 4 clang-tidy-14 -p build-clang --quiet

echo "== cppcheck"
cppcheck --enable=warning,performance,portability,style --std=c++20 --language=c++ --inline-suppr --error-exitcode=1 \
  --suppress=missingIncludeSystem --suppress=unusedStructMember --quiet -I src -I include -I kdsh \
  src kdsh -i src/platform/platform_win32.cpp

echo "all static checks passed"
