#!/usr/bin/env bash
# The Debian symbols file of the library must name exactly the exported symbols that the boundary
# tests guard (abi/exported-symbols.txt), each at the version node FEDERATEUTIL_1; otherwise the
# package build stops at the first symbol gained or lost, long after the change that did it.
# Usage: check-symbols-file.sh <debian symbols file> <exported symbols list>
set -euo pipefail
symbols_file=$1
exported_list=$2

listed=$(mktemp)
trap 'rm -f "$listed"' EXIT
status=0
while IFS= read -r line; do
    case "$line" in
        " (c++)\""*"@FEDERATEUTIL_1\" "*) name=${line#' (c++)"'}; name=${name%'@FEDERATEUTIL_1" '*} ;;
        " "*"@FEDERATEUTIL_1 "*) name=${line#' '}; name=${name%'@FEDERATEUTIL_1 '*} ;;
        " "*) echo "not a symbol at FEDERATEUTIL_1: $line"; status=1; continue ;;
        *) continue ;;
    esac
    if [ "$name" != FEDERATEUTIL_1 ]; then
        echo "$name" >>"$listed"
    fi
done <"$symbols_file"

if ! diff -u --label "$exported_list" --label "$symbols_file" \
        "$exported_list" <(LC_ALL=C sort "$listed"); then
    echo "the symbols file differs from the exported-symbol list (- only exported, + only listed)"
    status=1
fi
exit "$status"
