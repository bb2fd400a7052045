#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a tiny C host
# against the installed tree three ways: the CMake package, pkg-config, and
# the plain header and library. Each host must start the library and run a
# command.
set -euo pipefail
build=$1
source_dir=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
header=$prefix/include/kesto/kesto_ctype.h
[ -f "$header" ] || { echo "no installed header"; exit 1; }
lib=$(find "$prefix" -name 'libkesto_ctype.so.1' | head -1)
[ -n "$lib" ] || { echo "no libkesto_ctype.so.1 (SONAME link) installed"; exit 1; }
libdir=$(dirname "$lib")
readelf -d "$lib" | grep -q 'SONAME.*libkesto_ctype.so.1' || { echo "wrong SONAME"; exit 1; }
pc=$(find "$prefix" -name kesto.pc | head -1)

# Every exported function is declared in the header.
missing=0
for name in $(nm -D --defined-only "$lib" | awk '$2 == "T" {print $3}' | grep -v '^_Z'); do
  grep -qE "^(char\*|bool) $name\(" "$header" || { echo "not declared: $name"; missing=1; }
done
[ $missing -eq 0 ]

cd "$work"
echo '{"log_path": ""}' > config.json

# 1. find_package(kesto)
cmake -S "$source_dir/host" -B "$work/cmake-host" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-host" >/dev/null
"$work/cmake-host/host" | tee cmake.out
"$work/cmake-host/classes"

# 2. pkg-config
PKG_CONFIG_PATH=$(dirname "$pc") cc -o pc-host "$source_dir/host/host.c" \
  $(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs kesto) -Wl,-rpath,"$libdir"
./pc-host

# 3. the plain header and library
cc -o plain-host "$source_dir/host/host.c" -I"$prefix/include" -L"$libdir" -lkesto_ctype -Wl,-rpath,"$libdir"
./plain-host
grep -q 'version: 1\.' cmake.out
echo "installed library, header, CMake package and pkg-config file all work"
