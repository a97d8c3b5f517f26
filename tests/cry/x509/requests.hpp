// Requests made with plain OpenSSL, and its results for texts of requests.
#pragma once

#include <cry/internal/cry_x509_csr.h>

#include "cry/pkey/keys.hpp"

#include <openssl/x509v3.h>

namespace support
{

using Req     = std::shared_ptr<X509_REQ>;
using Request = pb::Ref<CRY_X509_CSR>;

// The parts of a request. If no signer is given, its own key signs it.
struct RequestFields
{
    std::string                                      commonName = "request";
    Pkey                                             key        = {};
    Pkey                                             signer     = {};
    std::vector<std::pair<std::string, std::string>> extensions = {}; // the syntax of OpenSSL's configuration files
    std::vector<std::pair<int, std::string>>         attributes = {}; // OpenSSL's numbers, and text
    const char                                      *digest     = "SHA256";
};

inline std::string der( X509_REQ *req )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_X509_REQ( req, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    return out;
}
inline std::string der( const Req &req ) { return der( req.get() ); }

inline std::string pemText( X509_REQ *req )
{
    return written( [&]( BIO *bio ) { return PEM_write_bio_X509_REQ( bio, req ); } );
}

inline Req parseRequest( const std::string &der )
{
    const unsigned char *at = (const unsigned char *)der.data();
    return { d2i_X509_REQ( nullptr, &at, (long)der.size() ), X509_REQ_free };
}

// Signs the request again after a change.
inline void signRequest( X509_REQ *req, EVP_PKEY *signer, const char *digest = "SHA256" )
{
    bool pure = EVP_PKEY_is_a( signer, "ED25519" ) || EVP_PKEY_is_a( signer, "ED448" );
    EXPECT_GT( X509_REQ_sign( req, signer, pure ? nullptr : EVP_get_digestbyname( digest ) ), 0 );
}

// A new request that was read from its DER.
inline Req makeRequest( const RequestFields &fields )
{
    Req        req( X509_REQ_new(), X509_REQ_free );
    X509_NAME *name = X509_REQ_get_subject_name( req.get() );
    EXPECT_EQ( X509_NAME_add_entry_by_txt( name, "CN", MBSTRING_UTF8, (const unsigned char *)fields.commonName.c_str(), -1, -1, 0 ), 1 );
    EXPECT_EQ( X509_REQ_set_pubkey( req.get(), fields.key.get() ), 1 );
    if( !fields.extensions.empty() )
    {
        STACK_OF( X509_EXTENSION ) *extensions = sk_X509_EXTENSION_new_null();
        X509V3_CTX ctx;
        X509V3_set_ctx_nodb( &ctx );
        X509V3_set_ctx( &ctx, nullptr, nullptr, req.get(), nullptr, 0 );
        for( const auto &[type, value] : fields.extensions )
        {
            X509_EXTENSION *extension = X509V3_EXT_nconf( nullptr, &ctx, type.c_str(), value.c_str() );
            EXPECT_NE( extension, nullptr ) << type << " = " << value;
            sk_X509_EXTENSION_push( extensions, extension );
        }
        EXPECT_EQ( X509_REQ_add_extensions( req.get(), extensions ), 1 );
        sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
    }
    for( const auto &[nid, value] : fields.attributes )
        EXPECT_EQ( X509_REQ_add1_attr_by_NID( req.get(), nid, MBSTRING_UTF8, (const unsigned char *)value.data(), (int)value.size() ), 1 );
    signRequest( req.get(), fields.signer ? fields.signer.get() : fields.key.get(), fields.digest );
    return parseRequest( der( req ) );
}

// The request that OpenSSL reads from a text, and the errors that it leaves.
inline Req requestByOpenssl( const std::string &text, std::vector<unsigned long> &errors )
{
    BIO *bio = BIO_new_mem_buf( text.data(), (int)text.size() );
    Req  req( PEM_read_bio_X509_REQ(
                 bio, nullptr, []( char *, int, int, void  *) { return 0; }, nullptr ),
         X509_REQ_free );
    BIO_free( bio );
    errors = takeErrors();
    return req;
}

// Objects of the library.
inline Request request( const Req &req )
{
    Request made = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqCopy( req.get() ) );
    EXPECT_TRUE( made );
    return made;
}
inline Request requestFromPem( const pb::Ref<CRY_PEM> &pem ) { return pb::adopt( cryX509CsrTryCreateFromPem( pem.get() ) ); }
inline Request requestFromText( const std::string &text )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    EXPECT_TRUE( pem ) << text;
    return requestFromPem( pem );
}

inline std::string canonical( const Request &csr ) { return textOf( pb::adopt( cryX509CsrPem( csr.get() ) ).get() ); }
inline std::string der( const Request &csr ) { return bytes( pb::adopt( cryPemData( pb::adopt( cryX509CsrPem( csr.get() ) ).get() ) ) ); }

}
