#!/usr/bin/env bash
# Makes the example chains beside it: for RSA and for EC a root, an intermediate and a leaf with DNS
# and IP names. The private keys are thrown away.
set -euo pipefail
cd "$( dirname "$0" )"
keys=$( mktemp -d )
trap 'rm -rf "$keys"' EXIT
days=36500

make_chain() { # kind, options of openssl genpkey...
    local kind=$1
    shift
    for who in root intermediate leaf; do
        openssl genpkey "$@" -out "$keys/$kind-$who.key" 2>/dev/null
    done
    openssl req -x509 -new -key "$keys/$kind-root.key" -subj "/O=Example/CN=Example $kind root" -days $days -out "$kind-root.pem" \
        -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign"
    sign intermediate root "/O=Example/CN=Example $kind intermediate" "basicConstraints=critical,CA:TRUE,pathlen:0
keyUsage=critical,keyCertSign,cRLSign"
    sign leaf intermediate "/O=Example/CN=www.example.org" "basicConstraints=critical,CA:FALSE
keyUsage=critical,digitalSignature
extendedKeyUsage=serverAuth,clientAuth
subjectAltName=DNS:www.example.org,DNS:example.org,IP:192.0.2.1,IP:2001:db8::1"
    cat "$keys/leaf.pem" "$keys/intermediate.pem" > "$kind-chain.pem"
}

sign() { # who, issuer, subject, extensions; uses the kind of make_chain
    local issuer_certificate="$keys/$2.pem"
    [ "$2" = root ] && issuer_certificate="$kind-root.pem"
    openssl req -new -key "$keys/$kind-$1.key" -subj "$3" -out "$keys/$1.csr"
    openssl x509 -req -in "$keys/$1.csr" -CA "$issuer_certificate" -CAkey "$keys/$kind-$2.key" -set_serial "0x$( openssl rand -hex 16 )" -days $days \
        -extfile <( printf '%s\nsubjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n' "$4" ) -out "$keys/$1.pem" 2>/dev/null
}

make_chain rsa -algorithm RSA -pkeyopt rsa_keygen_bits:2048
make_chain ec -algorithm EC -pkeyopt ec_paramgen_curve:P-256
