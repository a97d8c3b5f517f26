#!/bin/bash
# Writes the binary interface of a library as abidw sees it: exported names and the types of the
# public headers.
#
#   describe.sh LIBRARY OUTPUT
#
# Ends with 77 (skipped) if abidw is missing or the library has no types.
set -eu

library=$1
output=$2
root=$(cd "$(dirname "$0")/../.." && pwd)

if ! command -v abidw > /dev/null; then
    echo "abi: SKIPPED: abidw is not here"
    exit 77
fi

# Types that are not in a public header are not part of the interface. The output has no path of
# this machine and no line numbers.
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --exported-interfaces-only \
    --headers-dir "$root/include" --drop-private-types --out-file "$output" "$library"
sed -i "s|path='$root/|path='|" "$output"

if grep -n "='/" "$output"; then
    echo "abi: $output holds a path of this machine"
    exit 1
fi
# Without full debug information, every function seems to have no parameters.
if ! grep -q '<parameter ' "$output"; then
    echo "abi: SKIPPED: $library carries no types; build it with -g (the dev preset does)"
    exit 77
fi
