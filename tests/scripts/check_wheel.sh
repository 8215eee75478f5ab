#!/usr/bin/env bash
# Builds the wheel of the Python package, installs from it into a folder of its own and runs the package's tests on what is
# installed; without a network where a user may shut it off. Status 77 where pip or what it builds with is not installed.
# Usage: check_wheel.sh SOURCE_DIR; the variables of the package's tests name the libraries.
set -euo pipefail
source=$1
/usr/bin/python3 -c 'import importlib.util as i, sys; sys.exit(not all(map(i.find_spec, sys.argv[1:])))' pip setuptools wheel || { echo "no pip, setuptools and wheel here"; exit 77; }
if [ -z "${VELQ_WITHOUT_NETWORK:-}" ]; then
  export VELQ_WITHOUT_NETWORK=1
  if unshare --user --map-root-user --net true 2>/dev/null; then
    exec unshare --user --map-root-user --net "$0" "$@"
  fi
  echo "the network cannot be shut off here"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$source/scripts/build-wheel.sh" "$work/wheels" >/dev/null
"$source/scripts/build-wheel.sh" "$work/again" >/dev/null
cmp "$work"/wheels/*.whl "$work"/again/*.whl
/usr/bin/python3 -m pip install --quiet --disable-pip-version-check --root-user-action=ignore --no-index --no-deps \
  --no-cache-dir --target "$work/installed" "$work"/wheels/velq-*.whl
[ -f "$work/installed/velq/py.typed" ] || { echo "FAIL: the wheel has no py.typed"; exit 1; }
[ ! -e "$work/installed/tests" ] || { echo "FAIL: the wheel has the tests"; exit 1; }

cp -r "$source/bindings/python/tests" "$work/tests"
cd "$work"
export PYTHONPATH=$work/installed PYTHONDONTWRITEBYTECODE=1
/usr/bin/python3 - <<'END'
import importlib.metadata, velq
assert "/installed/velq/" in velq.__file__, velq.__file__
assert importlib.metadata.version("velq") == velq.__version__, importlib.metadata.version("velq")
END
/usr/bin/python3 -m unittest discover -s tests -t .
