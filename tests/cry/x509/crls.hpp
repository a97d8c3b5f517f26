// CRLs made with plain OpenSSL.
#pragma once

#include <cry/internal/cry_x509_crl.h>

#include "cry/pkey/keys.hpp"

#include <openssl/x509v3.h>

namespace support
{

using OpensslCrl = std::shared_ptr<X509_CRL>;
using Crl        = pb::Ref<CRY_X509_CRL>;

// The parts of a CRL. An empty time is absent. The serial numbers are decimal.
struct CrlFields
{
    std::string                                      issuer     = "CN=issuer"; // one attribute
    std::vector<std::string>                         serials    = {};
    std::string                                      lastUpdate = "20240101000000Z";
    std::string                                      nextUpdate = "20240201000000Z";
    std::vector<std::pair<std::string, std::string>> extensions = {}; // the syntax of OpenSSL's configuration files
    int                                              reason     = -1; // an extension of each entry, if it is not negative
    Pkey                                             signer     = {}; // the P-256 key if none is given
};

inline std::string der( X509_CRL *crl )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_X509_CRL( crl, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    return out;
}
inline std::string der( const OpensslCrl &crl ) { return der( crl.get() ); }

inline OpensslCrl parseCrl( const std::string &der )
{
    const unsigned char *at = (const unsigned char *)der.data();
    return { d2i_X509_CRL( nullptr, &at, (long)der.size() ), X509_CRL_free };
}

inline void addEntry( X509_CRL *crl, const ASN1_INTEGER *serial, int reason = -1 )
{
    X509_REVOKED *entry = X509_REVOKED_new();
    ASN1_TIME    *time  = ASN1_TIME_new();
    EXPECT_EQ( ASN1_TIME_set_string_X509( time, "20231201000000Z" ), 1 );
    EXPECT_EQ( X509_REVOKED_set_revocationDate( entry, time ), 1 );
    ASN1_TIME_free( time );
    EXPECT_EQ( X509_REVOKED_set_serialNumber( entry, const_cast<ASN1_INTEGER *>( serial ) ), 1 );
    if( reason >= 0 )
    {
        ASN1_ENUMERATED *code = ASN1_ENUMERATED_new();
        EXPECT_EQ( ASN1_ENUMERATED_set( code, reason ), 1 );
        EXPECT_EQ( X509_REVOKED_add1_ext_i2d( entry, NID_crl_reason, code, 0, 0 ), 1 );
        ASN1_ENUMERATED_free( code );
    }
    EXPECT_EQ( X509_CRL_add0_revoked( crl, entry ), 1 );
}

inline void addEntry( X509_CRL *crl, const std::string &serial, int reason = -1 )
{
    BIGNUM *number = nullptr;
    EXPECT_GT( BN_dec2bn( &number, serial.c_str() ), 0 );
    ASN1_INTEGER *integer = BN_to_ASN1_INTEGER( number, nullptr );
    addEntry( crl, integer, reason );
    ASN1_INTEGER_free( integer );
    BN_free( number );
}

inline void setTime( X509_CRL *crl, int ( *set )( X509_CRL *, const ASN1_TIME * ), const std::string &text )
{
    if( text.empty() )
        return;
    ASN1_TIME *time = ASN1_TIME_new();
    EXPECT_EQ( ASN1_TIME_set_string_X509( time, text.c_str() ), 1 );
    EXPECT_EQ( set( crl, time ), 1 );
    ASN1_TIME_free( time );
}

// A new CRL that is not signed yet.
inline X509_CRL *newCrl( const CrlFields &fields )
{
    X509_CRL *crl = X509_CRL_new();
    EXPECT_EQ( X509_CRL_set_version( crl, X509_CRL_VERSION_2 ), 1 );
    X509_NAME *name  = X509_NAME_new();
    size_t     equal = fields.issuer.find( '=' );
    EXPECT_EQ( X509_NAME_add_entry_by_txt( name, fields.issuer.substr( 0, equal ).c_str(), MBSTRING_UTF8,
                   (const unsigned char *)fields.issuer.c_str() + equal + 1, -1, -1, 0 ),
        1 );
    EXPECT_EQ( X509_CRL_set_issuer_name( crl, name ), 1 );
    X509_NAME_free( name );
    setTime( crl, X509_CRL_set1_lastUpdate, fields.lastUpdate );
    setTime( crl, X509_CRL_set1_nextUpdate, fields.nextUpdate );
    for( const std::string &serial : fields.serials )
        addEntry( crl, serial, fields.reason );
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb( &ctx );
    X509V3_set_ctx( &ctx, nullptr, nullptr, nullptr, crl, 0 );
    for( const auto &[type, value] : fields.extensions )
    {
        X509_EXTENSION *extension = X509V3_EXT_nconf( nullptr, &ctx, type.c_str(), value.c_str() );
        EXPECT_NE( extension, nullptr ) << type << " = " << value;
        EXPECT_EQ( X509_CRL_add_ext( crl, extension, -1 ), 1 );
        X509_EXTENSION_free( extension );
    }
    return crl;
}

inline void signCrl( X509_CRL *crl, EVP_PKEY *signer )
{
    bool pure = EVP_PKEY_is_a( signer, "ED25519" );
    EXPECT_GT( X509_CRL_sign( crl, signer, pure ? nullptr : EVP_sha256() ), 0 );
}

// A new CRL that was read from its DER.
inline OpensslCrl makeCrl( const CrlFields &fields )
{
    OpensslCrl crl( newCrl( fields ), X509_CRL_free );
    signCrl( crl.get(), fields.signer ? fields.signer.get() : key( KeyKind::p256 ).get() );
    return parseCrl( der( crl ) );
}

// Objects of the library.
inline Crl crl( const OpensslCrl &crl )
{
    Crl made = pb::adopt( cry___X509CrlTryCreateFromOpensslX509CrlCopy( crl.get() ) );
    EXPECT_TRUE( made );
    return made;
}
inline Crl crl( const CrlFields &fields ) { return crl( makeCrl( fields ) ); }

inline pb::Ref<BN_INT> number( const std::string &decimal )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( decimal.c_str(), -1 ) );
    return pb::adopt( bnIntTryCreateFromDecimalString( text.get() ) );
}

}
