#!/bin/bash
# Installs a build into a temporary prefix and uses it as others do: with pkg-config and with
# CMake's find_package.
#
#   install_test.sh BUILD_DIR
#
# Ends with 77 (skipped) where pkg-config is missing.
set -u

if [ $# -ne 1 ]; then
    sed -n '2,5p' "$0"
    exit 2
fi
build=$(cd "$1" && pwd) || exit 1
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
libraries="pb rfc bn in tr cs openssl cry"
# The SHA-256 of "abc" (FIPS 180-4).
wanted=ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad

if ! command -v pkg-config > /dev/null; then
    echo "install: SKIPPED: pkg-config is not here"
    exit 77
fi

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
failures=0

fail()
{
    echo "install: $*"
    failures=$((failures + 1))
}

cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

if ! cmake --install "$build" --prefix "$prefix" > "$work/log" 2>&1; then
    tail -20 "$work/log"
    fail "cmake --install fails"
    exit 1
fi
libdir=$(cache CMAKE_INSTALL_LIBDIR)
lib=$prefix/${libdir:-lib}
version=$(sed -n 's/^project( cry VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
major=${version%%.*}
cc=$(cache CMAKE_C_COMPILER)

# The libraries: their names, and that they find each other in their own folder.
for library in $libraries; do
    file=$lib/lib$library.so
    if [ ! -f "$file.$version" ]; then
        fail "$file.$version is not installed"
        continue
    fi
    [ "$(readlink "$file")" = "lib$library.so.$major" ] || fail "$file is no link to lib$library.so.$major"
    [ "$(readlink "$file.$major")" = "lib$library.so.$version" ] || fail "$file.$major is no link to lib$library.so.$version"
    dynamic=$(readelf -d "$file")
    soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<< "$dynamic")
    [ "$soname" = "lib$library.so.$major" ] || fail "$file has the soname '$soname', not lib$library.so.$major"
    runpath=$(sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\]/\2/p' <<< "$dynamic")
    [ "$runpath" = '$ORIGIN' ] || fail "$file looks for libraries in '$runpath', not in \$ORIGIN"
    grep -q 'NODELETE' <<< "$dynamic" || fail "$file can be unloaded"
done

# The headers: all that the repository has, and no other.
diff <(cd "$root/include" && find . \( -name '*.h' -o -name '*.hpp' \) | sort) <(cd "$prefix/include" && find . -type f | sort) > "$work/log" ||
    fail "the installed headers (>) are not those of the repository (<):"$'\n'"$(cat "$work/log")"

# No file that is read as text knows where it was built or installed.
for place in "$build" "$root" "$prefix" "$(cache CMAKE_INSTALL_PREFIX)"; do
    found=$(grep -rlFI -- "$place/" "$prefix") && fail "an installed file holds the path $place: $found"
done

# pkg-config.
export PKG_CONFIG_PATH=$lib/pkgconfig
for library in $libraries; do
    name=cry-libraries-$library
    pkg-config --validate "$name" || fail "$name.pc is not valid"
    [ "$(pkg-config --modversion "$name")" = "$version" ] || fail "$name.pc has version $(pkg-config --modversion "$name"), not $version"
    case " $(pkg-config --libs "$name") " in
        *" -lpb "*) ;;
        *) fail "pkg-config --libs $name gives no -lpb" ;;
    esac
done
# shellcheck disable=SC2046
if "$cc" -std=c11 -Wall -Wextra -Werror -pedantic $(pkg-config --cflags cry-libraries-cry) -o "$work/hash" \
    "$root/examples/hash.c" $(pkg-config --libs cry-libraries-cry); then
    output=$(LD_LIBRARY_PATH=$lib "$work/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example built with pkg-config prints '$output', not $wanted"
else
    fail "the example does not build with pkg-config"
fi

# CMake.
if cmake -G Ninja -S "$here/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$(cache CMAKE_CXX_COMPILER)" -DEXAMPLE="$root/examples/hash.c" \
    -DWANTED_VERSION="$major.0" > "$work/log" 2>&1 && cmake --build "$work/consumer" >> "$work/log" 2>&1; then
    # CMake leaves the path of the libraries in programs that it has not installed, so that they run
    # as they are.
    output=$("$work/consumer/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example built with CMake prints '$output', not $wanted"
    output=$("$work/consumer/headers" | tr '\n' ' ')
    [ "$output" = "$libraries " ] || fail "the program with all headers prints '$output', not '$libraries '"
else
    tail -30 "$work/log"
    fail "the project that uses find_package( cry ) does not build"
fi
if cmake -G Ninja -S "$here/consumer" -B "$work/refused" -DCMAKE_PREFIX_PATH="$prefix" -DWANTED_VERSION="$((major + 1)).0" > "$work/log" 2>&1; then
    fail "find_package( cry $((major + 1)).0 ) takes version $version"
elif ! grep -q 'considered but not accepted' "$work/log"; then
    cat "$work/log"
    fail "find_package( cry $((major + 1)).0 ) fails for another reason than the version"
fi

[ $failures -eq 0 ] || exit 1
echo "install: libraries, headers, pkg-config and CMake package are usable"
