#!/usr/bin/env bash
# Runs a command where programs of another architecture run too: in namespaces of its own for users (all of them, under their own
# numbers), mounts and processes, where the kernel starts such programs through QEMU. What the machine itself starts in which way stays as
# it is. Programs for i386 run by themselves. Needs root, and a kernel whose user namespaces have formats of programs of their
# own (Linux 6.7). Usage: foreign.sh ARCHITECTURE COMMAND [ARGUMENT...]
# Environment: VELQ_PLATFORM_CACHE keeps QEMU.
set -euo pipefail
packaging=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${VELQ_PLATFORM_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/velq-platforms}
architecture=$1
shift
case $architecture in
  arm64) cpu=aarch64 ;;
  armhf) cpu=arm ;;
  i386) cpu='' ;;
  *) echo "foreign.sh: no architecture $architecture; there are: arm64 armhf i386" >&2; exit 1 ;;
esac

# A QEMU that needs no library, for it is started from within systems that have none for it. Installed, it would change
# how the machine starts programs.
qemu=$cache/qemu
if [ -n "$cpu" ] && [ ! -x "$qemu/qemu-$cpu-static" ]; then
  rm -rf "$qemu.part"
  "$packaging/../platforms/packages.sh" binaries "$qemu.part" qemu-user-static:amd64
  dpkg-deb --fsys-tarfile "$qemu.part"/qemu-user-static_*.deb |
    tar -x -C "$qemu.part" --transform='s|.*/||' --wildcards './usr/bin/qemu-a*-static' './usr/lib/binfmt.d/qemu-a*.conf'
  rm -rf "$qemu"
  mv "$qemu.part" "$qemu"
fi

# inside CPU QEMU COMMAND...: what runs in the namespaces, first of all.
inside() {
  local cpu=$1 qemu=$2 formats=/proc/sys/fs/binfmt_misc
  shift 2
  mount -t proc proc /proc
  if [ -n "$cpu" ]; then
    mount -t binfmt_misc binfmt_misc "$formats"
    # The kernel opens QEMU now (F), and hands over the name that the program was called by (P).
    sed -E "s|:/[^:]*:[A-Z]*\$|:$qemu/qemu-$cpu-static:PF|" "$qemu/qemu-$cpu.conf" >"$formats/register"
  fi
  exec "$@"
}

gate=$(mktemp -u)
mkfifo "$gate"
child=
trap 'rm -f "$gate"; [ -z "$child" ] || kill "$child" 2>/dev/null || true' EXIT
unshare --user --mount --pid --fork --kill-child bash -c \
  "$(declare -f inside); set -euo pipefail; read -r _ <\"\$0\"; inside \"\$@\"" "$gate" "$cpu" "$qemu" "$@" <&0 &
child=$!
own=$(readlink /proc/self/ns/user)
while [ -e "/proc/$child" ] && [ "$(readlink "/proc/$child/ns/user")" = "$own" ]; do sleep 0.05; done
echo "0 0 65536" >"/proc/$child/uid_map"
echo "0 0 65536" >"/proc/$child/gid_map"
echo >"$gate"
wait "$child"
