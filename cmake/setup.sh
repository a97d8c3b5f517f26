# For ./run and ./test: installs the Debian packages that are missing. To be sourced.

# need_packages NAME...: a no-op when all of them are installed.
need_packages() {
    local missing=() name
    for name in "$@"; do
        [ "$( dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null )" = installed ] || missing+=( "$name" )
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$( id -u )" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "these packages are missing, and there is no sudo to install them: ${missing[*]}" >&2; exit 2; }
        as_root=( sudo )
    fi
    echo "installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# What the libraries and the tool are built with.
build_packages=( g++ cmake ninja-build pkg-config libssl-dev libunistring-dev libidn2-dev libasio-dev
    libcli11-dev nlohmann-json3-dev ca-certificates openssl )

# What the tests need beside that.
test_packages=( clang-16 lld-16 clang-format-16 libclang-rt-16-dev libgtest-dev libbenchmark-dev liblzma-dev python3 abigail-tools binutils
    python3-cryptography-vectors python3-jsonschema gnutls-bin git doxygen groff-base )

# quietly LOG COMMAND...: runs a command and shows its output only when it fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$( dirname "$log" )"
    "$@" >"$log" 2>&1 || { cat "$log" >&2; echo "failed: $*" >&2; exit 1; }
}
