#!/usr/bin/env bash
# Checks that the operating system is reached through the platform files only, that includes run one way, in the engine,
# in the text preparation and between the rooms of the kit, and that the kit's files stay short. Usage: check_sources.sh SOURCE_DIR
set -euo pipefail
cd "$1"
failures=0
longest_kit_file=400

# From the bottom up: what a row's files may include beside each other's. A row of the engine is a source file with its
# header (platform: the folder), one of the kit is a room. Whatever stands in no row fails, in both columns.
directions() {
  cat <<'ROWS'
velq
velq_schema

VELQ_DSH_Bounds
VELQ_DSH_Schema
VELQ_DSH_File_Layer           VELQ_DSH_Bounds VELQ_DSH_Schema
VELQ_DSH_Hardening            VELQ_DSH_Bounds VELQ_DSH_Schema VELQ_DSH_File_Layer
VELQ_DSH                      VELQ_DSH_Hardening VELQ_DSH_Bounds VELQ_DSH_File_Layer
platform                      velq
VELQ_Word                     velq
VELQ_Util                     velq platform VELQ_DSH VELQ_Word
VELQ_Log_Text                 VELQ_Util
VELQ_DB_Connection            VELQ_DSH VELQ_Util
VELQ_DB_Operation             VELQ_Log_Text VELQ_DB_Connection
VELQ_DB_Merge                 VELQ_Log_Text VELQ_DB_Connection
VELQ_BFilter_Datastore_Sqlite VELQ_DSH VELQ_Util VELQ_Word VELQ_DB_Connection
VELQ_BFilter_DataStore        VELQ_Util VELQ_BFilter_Datastore_Sqlite
VELQ_BFilter_WordListBase     VELQ_Util VELQ_BFilter_DataStore
VELQ_BFilter_WordList         VELQ_Util VELQ_BFilter_WordListBase
VELQ_Word_Seg                 VELQ_Util VELQ_Word VELQ_BFilter_WordList
VELQ_Gamma
VELQ_Gamma_gsl                VELQ_Gamma
VELQ_Gamma_boost              VELQ_Gamma
VELQ_BFilter_Score            VELQ_Util VELQ_BFilter_WordList VELQ_Word_Seg VELQ_Gamma
VELQ_BFilter_Register         VELQ_Util VELQ_BFilter_WordList VELQ_Word_Seg
VELQ_BFilter_Interface        VELQ_Util VELQ_BFilter_WordList VELQ_BFilter_Score VELQ_BFilter_Register
VELQ_Number_Records           velq VELQ_Util
VELQ_Number_Match             VELQ_DSH VELQ_DB_Connection
VELQ_DB_Interface             VELQ_Util VELQ_DB_Operation VELQ_Number_Match VELQ_Number_Records VELQ_Word_Seg VELQ_BFilter_Interface
VELQ_WL_Store                 VELQ_Util VELQ_DB_Merge VELQ_BFilter_DataStore
VELQ_WN_Store                 VELQ_Util VELQ_DB_Merge
VELQ_Update                   velq VELQ_Util VELQ_DB_Operation VELQ_WL_Store VELQ_WN_Store
VELQ_Rating_Manager           velq VELQ_Util VELQ_Word_Seg VELQ_BFilter_Register VELQ_BFilter_Interface VELQ_DB_Interface
VELQ_Interface                velq VELQ_Util VELQ_DB_Connection VELQ_BFilter_Register VELQ_DB_Interface VELQ_Update VELQ_Rating_Manager

velq_text                     velq
text_tables
written_tables                text_tables
scripts                       text_tables
foldings                      scripts
look_alikes                   text_tables scripts foldings
make_text_tables              text_tables scripts foldings look_alikes
prepare_text                  velq_text text_tables written_tables

kit/base                      velq
kit/engine                    velq velq_schema kit/base
kit/reading                   velq kit/base kit/engine
kit/store                     velq kit/base kit/engine kit/reading
kit/messages                  velq velq_text kit/base kit/engine kit/reading
kit/learning                  velq kit/base kit/engine kit/reading kit/store kit/messages
kit/evaluation                velq kit/base kit/engine kit/reading kit/store kit/messages kit/learning
kit/hooks                     velq kit/base kit/engine kit/reading kit/store kit/messages
kit/serve                     velq kit/base kit/engine kit/reading kit/store kit/messages kit/hooks
kit/cli                       velq kit/base kit/engine kit/reading kit/store kit/messages kit/learning kit/evaluation kit/hooks kit/serve
main                          kit/cli
ROWS
}

# verdict WHAT FINDINGS: there shall be none.
verdict() {
  if [ -z "$2" ]; then
    echo "ok: $1"
  else
    printf '%s\nFAIL: %s\n' "$2" "$1"
    failures=$((failures + 1))
  fi
}

# refuse WHAT PATTERN FILES...
refuse() {
  local what=$1 pattern=$2 found
  shift 2
  found=$(grep -nE "$pattern" "$@") || [ $? -eq 1 ]
  verdict "$what" "$found"
}

# The rows that permit what a higher row or none defines, and the includes that no row permits. Files are read after the
# rows; each prints a line.
wrong_directions() {
  directions | awk '
    function row(path) {
      sub(/^.*\/kit\//, "kit/", path)
      if (path ~ /^kit\//) { split(path, part, "/"); return "kit/" part[2] }
      if (path ~ /(^|\/)platform\//) return "platform"
      sub(/^.*\//, "", path)
      sub(/\.[a-z]+$/, "", path)
      return path
    }
    FNR == NR {
      if (NF == 0) next
      known[$1] = 1
      for (i = 2; i <= NF; i++) {
        if (!($i in known)) print "the row of " $1 " permits " $i ", which does not stand below it"
        allowed[$1, $i] = 1
      }
      next
    }
    /^[ \t]*#[ \t]*include[ \t]*"/ {
      split($0, quoted, "\"")
      from = row(FILENAME)
      to = row(quoted[2])
      if (from != to && !((from, to) in allowed)) print FILENAME ":" FNR ": " from " may not include " quoted[2]
    }
    END {
      for (i = 2; i < ARGC; i++) if (!(row(ARGV[i]) in known)) print ARGV[i] ": stands in no row"
    }' - "$@"
}

long_files() {
  find tools -name '*.cpp' -o -name '*.h' | sort | xargs wc -l |
    awk -v most="$longest_kit_file" '$2 != "total" && $1 > most { print $2 ": " $1 " lines" }'
}

mapfile -t engine < <(find src kdsh include text -name '*.cpp' -o -name '*.h' |
  grep -vE '^(src/platform/|text/(make_text_tables|foldings|look_alikes|scripts)\.)' | sort)
mapfile -t all < <(find src kdsh include text tools -name '*.cpp' -o -name '*.h' | sort)
mapfile -t engine_but_access < <(printf '%s\n' "${engine[@]}" | grep -v '^kdsh/')
mapfile -t all_but_front < <(find src -name '*.cpp' | grep -v 'src/VELQ_Interface.cpp' | sort)

refuse "no system call outside the platform files" \
  '\b(WideCharToMultiByte|MultiByteToWideChar|GetSystemTime|Sleep|nanosleep|usleep|iconv|iconv_open|gmtime|gmtime_r|localtime|clock_gettime|fopen|_wfopen|freopen|open|access|stat|CreateFile[AW]?)\(' "${engine[@]}"
refuse "no platform macro outside the platform files" '\b(_WIN32|_WIN64|__linux__|__unix__|_MSC_VER|__MINGW32__)\b' "${engine[@]}"
refuse "no system header outside the platform files" '#include <(windows|unistd|iconv|fcntl|sys/[a-z]+|time|ctime)(\.h)?>' "${engine[@]}"
refuse "SQLite is included by the access layer only" '#include <sqlite3' "${engine_but_access[@]}"
mapfile -t all_but_gamma < <(printf '%s\n' "${engine[@]}" "${all[@]}" | grep -vE '/VELQ_Gamma_(gsl|boost)\.cpp$' | sort -u)
refuse "GSL and Boost are included by the gamma function's files only" '#include <(gsl|boost)/' "${all_but_gamma[@]}"
refuse "only the front defines exports" '^(int32_t|void) VELQ_[A-Za-z_]+\(' "${all_but_front[@]}"
found=$(wrong_directions "${all[@]}")
verdict "includes run one way" "$found"
found=$(long_files)
verdict "no file of the kit has more than $longest_kit_file lines" "$found"

[ "$failures" -eq 0 ] || exit 1
