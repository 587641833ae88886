#!/usr/bin/env bash
# Builds the library and runs the main job: a host program that loads libfederateutil.so.1
# as a recording server does and calls a few operations.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/ensure-deps.sh build
build_dir=${BUILD_DIR:-build}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target federateutil host_example
"$build_dir/examples/host_example" "$build_dir/libfederateutil.so.1"
