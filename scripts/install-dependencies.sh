#!/usr/bin/env bash
# Installs the Debian packages of groups that are missing. Usage: install-dependencies.sh [GROUP...]
# package-groups.sh beside this file lists the groups; the default is build.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package-groups.sh"
[ $# -gt 0 ] || set -- build
install_packages "$@"
