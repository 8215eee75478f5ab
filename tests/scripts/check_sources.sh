#!/usr/bin/env bash
# Checks that the operating system is reached through the platform files only, and that dependencies run one way.
# Usage: check_platform_calls.sh SOURCE_DIR
set -euo pipefail
cd "$1"
failures=0

# refuse WHAT PATTERN FILES...
refuse() {
  local what=$1 pattern=$2
  shift 2
  if grep -nE "$pattern" "$@"; then
    echo "FAIL: $what"
    failures=$((failures + 1))
  else
    echo "ok: $what"
  fi
}

mapfile -t engine < <(find src kdsh include -name '*.cpp' -o -name '*.h' | grep -v '^src/platform/' | sort)
mapfile -t kdsh < <(find kdsh -name '*.cpp' -o -name '*.h' | sort)
mapfile -t bfilter < <(find src/bfilter -name '*.cpp' -o -name '*.h' | sort)
mapfile -t all_but_front < <(find src -name '*.cpp' | grep -v 'src/VELQ_Interface.cpp' | sort)

refuse "no system call outside the platform files" \
  '\b(WideCharToMultiByte|MultiByteToWideChar|GetSystemTime|Sleep|nanosleep|usleep|iconv|iconv_open|gmtime|gmtime_r|localtime|clock_gettime|fopen|_wfopen|freopen|open|access|stat|CreateFile[AW]?)\(' "${engine[@]}"
refuse "no platform macro outside the platform files" '\b(_WIN32|_WIN64|__linux__|__unix__|_MSC_VER|__MINGW32__)\b' "${engine[@]}"
refuse "no system header outside the platform files" '#include <(windows|unistd|iconv|fcntl|sys/[a-z]+|time|ctime)(\.h)?>' "${engine[@]}"
refuse "the access layer includes nothing of the engine" '#include "(VELQ_(Util|DB|Interface|Word|Update|WL|WN|Rating)|bfilter|platform|velq)' "${kdsh[@]}"
refuse "the classifier does not include the engine front" '#include "VELQ_(Interface|Rating_Manager|DB_Interface|Update)' "${bfilter[@]}"
refuse "SQLite is included by the access layer only" '#include <sqlite3' $(printf '%s\n' "${engine[@]}" | grep -v '^kdsh/')
refuse "only the front defines exports" '^(int32_t|void) VELQ_[A-Za-z_]+\(' "${all_but_front[@]}"

[ "$failures" -eq 0 ] || exit 1
