// A certificate as the fast path reads it against what plain OpenSSL makes of the same bytes in the
// default context.
#pragma once

#include "openssl.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <openssl/x509.h>
#include <openssl_module/internal/openssl_module.h>

namespace fuzz
{

// What is compared of a certificate.
struct SeenCertificate
{
    bool                     read = false;
    std::string              der, key; // the key is empty where it does not decode
    std::vector<std::string> errors;   // of the reading

    bool operator==( const SeenCertificate & ) const = default;
};

template<class T>
std::string derOf( int ( *write )( const T *, unsigned char ** ), const T *object )
{
    unsigned char *bytes  = nullptr;
    int            length = write( object, &bytes );
    std::string    der( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    FUZZ_CHECK( length > 0 );
    return der;
}

// Lent; to be called when nothing was done with OpenSSL since it was read.
inline SeenCertificate seenOf( X509 *x509 )
{
    SeenCertificate seen;
    seen.errors = takeErrors();
    seen.read   = x509;
    if( !x509 )
        return seen;
    seen.der       = derOf( i2d_X509, (const X509 *)x509 );
    EVP_PKEY *pkey = X509_get0_pubkey( x509 );
    if( pkey )
        seen.key = derOf( i2d_PUBKEY, (const EVP_PKEY *)pkey );
    ERR_clear_error();
    return seen;
}

inline bool isOfFastPath( X509 *x509 )
{
    // Asking for a key that does not decode is an error of its own.
    ERR_set_mark();
    EVP_PKEY *pkey = x509 ? X509_get0_pubkey( x509 ) : nullptr;
    ERR_pop_to_mark();
    return pkey && openssl___ContextOf( pkey );
}

// Plain OpenSSL lists its decoders and encoders each time, so most inputs are left out of the
// comparison; fewer of those that the fast path takes.
inline bool isCompared( std::string_view input, X509 *x509 ) { return chosen( input, isOfFastPath( x509 ) ? 8 : 32 ); }

inline std::string_view view( const pb::Ref<CRY_X509_CERTIFICATE> &cert, pb::Ref<PB_BUFFER> &holder )
{
    holder = pb::adopt( cryPemData( pb::adopt( cryX509CertificatePem( cert.get() ) ).get() ) );
    return view( holder );
}

// The info of a certificate leaves no errors and comes back from its store. Restoring reads the
// alternative names only with a Netscape certificate type, and aborts if that stands alone.
inline void checkInfo( const pb::Ref<CRY_X509_CERTIFICATE> &cert )
{
    ERR_clear_error();
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509CertificateInfo( cert.get() ) );
    FUZZ_CHECK( !ERR_peek_error() );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509InfoStore( info.get() ) );
    if( !cryX509InfoHasNetscapeCertType( info.get() ) )
        pbStoreDelCstr( store.handle(), "sans", -1 );
    else if( !cryX509InfoHasSans( info.get() ) )
        return;
    info = pb::adopt( cryX509InfoRestore( store.get() ) );
    FUZZ_CHECK( pbStoreEquals( pb::adopt( cryX509InfoStore( info.get() ) ).get(), store.get() ) );
}

// The object that the module makes of it: there where OpenSSL's certificate is, with the same DER,
// and its key is the same where OpenSSL has one.
inline void checkObject( const pb::Ref<CRY_X509_CERTIFICATE> &cert, const SeenCertificate &plain )
{
    FUZZ_CHECK( (bool)cert == plain.read );
    if( !cert )
        return;
    pb::Ref<PB_BUFFER> holder;
    FUZZ_CHECK( view( cert, holder ) == plain.der );
    ERR_clear_error();
    SeenCertificate own = seenOf( cry___X509CertificatePeekOpensslX509( cert.get() ) );
    FUZZ_CHECK( own.der == plain.der && own.key == plain.key );
    checkInfo( cert );
}

}
