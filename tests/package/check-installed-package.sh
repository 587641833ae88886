#!/usr/bin/env bash
# Builds a tiny host against an installed tree twice: through the CMake package (find_package) and
# through pkg-config. Both hosts must run.
# Usage: check-installed-package.sh <build dir> <consumer source dir>
#          installs the build into a scratch prefix first;
#        check-installed-package.sh --prefix <installed prefix> <consumer source dir>
#          uses a tree that is installed already (e.g. unpacked packages below a scratch root).
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ "$1" = "--prefix" ]; then
    prefix=$2
    consumer=$3
else
    prefix=$work/prefix
    consumer=$2
    cmake --install "$1" --prefix "$prefix" >/dev/null
fi

libdir=$(dirname "$(find "$prefix" -name 'libfederateutil.so.1' | head -n 1)")
# The installed libraries carry no run path to each other when packaged: the loader and the
# linker find them here, as they would in the system's library folder.
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

echo "== find_package(federateutil)"
cmake -S "$consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/host"

echo "== pkg-config federateutil"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++17 -o "$work/pkg-host" "$consumer/host.cpp" $(pkg-config --cflags --libs federateutil)
"$work/pkg-host"
