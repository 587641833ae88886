#!/usr/bin/env bash
# Runs the main job under valgrind memcheck: the demo must end with no definitely or indirectly
# lost bytes and no memory errors in the host process (the library runs inside it).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/ensure-deps.sh memcheck
build_dir=${BUILD_DIR:-build}
scripts/ensure-deps.sh build
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target federateutil fdr-sim fedutil
valgrind --tool=memcheck --leak-check=full --errors-for-leak-kinds=definite,indirect \
         --show-leak-kinds=definite,indirect --error-exitcode=99 \
         "$build_dir/tools/fedutil/fedutil" demo
