#!/usr/bin/env bash
# Builds the wheel of the Python package, without asking any index. The wheel holds Python only: it works with the installed
# libvelq and libvelqtext. Installs the packages that the build needs. Usage: build-wheel.sh [FOLDER]; the wheel goes to
# FOLDER (default build-wheel in the tree).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package-groups.sh"
output=${1:-$source_root/build-wheel}
install_packages python

make_work_folder # the build writes beside its sources
cp -r "$source_root/bindings/python" "$work/package"
rm -rf "$work"/package/{tests,build,*.egg-info}
# The same sources make the same wheel.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-315532800}
find "$work/package" -exec touch -d "@$SOURCE_DATE_EPOCH" {} +
/usr/bin/python3 -m pip wheel --quiet --disable-pip-version-check --no-index --no-deps \
  --no-build-isolation --no-cache-dir --wheel-dir "$work/wheel" "$work/package"
mkdir -p "$output"
mv "$work"/wheel/*.whl "$output"
ls "$output"/velq-*.whl
