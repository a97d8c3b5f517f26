#!/usr/bin/env bash
# The root that trust tokens lead to, for CMake.
#   trust_root.sh make DIR          makes a root, an intermediate and a signer for development in
#                                   DIR, unless they are there
#   trust_root.sh embed FILE OUT    checks the root in FILE and writes it into OUT, for the compiler
set -euo pipefail
umask 077
new=
fail() { echo "$*" >&2; exit 1; }
command -v openssl >/dev/null || fail "the command openssl is not here"

extensions() {
    printf 'subjectKeyIdentifier=hash\nbasicConstraints=critical,CA:%s\nkeyUsage=critical,%s\n' "$1" "$2"
}

make_development() {
    local dir=$1
    [ -f "$dir/signer.pem" ] && return
    mkdir -p "$dir"
    dir=$( cd "$dir" && pwd )
    new=$( mktemp -d "$dir/new-XXXXXX" )
    trap 'cd /; rm -rf "$new"' EXIT
    cd "$new"
    openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:4096 -out root.key 2>/dev/null
    openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072 -out intermediate.key 2>/dev/null
    openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072 -out signer.key 2>/dev/null
    openssl req -new -x509 -sha256 -days 7300 -key root.key -subj "/CN=Development trust root (not for products)" -out root.pem -config /dev/null \
        -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" -addext "subjectKeyIdentifier=hash"
    issue intermediate "Development trust intermediate" root TRUE keyCertSign
    issue signer "Development trust signer" intermediate FALSE digitalSignature
    chmod 0600 ./*.key
    chmod 0644 ./*.pem
    # Nobody needs these two again, and a key that is not there cannot get lost.
    rm root.key intermediate.key
    mv root.pem intermediate.pem signer.key "$dir/"
    mv signer.pem "$dir/"
}

# issue NAME SUBJECT ISSUER CA USAGE: NAME.pem for NAME.key.
issue() {
    openssl req -new -key "$1.key" -subj "/CN=$2" -out request -config /dev/null
    openssl x509 -req -sha256 -days 7300 -in request -CA "$3.pem" -CAkey "$3.key" -CAcreateserial -out "$1.pem" \
        -extfile <( extensions "$4" "$5" ) 2>/dev/null
}

embed() {
    local file=$1 out=$2 text
    [ -r "$file" ] || fail "the trust root $file cannot be read"
    [ "$( grep -c -e '-----BEGIN ' "$file" )" = 1 ] || fail "the trust root $file must be one PEM block"
    openssl x509 -in "$file" -noout 2>/dev/null || fail "the trust root $file is not a certificate in PEM"
    # Only the key and the extension are printed, so that no name can look like them.
    text=$( openssl x509 -in "$file" -noout -text -certopt \
        no_header,no_version,no_serial,no_signame,no_validity,no_subject,no_issuer,no_sigdump,no_extensions )
    grep -q 'Public Key Algorithm: rsaEncryption' <<<"$text" || fail "the trust root $file must have an RSA key"
    text=$( openssl x509 -in "$file" -noout -ext basicConstraints 2>/dev/null )
    grep -q '^ *CA:TRUE' <<<"$text" || fail "the trust root $file is not the certificate of a CA"
    [ "$( openssl x509 -in "$file" -noout -subject_hash )" = "$( openssl x509 -in "$file" -noout -issuer_hash )" ] ||
        fail "the trust root $file is not self-signed: its issuer is another one"
    openssl x509 -in "$file" -noout -checkend 0 >/dev/null || fail "the trust root $file has expired"
    text=$( openssl verify -check_ss_sig -no-CApath -no-CAstore -CAfile "$file" "$file" 2>&1 ) ||
        fail "the trust root $file does not verify: $( grep -m1 '^error' <<<"$text" )"
    text=$( openssl x509 -in "$file" | paste -sd '|' )
    printf '// The built-in root of trust tokens: the lines of its PEM text, joined by "|".\n#define CRY_TRUST_ROOT_TEXT "%s"\n' "$text" >"$out.new"
    chmod 0644 "$out.new"
    # What did not change is not compiled again.
    if cmp -s "$out.new" "$out"; then rm "$out.new"; else mv "$out.new" "$out"; fi
}

case ${1:-} in
make) make_development "$2" ;;
embed) embed "$2" "$3" ;;
*) fail "usage: trust_root.sh make DIR | trust_root.sh embed FILE OUT" ;;
esac
