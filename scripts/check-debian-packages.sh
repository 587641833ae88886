#!/usr/bin/env bash
# Builds the Debian packages as Debian builds them and checks them as an integrator meets them:
#   1. dpkg-buildpackage -us -uc -b on a copy of the tree in a temporary folder (it writes the
#      packages into the parent of the source folder, which must not be outside the checkout);
#   2. lintian on every package: no error, no warning;
#   3. the packages installed into an empty root with dpkg --root; there, a host built against
#      the -dev package both ways (find_package and pkg-config) runs, and so does `fedutil demo`
#      from the tools package;
#   4. the packages purged again: nothing of them may be left in the root.
# Usage: scripts/check-debian-packages.sh [--with-tests] [--output DIR]
#   --with-tests  run the test suite during the package build, as a plain dpkg-buildpackage
#                 does. By default the build skips it (nocheck): CI runs the whole suite in
#                 its own steps already, and a third build of it here would double the time.
#   --output DIR  keep the built packages (.deb, .changes, .buildinfo) and the build log in DIR
set -euo pipefail
cd "$(dirname "$0")/.."
source_tree=$PWD

with_tests=no
output=""
while [ $# -gt 0 ]; do
    case "$1" in
        --with-tests) with_tests=yes ;;
        --output) output=$(realpath -m "$2"); shift ;;
        *) echo "usage: $0 [--with-tests] [--output DIR]" >&2; exit 2 ;;
    esac
    shift
done

scripts/ensure-deps.sh package
if [ "$with_tests" = yes ]; then
    scripts/ensure-deps.sh test
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
step() { printf '\n== %s\n' "$1"; }

# The ports of the local services are fixed: the demo runs in a private network namespace when
# one can be made, so that it neither meets nor disturbs services already running here.
isolated() {
    if unshare -n true 2>/dev/null; then
        unshare -n sh -c 'ip link set lo up && exec "$@"' sh "$@"
    else
        echo "NOTE: no private network namespace here; running on the machine's loopback"
        "$@"
    fi
}

step "copying the tree to $work/src"
mkdir "$work/src"
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    # Tracked and new files as they stand in the working tree, without build folders.
    git ls-files -z --cached --others --exclude-standard |
        while IFS= read -r -d '' file; do
            if [ -e "$file" ]; then printf '%s\0' "$file"; fi
        done |
        tar --null -T - -cf - | tar -xf - -C "$work/src"
else
    tar --exclude='./build*' --exclude='./out' -cf - . | tar -xf - -C "$work/src"
fi

step "dpkg-buildpackage -us -uc -b"
build_env=(DEB_BUILD_OPTIONS="parallel=$(nproc)")
profiles=()
if [ "$with_tests" = no ]; then
    build_env=(DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)")
    profiles=(-Pnocheck)
fi
if ! (cd "$work/src" && env "${build_env[@]}" dpkg-buildpackage -us -uc -b "${profiles[@]}") \
        >"$work/build.log" 2>&1; then
    tail -n 60 "$work/build.log"
    echo "error: the package build failed (last lines above)" >&2
    exit 1
fi
grep -E '^dpkg-deb: building package' "$work/build.log"
changes=$(find "$work" -maxdepth 1 -name '*.changes')
mapfile -t debs < <(find "$work" -maxdepth 1 -name '*.deb' | sort)

step "lintian (no error and no warning allowed)"
# Root is what CI runs as; lintian's note about it is not about the packages.
lintian_status=0
lintian --fail-on error,warning "$changes" >"$work/lintian.log" 2>&1 || lintian_status=$?
grep -v 'running with root privileges' "$work/lintian.log" || true
if [ "$lintian_status" -ne 0 ]; then
    echo "error: lintian reports errors or warnings" >&2
    exit 1
fi
echo "lintian: clean on ${#debs[@]} packages"

step "installing into an empty root"
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
dpkg_root=(dpkg --root="$root" --log=/dev/null)
if [ "$(id -u)" -ne 0 ]; then
    dpkg_root+=(--force-not-root)
fi
# The root holds only these packages: their dependencies on the system's libraries are met by
# the machine itself, outside the root.
"${dpkg_root[@]}" --force-depends -i "${debs[@]}" >"$work/dpkg-install.log" 2>&1 ||
    { cat "$work/dpkg-install.log"; exit 1; }
"${dpkg_root[@]}" -l | grep '^ii'
libdir=$(dirname "$(find "$root" -name 'libfederateutil.so.1')")

step "a host built against the installed development package"
tests/package/check-installed-package.sh --prefix "$root/usr" tests/package/consumer

step "fedutil demo from the installed tools"
mkdir "$work/logs"
if ! FDR_LOG_ROOT="$work/logs" LD_LIBRARY_PATH="$libdir" \
        isolated "$root/usr/bin/fedutil" demo >"$work/demo.log" 2>&1; then
    cat "$work/demo.log"
    echo "error: fedutil demo failed" >&2
    exit 1
fi
tail -n 3 "$work/demo.log"
# It must have loaded the packaged library, not one found elsewhere.
if ! grep -qF "$libdir/libfederateutil.so.1" "$work/demo.log"; then
    cat "$work/demo.log"
    echo "error: fedutil demo did not load $libdir/libfederateutil.so.1" >&2
    exit 1
fi

step "purging the packages"
mapfile -t names < <(for deb in "${debs[@]}"; do dpkg-deb -f "$deb" Package; done)
"${dpkg_root[@]}" --purge "${names[@]}" >"$work/dpkg-purge.log" 2>&1 ||
    { cat "$work/dpkg-purge.log"; exit 1; }
# Only dpkg's own database, with no package in it, may remain.
left=$(find "$root" -mindepth 1 -not -path "$root/var" -not -path "$root/var/lib" \
    -not -path "$root/var/lib/dpkg" -not -path "$root/var/lib/dpkg/*")
left+=$(find "$root/var/lib/dpkg/info" -mindepth 1 -not -name format)
if [ -n "$left" ]; then
    echo "error: left behind after purging:" >&2
    echo "$left" >&2
    exit 1
fi
if "${dpkg_root[@]}" -l 2>/dev/null | grep -q '^[a-z][a-z] '; then
    "${dpkg_root[@]}" -l >&2
    echo "error: dpkg still lists packages after purging" >&2
    exit 1
fi
echo "nothing left behind"

if [ -n "$output" ]; then
    mkdir -p "$output"
    cp "${debs[@]}" "$changes" "$work"/*.buildinfo "$work/build.log" "$output/"
    echo "packages kept in $output"
fi
cd "$source_tree"
echo
echo "Debian packages: built, lintian-clean, installed, used and purged."
