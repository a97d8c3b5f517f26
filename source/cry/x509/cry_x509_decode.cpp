#include <bn/internal/bn_int.h>
#include <cry/internal/cry_x509_decode.h>

#include "common/cry_ossl_pem_object.hpp"

#include <openssl/crypto.h>
#include <string_view>

// Escapes and order are those of RFC 2253, but a blank follows each comma. OpenSSL's one-line form
// would put blanks around the equals sign and would not reverse the order.
static constexpr unsigned long nameFlags = ASN1_STRFLGS_ESC_2253 | ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_ESC_QUOTE | ASN1_STRFLGS_UTF8_CONVERT |
    ASN1_STRFLGS_DUMP_UNKNOWN | ASN1_STRFLGS_DUMP_DER | XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV;
static_assert( nameFlags == 0x12031B );

PB_STRING *cry___X509TryDecodeX509Name( X509_NAME *name )
{
    PB_CHECK( name );
    cry::ossl::Ptr<BIO> bio = cry::ossl::memoryBio( pb::Site::here() );
    X509_NAME_print_ex( bio.get(), name, 0, nameFlags );
    char *text   = nullptr;
    long  length = BIO_get_mem_data( bio.get(), &text );
    return pbStringTryCreateFromCstr( text, length );
}

BN_INT *cry___X509TryDecodeAsn1Integer( const ASN1_INTEGER *asn1Integer )
{
    PB_CHECK( asn1Integer );
    BIGNUM *bignum = ASN1_INTEGER_to_BN( asn1Integer, nullptr );
    return bignum ? bn___IntCreateFromBignumUse( bignum ) : nullptr;
}

PB_STRING *cry___X509TryDecodeAsn1String( const ASN1_STRING *asn1String )
{
    PB_CHECK( asn1String );
    unsigned char *text   = nullptr;
    int            length = ASN1_STRING_to_UTF8( &text, asn1String );
    PB_STRING     *str    = length > 0 ? pbStringCreateFromCstr( (const char *)text, length ) : nullptr;
    OPENSSL_free( text );
    return str;
}

namespace
{

bool isDigit( char c ) { return c >= '0' && c <= '9'; }

// Removes a number of exactly `digits` digits from the front and gives it; -1 if there is no such
// number.
PB_INT takeNumber( std::string_view &text, size_t digits )
{
    PB_INT number = 0;
    for( size_t index = 0; index < digits; index++ )
    {
        if( index >= text.size() || !isDigit( text[index] ) )
            return -1;
        number = number * 10 + ( text[index] - '0' );
    }
    text.remove_prefix( digits );
    return number;
}

// Removes a fraction from the front. It must reach to the last character. A number that does not
// fit into 64 bits is not accepted.
bool takeFraction( std::string_view &text )
{
    text.remove_prefix( 1 );
    PB_INT fraction = 0;
    size_t digits   = 0;
    for( ; digits < text.size() && isDigit( text[digits] ); digits++ )
    {
        if( __builtin_mul_overflow( fraction, 10, &fraction ) || __builtin_add_overflow( fraction, text[digits] - '0', &fraction ) )
            return false;
    }
    if( digits == 0 || digits + 1 != text.size() )
        return false;
    text.remove_prefix( digits );
    return true;
}

}

PB_TIME *cry___X509TryDecodeAsn1Time( const ASN1_TIME *asn1Time )
{
    PB_CHECK( asn1Time );
    bool utc     = asn1Time->type == V_ASN1_UTCTIME;
    bool general = asn1Time->type == V_ASN1_GENERALIZEDTIME;
    if( ( !utc && !general ) || asn1Time->length < ( utc ? 13 : 15 ) || !asn1Time->data )
        return nullptr;
    std::string_view text( (const char *)asn1Time->data, (size_t)asn1Time->length );

    PB_INT year = takeNumber( text, utc ? 2 : 4 );
    if( year < 0 )
        return nullptr;
    if( utc )
        year += year < 50 ? 2000 : 1900;
    PB_INT parts[5]; // month, day, hour, minute, second
    for( PB_INT &part : parts )
    {
        part = takeNumber( text, 2 );
        if( part < 0 )
            return nullptr;
    }
    if( general && text.starts_with( '.' ) && !takeFraction( text ) )
        return nullptr;
    if( text != "Z" || !pbTimeFieldsOk( year, parts[0], parts[1], parts[2], parts[3], parts[4], 0 ) )
        return nullptr;
    return pbTimeCreate( year, parts[0], parts[1], parts[2], parts[3], parts[4], 0 );
}
