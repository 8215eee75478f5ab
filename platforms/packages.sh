#!/usr/bin/env bash
# Fetches source packages and packages of other architectures from the archive that this machine itself installs from,
# through an apt state of its own: the machine's list of architectures stays as it is, and nothing is installed.
# Usage: packages.sh sources FOLDER NAME...      unpacked into FOLDER/NAME
#        packages.sh binaries FOLDER NAME:ARCH... as .deb files in FOLDER
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$source_root/scripts/package-groups.sh"
kind=$1 folder=$2
shift 2

apt=$cache/apt
mkdir -p "$apt"/{lists/partial,archives/partial,sources.list.d} "$folder"
: >"$apt/status"
# Only the distribution itself and its updates: the other archives do not offer every architecture.
archives() {
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Label: Debian' | sort -u
}
# Machines may come without package lists.
[ -n "$(archives)" ] || apt_get update || true
archives |
  while read -r uri release component; do
    printf 'Types: deb deb-src\nURIs: %s\nSuites: %s\nComponents: %s\n' "$uri" "$release" "$component"
    printf 'Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg\n\n'
  done >"$apt/sources.list.d/archive.sources"
[ -s "$apt/sources.list.d/archive.sources" ] || fail "no package lists here; run apt-get update first"
cat >"$apt/apt.conf" <<END
Dir::State "$apt";
Dir::State::status "$apt/status";
Dir::Cache "$apt";
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$apt/sources.list.d";
APT::Architecture "amd64";
APT::Architectures {"amd64";"i386";"armhf";"arm64";};
APT::Sandbox::User "root";
END
export APT_CONFIG=$apt/apt.conf
if [ -z "$(find "$apt/lists" -maxdepth 1 -name '*InRelease' -mmin -720 -print -quit)" ]; then
  apt-get update -qq >&2
fi

cd "$folder"
case $kind in
  binaries) apt-get download -qq "$@" ;;
  sources)
    for name in "$@"; do
      rm -rf "$name" "$name.fetched"
      mkdir "$name.fetched"
      # apt has checked what it fetched against the signed lists.
      (cd "$name.fetched" && apt-get source -qq --download-only "$name" && dpkg-source -q --no-check -x ./*.dsc "../$name")
      rm -rf "$name.fetched"
    done ;;
  *) fail "$kind is neither sources nor binaries" ;;
esac
