#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, when they are missing, and says
# so. Usage: scripts/ensure-deps.sh [build|test|bench|fuzz|memcheck|package|browser]
#   test adds what the test suite needs, fuzz the clang toolchain of the fuzzers, memcheck valgrind,
#   package what building and checking the Debian packages needs (debhelper, lintian, help2man),
#   bench what bench/run needs (Google Benchmark, iproute2 for its network namespace, gnuplot),
#   browser chromium, node and the npm packages of the console's browser tests (tests/browser).
set -euo pipefail

purpose=${1:-build}
packages=(g++ cmake make pkg-config binutils libcjson-dev libcurl4-openssl-dev libjsoncpp-dev
          libssl-dev libcpp-httplib-dev)
case "$purpose" in
    build) ;;
    test) packages+=(libgtest-dev libgmock-dev libbenchmark-dev iproute2 abigail-tools) ;;
    fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
    memcheck) packages+=(valgrind) ;;
    package) packages+=(debhelper dpkg-dev help2man lintian iproute2) ;;
    bench) packages+=(libbenchmark-dev iproute2 gnuplot-nox) ;;
    browser)
        packages+=(chromium)
        # Any node of 18 or later does; Debian's when there is none.
        if ! command -v npm >/dev/null; then packages+=(nodejs npm); fi ;;
    *) echo "usage: $0 [build|test|bench|fuzz|memcheck|package|browser]" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing missing packages: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "error: these packages are missing and installing them needs root:" >&2
        echo "  apt-get install ${missing[*]}" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    if ! apt-get install -y --no-install-recommends "${missing[@]}"; then
        apt-get update
        apt-get install -y --no-install-recommends "${missing[@]}"
    fi
fi

# The browser tests' npm packages, exactly as locked; puppeteer-core never downloads a browser.
if [ "$purpose" = browser ] && [ ! -d "$(dirname "$0")/../tests/browser/node_modules" ]; then
    echo "Installing the npm packages of tests/browser"
    (cd "$(dirname "$0")/../tests/browser" &&
        PUPPETEER_SKIP_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error)
fi
