#!/usr/bin/env bash
# Builds everything and runs the test suite.
# Usage: scripts/test.sh [--asan|--tsan] [--werror] [--quick]
#   --asan   build and test with AddressSanitizer + UndefinedBehaviorSanitizer (own build dir)
#   --tsan   build and test with ThreadSanitizer (own build dir)
#   --werror treat compiler warnings as errors (CI does)
#   --quick  skip the tests labelled "slow" (those that wait for a service time-out)
set -euo pipefail
cd "$(dirname "$0")/.."

sanitize=""
werror=OFF
ctest_args=()
build_dir=${BUILD_DIR:-build}
for arg in "$@"; do
    case "$arg" in
        --asan) sanitize=address; build_dir=${BUILD_DIR:-build-asan} ;;
        --tsan) sanitize=thread; build_dir=${BUILD_DIR:-build-tsan} ;;
        --werror) werror=ON ;;
        --quick) ctest_args+=(-LE slow) ;;
        *) echo "unknown option: $arg" >&2; exit 2 ;;
    esac
done

scripts/ensure-deps.sh test
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DFEDERATEUTIL_WERROR="$werror" -DFEDERATEUTIL_SANITIZE="$sanitize" >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:suppressions=$PWD/tests/tsan.supp}
cd "$build_dir"
ctest --output-on-failure -j"$(nproc)" "${ctest_args[@]}"
