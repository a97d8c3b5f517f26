#!/bin/bash
# Writes the binary interface of a library as abidw sees it: exported names and the types of the
# public headers.
#
#   describe.sh LIBRARY OUTPUT
#
# Ends with 77 (skipped) where abidw is missing or the library carries no types.
set -eu

library=$1
output=$2
root=$(cd "$(dirname "$0")/../.." && pwd)

if ! command -v abidw > /dev/null; then
    echo "abi: SKIPPED: abidw is not here"
    exit 77
fi

# Types that stand in no public header are the library's own business. No path of this machine, no
# line number.
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --exported-interfaces-only \
    --headers-dir "$root/include" --drop-private-types --out-file "$output" "$library"
sed -i "s|path='$root/|path='|" "$output"

if grep -n "='/" "$output"; then
    echo "abi: $output holds a path of this machine"
    exit 1
fi
# Without full debug information every function seems to take nothing.
if ! grep -q '<parameter ' "$output"; then
    echo "abi: SKIPPED: $library carries no types; build it with -g (the dev preset does)"
    exit 77
fi
