// Keys and certificates made with plain OpenSSL, and OpenSSL's facts about them.
#pragma once

#include <cry/cry.h>
#include <pb/pb.h>
#include <pb/ref.hpp>

#include <functional>
#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace support
{

using Pkey = std::shared_ptr<EVP_PKEY>;
using Cert = std::shared_ptr<X509>;

enum class KeyKind
{
    rsa,
    rsaPss,
    p256,
    p384,
    ed25519
};

inline constexpr KeyKind allKeyKinds[] = { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256, KeyKind::p384, KeyKind::ed25519 };

std::string nameOf( KeyKind kind );

// The key with this number, made at its first use and kept for the life of the process.
Pkey key( KeyKind kind, int number = 0 );

// The parts of a certificate. Without an issuer it is self-issued. Without an issuer's key, its own
// key signs it.
struct CertificateFields
{
    std::string                                      subject    = {}; // for example "C=DE/O=Example/CN=host", in the order of the certificate
    Pkey                                             subjectKey = {};
    Cert                                             issuer     = {};
    Pkey                                             issuerKey  = {};
    std::string                                      notBefore  = "20200101000000Z";
    std::string                                      notAfter   = "20391231235959Z";
    std::string                                      serial     = "1"; // decimal
    std::vector<std::pair<std::string, std::string>> extensions = {};  // the syntax of OpenSSL's configuration files
    int                                              version    = 3;
    std::string                                      digest     = "SHA256";
    bool                                             pssSigned  = false;         // RSA-PSS instead of PKCS#1 v1.5, for an RSA key
    int                                              nameType   = MBSTRING_UTF8; // or a type as V_ASN1_BMPSTRING, for values that are its bytes
};

Cert makeCertificate( const CertificateFields &fields );

// Root, intermediate and leaf of one kind of key, valid from 2020 to 2039 (the leaf from 2024 to
// 2025). Each call gives the same certificates.
struct Chain
{
    Cert root;
    Cert intermediate;
    Cert leaf;
};

inline constexpr std::string_view leafTime = "2024-07-01T00:00:00Z";

Chain chainOf( KeyKind kind );

// OpenSSL's own encodings, made in its default context.
std::string        der( X509 *x509 );
inline std::string der( const Cert &cert ) { return der( cert.get() ); }
std::string        pemText( const Cert &cert );
std::string        pemText( std::string_view label, std::string_view body );
std::string        fromBase64( const std::string &text ); // without line breaks
std::string        pkcs8Text( EVP_PKEY *pkey );           // empty if it cannot be written

// The certificate that d2i_X509 reads from some bytes in the default context, or null.
Cert parseDer( std::string_view der );

// Objects of the library.
pb::Ref<CRY_PEM>               pem( std::string_view label, std::string_view body );
pb::Ref<CRY_X509_CERTIFICATE>  certificate( const Cert &cert );
pb::Ref<CRY_X509_CERTIFICATES> certificates( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &list );
pb::Ref<PB_TIME>               time( std::string_view text );

std::string                                der( CRY_X509_CERTIFICATE *cert );
std::vector<std::string>                   ders( CRY_X509_CERTIFICATES *certs );
std::vector<pb::Ref<CRY_X509_CERTIFICATE>> members( CRY_X509_CERTIFICATES *certs );

// OpenSSL's error queue: raiseError adds an error that no other code raises; takeErrors removes all
// errors and gives them.
void                       raiseError();
extern const unsigned long raisedError;
std::vector<unsigned long> takeErrors();

// OpenSSL keeps user data only with CRLs of a method of their own: the CRL that `make()` gives has
// one. No other CRL may be made during the call.
X509_CRL *watchableCrl( const std::function<X509_CRL *()> &make );

// Shows if OpenSSL has freed an object, without keeping it alive.
class FreeWatch
{
public:
    explicit FreeWatch( X509 *x509 );
    explicit FreeWatch( EVP_PKEY *pkey );
    explicit FreeWatch( X509_CRL *crl ); // of watchableCrl
    FreeWatch( const FreeWatch & )            = delete;
    FreeWatch &operator=( const FreeWatch & ) = delete;
    bool       freed() const { return *count == 1; }

private:
    std::unique_ptr<int> count = std::make_unique<int>( 0 );
};

}
