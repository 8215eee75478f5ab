# Sourced by the scripts of this folder: minimal Debian systems. They are kept as archives for a week, laid out in folders, and
# entered with mounts of their own.
# shellcheck shell=bash
packaging=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${VELQ_PLATFORM_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/velq-platforms}
export VELQ_PLATFORM_CACHE=$cache
around=() # what is put before commands that run programs of another architecture

# foreign_architecture ARCHITECTURE: from here on the programs in the systems are of this one.
foreign_architecture() { around=("$packaging/foreign.sh" "$1"); }

# archived_system NAME ARGUMENT...: a system that mmdebstrap makes with these arguments; prints the path of its archive. Other
# arguments need another name.
archived_system() {
  local archive=$cache/$1.tar sources
  shift
  find "$cache" -maxdepth 1 -name 'system-*.tar' -mtime +7 -delete 2>/dev/null || true
  if [ ! -f "$archive" ]; then
    mkdir -p "$cache"
    sources=$(mktemp -d)
    apt-config dump | grep -E '^Acquire::(https?::Proxy|Retries)' >"$sources/apt.conf" || true
    # Machines may come without package lists.
    [ -n "$(apt-get indextargets 'Label: Debian')" ] || apt_get update
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Label: Debian' |
      sort -u |
      "${around[@]}" mmdebstrap --quiet --mode=root --format=tar --aptopt="$sources/apt.conf" "$@" \
        "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$archive.part" - >&2 || return 1
    rm -rf "$sources"
    mv "$archive.part" "$archive"
  fi
  echo "$archive"
}

# lay_out_system ARCHIVE FOLDER: with the few devices that programs ask for.
lay_out_system() {
  mkdir -p "$2"
  tar -C "$2" -xf "$1" --exclude='./dev/*'
  mknod -m 666 "$2/dev/null" c 1 3
  mknod -m 666 "$2/dev/zero" c 1 5
  mknod -m 666 "$2/dev/urandom" c 1 9
  ln -s /proc/self/fd "$2/dev/fd"
}

# in_system FOLDER [NAME=VALUE...] COMMAND...: runs a command there. The mount ends with it, whatever becomes of it.
in_system() {
  local folder=$1
  shift
  "${around[@]}" unshare --mount --fork bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$folder" \
    /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"
}

# fingerprint: a few digits of what stands on standard input.
fingerprint() { sha256sum | cut -c1-12; }
