// What is in a file: certificates, requests, CRLs, keys and PKCS#12, in PEM with anything around
// it, or one of them in DER.
#pragma once

#include "input/password.hpp"
#include "output/error.hpp"

#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>
#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_crl.h>
#include <cry/cry_x509_csr.h>

#include <functional>
#include <string>

namespace tool
{

enum class Kind
{
    certificate,
    request,
    crl,
    privateKey,
    publicKey,
    pkcs12,
    other, // a block with a label that is not known
};

// The name of a kind in JSON: "certificate", "private key", "pkcs12".
std::string nameOf( Kind kind );

struct Item
{
    Kind               kind = Kind::other;
    std::string        file;
    PB_INT             line = 0;         // of BEGIN; 0 for DER
    std::string        label;            // of its PEM
    std::string        form;             // how a key or PKCS#12 is held
    bool               isLocked = false; // a password protects a key
    std::string        protection;       // how, as far as it is known
    pb::Ref<PB_BUFFER> der;              // null for an old key whose header lines say how it is encrypted
    pb::Ref<PB_BUFFER> text;             // the block of such a key
    std::string        problem;          // why it does not parse; the objects below are null then
    PB_INT             problemLine = 0;

    // The one that is there; all are null for a key behind a password, PKCS#12 and other blocks.
    pb::Ref<CRY_X509_CERTIFICATE> certificate;
    pb::Ref<CRY_X509_CSR>         request;
    pb::Ref<CRY_X509_CRL>         crl;
    pb::Ref<CRY_PKEY_PRIVATE>     privateKey;
    pb::Ref<CRY_PKEY_PUBLIC>      publicKey;

    bool       isSecret() const { return kind == Kind::privateKey || kind == Kind::pkcs12; }
    InputError error() const { return { file, problem, problemLine ? problemLine : line }; }
    // Takes the password off a private key; if that fails, `problem` says why.
    void unlock( PasswordOptions &password );
};

// Calls take( item ) for everything in a file, in order. Throws InputError if the file cannot be
// read or nothing is in it. Warns of bytes behind DER, and if others can read a private key.
void forEachItem( const std::string &path, const std::function<void( Item & )> &take );

}
