#!/bin/bash
# The binary interface is what the baseline says; functions and variables may be added.
#
#   check_abi.sh LIBRARY [BASELINE]
#
# Ends with 77 (skipped) if abidiff is missing or LIBRARY has no types. After a change on purpose,
# run update.sh.
set -u

if [ $# -lt 1 ] || [ $# -gt 2 ]; then
    sed -n '2,7p' "$0"
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
library=$1
baseline=${2:-$here/libcry.abi}

if ! command -v abidiff > /dev/null; then
    echo "abi: SKIPPED: abidiff is not here"
    exit 77
fi
if [ ! -f "$baseline" ]; then
    echo "abi: there is no $baseline; update.sh makes it"
    exit 1
fi

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
"$here/describe.sh" "$library" "$work/now.abi" || exit $?
if ! abidiff --no-added-syms "$baseline" "$work/now.abi"; then
    echo "abi: $library differs from $baseline in what is shown above; if that is meant, run tests/abi/update.sh"
    exit 1
fi
echo "abi: $library has the interface of $(basename "$baseline")"
