#!/bin/bash
# Installs a build into a temporary prefix, moves that, and uses it as others do: with pkg-config
# and with CMake's find_package.
#
#   install_test.sh BUILD_DIR
#
# Ends with 77 (skipped) where pkg-config is missing.
set -u

if [ $# -ne 1 ]; then
    sed -n '2,7p' "$0"
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
# Nothing but the installation may help to find it.
unset LD_LIBRARY_PATH LD_RUN_PATH CPATH LIBRARY_PATH CMAKE_PREFIX_PATH DESTDIR CFLAGS CXXFLAGS LDFLAGS
prefix=$work/prefix
failures=0

fail()
{
    echo "install: $*"
    failures=$((failures + 1))
}

cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

install_to()
{
    if ! cmake --install "$build" --prefix "$1" > "$work/log" 2>&1; then
        tail -20 "$work/log"
        fail "cmake --install fails"
        exit 1
    fi
}
install_to "$work/first"
DESTDIR=$work/stage install_to /opt/cry
diff -r "$work/first" "$work/stage/opt/cry" || fail "the files that DESTDIR took are others"
mv "$work/first" "$prefix"
libdir=$(cache CMAKE_INSTALL_LIBDIR)
lib=$prefix/$libdir/cry
headers=$prefix/include/cry-libraries
version=$(sed -n 's/^project( cry VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
major=${version%%.*}
cc=$(cache CMAKE_C_COMPILER)

# Nothing lies where a compiler, a loader or another package looks for its own.
cat > "$work/own" <<END
^bin/cry$
^include/cry-libraries/
^$libdir/cry/
^$libdir/cmake/cry/
^$libdir/pkgconfig/cry-libraries-[a-z]*[.]pc$
^share/.*/_*cry[.0-9a-z]*$
END
strangers=$(cd "$prefix" && find . ! -type d -printf '%P\n' | grep -vf "$work/own") &&
    fail "these files are not in the family's own places:"$'\n'"$strangers"

runpath() { readelf -d "$1" | sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\]/\2/p'; }

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
    [ "$(runpath "$file")" = '$ORIGIN' ] || fail "$file looks for libraries in '$(runpath "$file")', not in \$ORIGIN"
    grep -q 'NODELETE' <<< "$dynamic" || fail "$file can be unloaded"
done

# The tool.
[ "$(runpath "$prefix/bin/cry")" = "\$ORIGIN/../$libdir/cry" ] || fail "the tool looks for libraries in '$(runpath "$prefix/bin/cry")'"
output=$(printf abc | "$prefix/bin/cry" hash) || fail "the tool does not run"
[ "${output%% *}" = "$wanted" ] || fail "the tool prints '$output', not $wanted"

# The headers: all that the repository has, and no other. The public ones are C99.
diff <(cd "$root/include" && find . \( -name '*.h' -o -name '*.hpp' \) | sort) <(cd "$headers" && find . -type f | sort) > "$work/log" ||
    fail "the installed headers (>) are not those of the repository (<):"$'\n'"$(cat "$work/log")"
c99=("$cc" -std=c99 -pedantic -Wall -Wextra -Werror)
while read -r header; do
    "${c99[@]}" -x c -fsyntax-only -I"$headers" - <<< "#include <$header>" || fail "$header is not C99"
done < <(cd "$headers" && find . -name '*.h' ! -path '*/internal/*' -printf '%P\n')

# No file that is read as text knows where it was built or installed.
for place in "$build" "$root" "$work/first" "$prefix" "$(cache CMAKE_INSTALL_PREFIX)"; do
    found=$(grep -rlFI -- "$place/" "$prefix") && fail "an installed file holds the path $place: $found"
done

# pkg-config.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
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
if "${c99[@]}" "$root/examples/hash.c" -o "$work/hash" $(pkg-config --cflags --libs cry-libraries-cry); then
    output=$("$work/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example built with pkg-config prints '$output', not $wanted"
else
    fail "the example does not build with pkg-config"
fi

# alone PROGRAM: the runtime finds the module cry beside the base library, from any folder.
alone()
{
    output=$(cd / && "$1")
    [ "$(realpath "$output")" = "$lib/libcry.so.$version" ] || fail "a program that links pb alone has the module cry from '$output'"
}
# shellcheck disable=SC2046
if "${c99[@]}" "$here/consumer/pb_alone.c" -o "$work/alone" $(pkg-config --cflags --libs cry-libraries-pb); then
    alone "$work/alone"
else
    fail "a program with pb alone does not build with pkg-config"
fi

# CMake, for C alone and with C++.
# consume FOLDER LANGUAGES VERSION OPTIONS...
consume()
{
    cmake -G Ninja -S "$here/consumer" -B "$1" -DLANGUAGES="$2" -DWANTED_VERSION="$3" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_INSTALL_PREFIX="$1/installed" -DCMAKE_C_COMPILER="$cc" -DEXAMPLE="$root/examples/hash.c" "${@:4}" > "$work/log" 2>&1
}
if consume "$work/plain" C "$major.0" -DCMAKE_CXX_COMPILER=/no-compiler && cmake --build "$work/plain" >> "$work/log" 2>&1; then
    output=$("$work/plain/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example built with CMake for C prints '$output', not $wanted"
    alone "$work/plain/pb_alone"
else
    tail -30 "$work/log"
    fail "the project that uses find_package( cry ) with C alone does not build"
fi
if consume "$work/consumer" "C;CXX" "$major.0" -DCMAKE_CXX_COMPILER="$(cache CMAKE_CXX_COMPILER)" &&
    cmake --build "$work/consumer" >> "$work/log" 2>&1 && cmake --install "$work/consumer" >> "$work/log" 2>&1; then
    # CMake leaves the path of the libraries in programs that it has not installed, so that they run
    # as they are.
    output=$("$work/consumer/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example built with CMake prints '$output', not $wanted"
    output=$("$work/consumer/installed/bin/hash" abc)
    [ "$output" = "$wanted" ] || fail "the example that CMake installed prints '$output', not $wanted"
    output=$("$work/consumer/headers" | tr '\n' ' ')
    [ "$output" = "$libraries " ] || fail "the program with all headers prints '$output', not '$libraries '"
else
    tail -30 "$work/log"
    fail "the project that uses find_package( cry ) does not build"
fi
if consume "$work/refused" C "$((major + 1)).0"; then
    fail "find_package( cry $((major + 1)).0 ) takes version $version"
elif ! grep -q 'considered but not accepted' "$work/log"; then
    cat "$work/log"
    fail "find_package( cry $((major + 1)).0 ) fails for another reason than the version"
fi

[ $failures -eq 0 ] || exit 1
echo "install: libraries, headers, pkg-config and CMake package are usable"
