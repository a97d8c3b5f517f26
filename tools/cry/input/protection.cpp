#include "input/protection.hpp"

#include "text/asn1_text.hpp"
#include "text/convert.hpp"

#include <memory>
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl_module/internal/openssl_key_limits.h>

namespace
{

template<auto free>
struct Freer
{
    void operator()( auto *object ) const { free( object ); }
};

std::string shortNameOf( const ASN1_OBJECT *oid )
{
    int nid = OBJ_obj2nid( oid );
    return nid == NID_undef ? tool::oidText( oid ) : OBJ_nid2sn( nid );
}

std::string roundsText( int64_t rounds )
{
    return rounds <= 0 ? "" : rounds == INT64_MAX ? ", more rounds than there can be" : ", " + std::to_string( rounds ) + " rounds";
}

// An algorithm of PKCS#5 or PKCS#12 with what it is made of.
std::string encryptionText( const X509_ALGOR *algorithm )
{
    std::string text = shortNameOf( algorithm->algorithm );
    if( OBJ_obj2nid( algorithm->algorithm ) == NID_pbes2 )
    {
        std::unique_ptr<PBE2PARAM, Freer<PBE2PARAM_free>> parameters(
            (PBE2PARAM *)ASN1_TYPE_unpack_sequence( ASN1_ITEM_rptr( PBE2PARAM ), algorithm->parameter ) );
        if( parameters )
            text += ", " + shortNameOf( parameters->keyfunc->algorithm ) + ", " + shortNameOf( parameters->encryption->algorithm );
    }
    return text + roundsText( openssl___DerivationRounds( algorithm ) );
}

// The bags of a part that is not encrypted.
std::string bagsText( const PKCS7 *part )
{
    struct FreeBags
    {
        void operator()( STACK_OF( PKCS12_SAFEBAG ) * bags ) const { sk_PKCS12_SAFEBAG_pop_free( bags, PKCS12_SAFEBAG_free ); }
    };
    std::unique_ptr<STACK_OF( PKCS12_SAFEBAG ), FreeBags> bags( PKCS12_unpack_p7data( const_cast<PKCS7 *>( part ) ) );
    if( !bags )
        return "a part that does not parse";
    size_t      keys = 0, locked = 0, certificates = 0, others = 0;
    std::string protection, text;
    for( int index = 0; index < sk_PKCS12_SAFEBAG_num( bags.get() ); index++ )
    {
        const PKCS12_SAFEBAG *bag  = sk_PKCS12_SAFEBAG_value( bags.get(), index );
        int                   type = PKCS12_SAFEBAG_get_nid( bag );
        if( type == NID_pkcs8ShroudedKeyBag && PKCS12_SAFEBAG_get0_pkcs8( bag ) )
        {
            const X509_ALGOR *algorithm;
            X509_SIG_get0( PKCS12_SAFEBAG_get0_pkcs8( bag ), &algorithm, nullptr );
            protection = encryptionText( algorithm );
        }
        ( type == NID_keyBag ? keys : type == NID_pkcs8ShroudedKeyBag ? locked : type == NID_certBag ? certificates : others )++;
    }
    auto add = [&text]( size_t count, const std::string &what ) {
        if( count )
            text += ( text.empty() ? "" : ", " ) + tool::counted( count, what );
    };
    add( keys, "private key" );
    add( locked, "protected private key" );
    add( certificates, "certificate" );
    add( others, "other bag" );
    return ( text.empty() ? "nothing" : text ) + ( protection.empty() ? "" : " (" + protection + ")" );
}

std::string partText( const PKCS7 *part )
{
    if( PKCS7_type_is_data( const_cast<PKCS7 *>( part ) ) )
        return bagsText( part );
    if( PKCS7_type_is_encrypted( const_cast<PKCS7 *>( part ) ) && part->d.encrypted && part->d.encrypted->enc_data )
        return "an encrypted part (" + encryptionText( part->d.encrypted->enc_data->algorithm ) + ")";
    return "a part of an unknown kind (" + shortNameOf( part->type ) + ")";
}

}

std::string tool::protectionOfPkcs8( PB_BUFFER *der )
{
    const unsigned char                            *at = pbBufferBytes( der );
    std::unique_ptr<X509_SIG, Freer<X509_SIG_free>> sig( d2i_X509_SIG( nullptr, &at, (long)pbBufferLength( der ) ) );
    std::string                                     text;
    if( sig )
    {
        const X509_ALGOR *algorithm;
        X509_SIG_get0( sig.get(), &algorithm, nullptr );
        text = encryptionText( algorithm );
    }
    ERR_clear_error();
    return text;
}

tool::Pkcs12Cover::Pkcs12Cover( PB_BUFFER *der )
{
    const unsigned char                        *at = pbBufferBytes( der );
    std::unique_ptr<PKCS12, Freer<PKCS12_free>> pkcs12( d2i_PKCS12( nullptr, &at, (long)pbBufferLength( der ) ) );
    if( !pkcs12 )
        return;
    const X509_ALGOR   *algorithm = nullptr;
    const ASN1_INTEGER *rounds    = nullptr;
    if( PKCS12_mac_present( pkcs12.get() ) )
    {
        PKCS12_get0_mac( nullptr, &algorithm, nullptr, &rounds, pkcs12.get() );
        mac = shortNameOf( algorithm->algorithm ) + roundsText( rounds ? openssl___RoundsOf( rounds ) : 1 );
    }
    struct FreeParts
    {
        void operator()( STACK_OF( PKCS7 ) * parts ) const { sk_PKCS7_pop_free( parts, PKCS7_free ); }
    };
    std::unique_ptr<STACK_OF( PKCS7 ), FreeParts> parts( PKCS12_unpack_authsafes( pkcs12.get() ) );
    for( int index = 0; index < sk_PKCS7_num( parts.get() ); index++ )
        contents.push_back( partText( sk_PKCS7_value( parts.get(), index ) ) );
    ERR_clear_error();
}
