#!/usr/bin/env bash
# Builds what the engine links (SQLite, the part of GSL that it calls) for other targets, from Debian's source packages,
# and GoogleTest; puts the headers of utf8cpp and Boost beside them; and fetches the parts of Wine that its tests need at run time.
# Everything lies in the cache folder and is made once. Usage: dependencies.sh [TARGET...]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")
check_targets "${targets[@]}"
mkdir -p "$cache"
exec 9>"$cache/lock"
flock 9

# What was made is kept as long as its recipe stays the same.
recipe_of() { cat "$@" | sha256sum; }
fetching=$(recipe_of "$platforms/packages.sh")
building=$(recipe_of "$platforms/packages.sh" "$platforms"/dependencies/* "$platforms"/toolchains/* \
  "$source_root/cmake/VelqArithmetic.cmake")

# is_made FOLDER RECIPE; made FOLDER RECIPE
is_made() { [ "$(cat "$1/.recipe" 2>/dev/null)" = "$2" ]; }
made() { echo "$2" >"$1/.recipe"; }

sources=$cache/sources
if ! is_made "$sources" "$fetching"; then
  echo "-- sources" >&2
  "$platforms/packages.sh" sources "$sources" sqlite3 gsl
  # SQLite as one file, written by its own build.
  (cd "$sources/sqlite3" && ./configure --disable-tcl --disable-readline && make sqlite3.c) >"$cache/sqlite3.log" 2>&1 ||
    { tail -20 "$cache/sqlite3.log" >&2; fail "sqlite3.c was not made"; }
  made "$sources" "$fetching"
fi

# part_of DEB FOLDER PATH...: those paths of a package, without the folders above them.
part_of() {
  local deb=$1 folder=$2
  shift 2
  dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$folder" --transform='s|.*/||' "$@"
}

for target in "${targets[@]}"; do
  prefix=$cache/$target
  if ! is_made "$prefix" "$building"; then
    echo "-- dependencies for $target" >&2
    rm -rf "$prefix" "$prefix.build"
    cmake -S "$platforms/dependencies" -B "$prefix.build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE=-O2 \
      -DCMAKE_TOOLCHAIN_FILE="$platforms/toolchains/$target.cmake" -DVELQ_DEPENDENCIES="$prefix" \
      -DCMAKE_INSTALL_PREFIX=/ -DVELQ_SOURCES="$sources" >/dev/null
    cmake --build "$prefix.build" -j"${VELQ_JOBS:-$(nproc)}" >"$prefix.log" 2>&1 ||
      { tail -30 "$prefix.log" >&2; fail "the dependencies for $target were not built"; }
    DESTDIR=$prefix cmake --install "$prefix.build" >/dev/null
    rm -rf "$prefix.build"
    made "$prefix" "$building"
  fi
  # Boost is headers only too, but too many to copy.
  ln -sfn /usr/include/boost "$prefix/usr/include/boost"

  # Wine runs 32-bit programs in a 64-bit process when it has those of its own libraries in 32 bits that they load.
  if [ "$target" = windows-x86 ] && ! is_made "$cache/wine/i386-windows" "$fetching"; then
    echo "-- 32-bit libraries of Wine" >&2
    mkdir -p "$cache/wine/i386-windows"
    "$platforms/packages.sh" binaries "$cache/wine" libwine:i386
    part_of "$cache"/wine/libwine_*.deb "$cache/wine/i386-windows" --wildcards \
      '*/i386-windows/'{ntdll,kernel32,kernelbase,msvcrt,ucrtbase,advapi32,sechost}.dll
    rm "$cache"/wine/libwine_*.deb
    made "$cache/wine/i386-windows" "$fetching"
  fi
done
