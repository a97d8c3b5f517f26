// OpenSSL objects: Ptr holds one in a function, Field makes it a field of an object. That object
// frees it and does not share it.
#pragma once

#include <pb/sort.hpp>

#include <memory>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

namespace cry::ossl
{

// The function that frees each kind of OpenSSL's objects.
inline void freeOf( BIO *bio ) { BIO_free( bio ); }
inline void freeOf( EVP_MD_CTX *ctx ) { EVP_MD_CTX_free( ctx ); }
inline void freeOf( EVP_MAC_CTX *ctx ) { EVP_MAC_CTX_free( ctx ); }
inline void freeOf( EVP_CIPHER_CTX *ctx ) { EVP_CIPHER_CTX_free( ctx ); }
inline void freeOf( EVP_PKEY *pkey ) { EVP_PKEY_free( pkey ); }
inline void freeOf( EVP_PKEY_CTX *ctx ) { EVP_PKEY_CTX_free( ctx ); }
inline void freeOf( ECDSA_SIG *signature ) { ECDSA_SIG_free( signature ); }
inline void freeOf( BIGNUM *number ) { BN_free( number ); }
inline void freeOf( X509 *x509 ) { X509_free( x509 ); }
inline void freeOf( X509_CRL *crl ) { X509_CRL_free( crl ); }
inline void freeOf( X509_REQ *req ) { X509_REQ_free( req ); }
inline void freeOf( PKCS12 *pkcs ) { PKCS12_free( pkcs ); }
inline void freeOf( PKCS8_PRIV_KEY_INFO *info ) { PKCS8_PRIV_KEY_INFO_free( info ); }
inline void freeOf( X509_SIG *sig ) { X509_SIG_free( sig ); }
inline void freeOf( ASN1_STRING *string ) { ASN1_STRING_free( string ); }
inline void freeOf( BASIC_CONSTRAINTS *bcons ) { BASIC_CONSTRAINTS_free( bcons ); }
inline void freeOf( EXTENDED_KEY_USAGE *extusage ) { EXTENDED_KEY_USAGE_free( extusage ); }
inline void freeOf( GENERAL_NAMES *names ) { GENERAL_NAMES_free( names ); }
inline void freeOf( X509_EXTENSION *extension ) { X509_EXTENSION_free( extension ); }
inline void freeOf( X509_STORE *store ) { X509_STORE_free( store ); }
inline void freeOf( X509_STORE_CTX *ctx ) { X509_STORE_CTX_free( ctx ); }
inline void freeOf( X509_VERIFY_PARAM *param ) { X509_VERIFY_PARAM_free( param ); }
// The elements of distribution points are freed with them.
inline void freeOf( STACK_OF( DIST_POINT ) * points ) { CRL_DIST_POINTS_free( points ); }
// The elements of a stack are lent; only the stack itself is freed.
inline void freeOf( STACK_OF( X509 ) * stack ) { sk_X509_free( stack ); }
inline void freeOf( STACK_OF( X509_EXTENSION ) * stack ) { sk_X509_EXTENSION_free( stack ); }

#ifndef OPENSSL_NO_DEPRECATED_3_0
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
inline void            freeOf( HMAC_CTX *ctx ) { HMAC_CTX_free( ctx ); }
#pragma GCC diagnostic pop
#endif

template<class T>
concept Freed = requires( T *pointer ) { freeOf( pointer ); };

struct Deleter
{
    template<Freed T>
    void operator()( T *pointer ) const
    {
        freeOf( pointer );
    }
};

template<Freed T>
using Ptr = std::unique_ptr<T, Deleter>;

}

template<class T>
    requires cry::ossl::Freed<T>
struct pb::Field<T *>
{
    static void release( T *&field )
    {
        cry::ossl::freeOf( field );
        pb::setPoison( field );
    }
};
