#!/bin/bash
# Every C and C++ file, tracked or not yet, has the form that clang-format gives it.
#
#   check_format.sh [ROOT]
#
# Ends with 77 (skipped) if clang-format-16 is missing or ROOT is not a git checkout.
set -u

root=${1:-$(cd "$(dirname "$0")/../.." && pwd)}
cd "$root" || exit 1

if ! command -v clang-format-16 > /dev/null; then
    echo "format: SKIPPED: clang-format-16 is not here"
    exit 77
fi
if ! git rev-parse --is-inside-work-tree > /dev/null 2>&1; then
    echo "format: SKIPPED: $root is no git checkout"
    exit 77
fi

files=()
while IFS= read -r -d '' file; do
    [ -f "$file" ] && files+=("$file")
done < <(git ls-files -z --cached --others --exclude-standard -- '*.cpp' '*.hpp' '*.h' '*.c')
if [ ${#files[@]} -eq 0 ]; then
    echo "format: no files found in $root"
    exit 1
fi

if ! clang-format-16 --style=file --dry-run -Werror "${files[@]}"; then
    echo "format: the places above are not as clang-format-16 -i would write them"
    exit 1
fi
echo "format: ${#files[@]} files are well formed"
