#!/bin/sh
# Runs a host program while fdr-sim serves on the fixed ports, for the examples' tests.
# Usage: run-with-fdr-sim.sh FDR_SIM PROGRAM [ARGS...]
set -eu
sim=$1
shift
work=$(mktemp -d)
"$sim" --quiet --ready-file "$work/ready.json" 2>"$work/sim.err" &
pid=$!
trap 'kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null; rm -rf "$work"' EXIT
while [ ! -e "$work/ready.json" ]; do
    if ! kill -0 "$pid" 2>/dev/null; then
        cat "$work/sim.err" >&2
        exit 1
    fi
    sleep 0.05
done
FDR_LOG_ROOT=$work "$@"
