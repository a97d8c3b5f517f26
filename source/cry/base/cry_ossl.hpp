// OpenSSL objects: Ptr holds one in a function, Field makes it a field of an object, which frees it and does not share it.
#pragma once

#include <pb/sort.hpp>

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace cry::ossl
{

// The one table of how OpenSSL's objects are freed.
inline void freeOf( BIO *bio ) { BIO_free( bio ); }
inline void freeOf( EVP_MD_CTX *ctx ) { EVP_MD_CTX_free( ctx ); }
inline void freeOf( EVP_MAC_CTX *ctx ) { EVP_MAC_CTX_free( ctx ); }
inline void freeOf( EVP_CIPHER_CTX *ctx ) { EVP_CIPHER_CTX_free( ctx ); }
inline void freeOf( EVP_PKEY *pkey ) { EVP_PKEY_free( pkey ); }
inline void freeOf( X509 *x509 ) { X509_free( x509 ); }
inline void freeOf( X509_STORE *store ) { X509_STORE_free( store ); }
inline void freeOf( X509_STORE_CTX *ctx ) { X509_STORE_CTX_free( ctx ); }
inline void freeOf( X509_VERIFY_PARAM *param ) { X509_VERIFY_PARAM_free( param ); }
// The certificates in a stack are lent, only the stack itself is freed.
inline void freeOf( STACK_OF( X509 ) * stack ) { sk_X509_free( stack ); }

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
