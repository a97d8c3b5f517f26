#!/bin/bash
# Makes the baseline of the binary interface again, after a change on purpose.
#
#   update.sh LIBRARY
#
# LIBRARY is a libcry.so with full debug information, as the dev preset builds it.
set -eu

if [ $# -ne 1 ]; then
    sed -n '2,6p' "$0"
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
new=$(mktemp)
trap 'rm -f "$new"' EXIT
"$here/describe.sh" "$1" "$new"
cat "$new" > "$here/libcry.abi"
echo "abi: wrote $here/libcry.abi with $(grep -c '<function-decl' "$here/libcry.abi") functions"
