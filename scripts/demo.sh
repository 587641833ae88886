#!/usr/bin/env bash
# Builds the library, the simulator and the command-line host, and runs the main job:
# `fedutil demo` plays a realistic session through the library against the simulated services.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/ensure-deps.sh build
build_dir=${BUILD_DIR:-build}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target federateutil fdr-sim fedutil
"$build_dir/tools/fedutil/fedutil" demo "$@"
