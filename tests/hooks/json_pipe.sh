#!/usr/bin/env bash
# The example of the pipe, as the page on integration shows it.
# Usage: json_pipe.sh VELQ SOURCE_DIR
set -euo pipefail
# shellcheck source=tests/hooks/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
needs python3 python3
prepare_work

PYTHONIOENCODING=utf-8 python3 -B "$source/examples/hooks/pipe.py" "$velq" "$work/var/lib/velq" >"$work/answers"
if diff "$work/answers" - <<<$'ham\nspam\nthe member body is not text'; then
  echo "ok: the pipe answers each message"
else
  fail 'the pipe gives other answers'
fi
finish
