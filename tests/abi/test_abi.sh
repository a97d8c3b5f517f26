#!/bin/bash
# Shows that check_abi.sh can fail, with small libraries in which one thing is changed.
#
# Ends with 77 (skipped) if abidiff or abidw is missing.
set -u

here=$(cd "$(dirname "$0")" && pwd)
for tool in abidiff abidw; do
    if ! command -v $tool > /dev/null; then
        echo "abi self-test: SKIPPED: $tool is not here"
        exit 77
    fi
done

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/tests/abi" "$work/include" "$work/source"
cp "$here/describe.sh" "$here/check_abi.sh" "$here/update.sh" "$work/tests/abi"
failures=0

# build PUBLIC_FIELD PRIVATE_FIELD RESULT MORE OPTIONS...
build()
{
    cat > "$work/include/toy.h" << END
typedef struct OPEN { $1 field; } OPEN;
typedef struct CLOSED CLOSED;
$3 toyUse( OPEN *open, CLOSED *closed );
$4
END
    cat > "$work/source/toy.c" << END
#include "../include/toy.h"
struct CLOSED { $2 field; };
$3 toyUse( OPEN *open, CLOSED *closed ) { return open->field && closed->field; }
END
    [ -z "$4" ] || echo "void toyMore( void ) {}" >> "$work/source/toy.c"
    shift 4
    gcc -shared -fPIC "$@" -o "$work/libtoy.so" "$work/source/toy.c" || exit 1
}

# expect CODE TEXT WHAT
expect()
{
    output=$("$work/tests/abi/check_abi.sh" "$work/libtoy.so" 2>&1)
    code=$?
    if [ $code -ne "$1" ] || ! grep -q -- "$2" <<< "$output"; then
        echo "abi self-test: $3: check_abi.sh ended with $code, not $1, or without '$2':"
        echo "$output"
        failures=$((failures + 1))
    fi
}

build int int int "" -g
expect 1 "there is no" "no baseline"
"$work/tests/abi/update.sh" "$work/libtoy.so" > /dev/null || exit 1
expect 0 "has the interface" "nothing changed"
if grep -qF "$work" "$work/tests/abi/libcry.abi"; then
    echo "abi self-test: the baseline holds the path $work"
    failures=$((failures + 1))
fi
build int int int "void toyMore( void );" -g
expect 0 "has the interface" "a function more"
build int "long long" int "" -g
expect 0 "has the interface" "a private type changed"
build "long long" int int "" -g
expect 1 "type size changed from 32 to 64" "a public type changed"
build int int "long long" "" -g
expect 1 "return type changed" "a result changed"
build int int int "" -g "-DtoyUse=toyOther"
expect 1 "Removed function" "a function less"
build int int int "" -g1
expect 77 "carries no types" "no debug information"

[ $failures -eq 0 ] || exit 1
echo "abi self-test: check_abi.sh finds what it should"
