#include <bn/internal/bn_int.h>
#include <cry/internal/cry_x509_decode.h>
#include <pb/ascii.hpp>
#include <pb/containers.hpp>

#include "common/cry_ossl_pem_object.hpp"

#include <algorithm>
#include <openssl/crypto.h>
#include <openssl_module/internal/openssl_module.h>
#include <string_view>

// Escapes and order are those of RFC 2253, but a blank follows each comma. OpenSSL's one-line form
// would put blanks around the equals sign and would not reverse the order.
static constexpr unsigned long nameFlags = ASN1_STRFLGS_ESC_2253 | ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_ESC_QUOTE | ASN1_STRFLGS_UTF8_CONVERT |
    ASN1_STRFLGS_DUMP_UNKNOWN | ASN1_STRFLGS_DUMP_DER | XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV;
static_assert( nameFlags == 0x12031B );

namespace
{

std::string_view viewOf( const ASN1_STRING *string )
{
    return { (const char *)ASN1_STRING_get0_data( string ), (size_t)ASN1_STRING_length( string ) };
}

// Whether the bytes of a string are ASCII characters if they are below 0x80. Other types have this
// property too, but they are rare.
bool isBytewise( const ASN1_STRING *string )
{
    int type = ASN1_STRING_type( string );
    return type == V_ASN1_UTF8STRING || type == V_ASN1_PRINTABLESTRING || type == V_ASN1_IA5STRING;
}

bool isControl( char c ) { return (unsigned char)c < ' ' || c == '\x7F'; }

bool needsEscape( char c ) { return isControl( c ) || c == '"' || c == '\\'; }

// Writes a value as OpenSSL does. False if OpenSSL must do it.
bool tryWriteValue( const ASN1_STRING *value, pb::StdString<> &text )
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string_view           view   = viewOf( value );
    bool                       isUtf8 = ASN1_STRING_type( value ) == V_ASN1_UTF8STRING;
    // OpenSSL puts no quotes around a number sign that is alone.
    bool   quotes  = view.starts_with( ' ' ) || view.ends_with( ' ' ) || ( view.starts_with( '#' ) && view.size() > 1 );
    size_t escapes = 0;
    for( char c : view )
    {
        if( (unsigned char)c >= 0x80 && !isUtf8 )
            return false;
        escapes += needsEscape( c );
        quotes |= c == ',' || c == '+' || c == ';' || c == '<' || c == '>';
    }
    if( escapes && !openssl___ShortcutsUsed() )
        return false;
    text.append( quotes ? "\"" : "" );
    for( ; escapes; escapes-- )
    {
        size_t plain = (size_t)( std::find_if( view.begin(), view.end(), needsEscape ) - view.begin() );
        char   c     = view[plain];
        text.append( view, 0, plain ).append( 1, '\\' );
        if( isControl( c ) )
            text.append( { digits[(size_t)c / 16], digits[(size_t)c % 16] } );
        else
            text += c;
        view.remove_prefix( plain + 1 );
    }
    text.append( view ).append( quotes ? "\"" : "" );
    return true;
}

// Writes a name as X509_NAME_print_ex does, which takes several times as long. False if that
// function must do it.
bool tryWriteName( const X509_NAME *name, pb::StdString<> &text )
{
    int setBefore = -1;
    for( int index = X509_NAME_entry_count( name ) - 1; index >= 0; index-- )
    {
        const X509_NAME_ENTRY *entry = X509_NAME_get_entry( name, index );
        const ASN1_STRING     *value = X509_NAME_ENTRY_get_data( entry );
        int                    nid   = OBJ_obj2nid( X509_NAME_ENTRY_get_object( entry ) );
        const char            *field = nid == NID_undef ? nullptr : OBJ_nid2sn( nid );
        if( !field || !isBytewise( value ) )
            return false;
        int set = X509_NAME_ENTRY_set( entry );
        if( setBefore != -1 )
            text += set == setBefore ? " + " : ", ";
        setBefore = set;
        text.append( field ).append( "=" );
        if( !tryWriteValue( value, text ) )
            return false;
    }
    return true;
}

}

PB_STRING *cry___X509TryDecodeX509Name( X509_NAME *name )
{
    PB_CHECK( name );
    pb::StdString<> written;
    PB_STRING      *str = tryWriteName( name, written ) ? pbStringTryCreateFromCstr( written.data(), (PB_INT)written.size() ) : nullptr;
    if( str )
        return str;
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
    std::string_view plain = viewOf( asn1String );
    if( isBytewise( asn1String ) && pb::isAscii( plain.data(), plain.size() ) )
        return plain.empty() ? nullptr : pbStringCreateFromCstr( plain.data(), (PB_INT)plain.size() );
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
