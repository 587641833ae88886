#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a tiny host against it twice: through the
# CMake package (find_package) and through pkg-config. Both hosts must run.
# Usage: check-installed-package.sh <build dir> <consumer source dir>
set -euo pipefail
build_dir=$1
consumer=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libfederateutil.so.1' | head -n 1)")
export LD_LIBRARY_PATH="$libdir"

echo "== find_package(federateutil)"
cmake -S "$consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/host"

echo "== pkg-config federateutil"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++17 -o "$work/pkg-host" "$consumer/host.cpp" $(pkg-config --cflags --libs federateutil)
"$work/pkg-host"
