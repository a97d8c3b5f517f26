#include <openssl_module/internal/openssl_module.h>
#include <pb/sort.hpp>

#include <openssl/asn1.h>

#include "openssl_key_decoding.hpp"
#include "openssl_walk.hpp"

// d2i_X509 accepts a certificate whose key it cannot decode, and it does not look into extensions.
// So its verdict follows from the structure, from the contents of some primitive elements, and from
// the texts in names, which it converts to UTF-8. i2d_X509 repeats the bytes of the TBSCertificate,
// but writes the outer algorithm and the signature anew.
namespace openssl
{

namespace
{

// OpenSSL writes no text for an OBJECT IDENTIFIER with more than 586 bytes. Nobody uses so many.
constexpr size_t longestOid = 64;

// Each number in it has no leading zeros, and the last one ends.
bool isOid( const Walk &oid )
{
    if( oid.empty() || oid.size() > longestOid )
        return false;
    bool begins = true;
    for( size_t index = 0; index < oid.size(); index++ )
    {
        if( begins && oid[index] == 0x80 )
            return false;
        begins = oid[index] < 0x80;
    }
    return begins;
}

bool takeOid( Walk &rest )
{
    Walk oid;
    return rest.take( tagOid, oid ) && isOid( oid );
}

// The algorithm's parameters are absent, or a NULL, an OBJECT IDENTIFIER or a SEQUENCE. OpenSSL
// keeps the bytes of a SEQUENCE and does not look into it.
bool isAlgorithm( Walk algorithm )
{
    if( !takeOid( algorithm ) )
        return false;
    if( algorithm.empty() )
        return true;
    Walk parameters;
    switch( algorithm[0] )
    {
    case tagNull:
        return algorithm.takeNull() && algorithm.empty();
    case tagOid:
        return takeOid( algorithm ) && algorithm.empty();
    default:
        return algorithm.takeLast( tagSequence, parameters );
    }
}

bool takeAlgorithm( Walk &rest )
{
    Walk algorithm;
    return rest.take( tagSequence, algorithm ) && isAlgorithm( algorithm );
}

bool isUnicode( unsigned long character ) { return character < 0xD800 || ( character >= 0xE000 && character <= 0x10FFFF ); }

bool isUtf8( const Walk &text )
{
    size_t index = 0;
    while( index < text.size() && text[index] < 0x80 )
        index++;
    while( index < text.size() )
    {
        unsigned long character;
        int           length = UTF8_getc( text.data() + index, (int)( text.size() - index ), &character );
        if( length <= 0 || !isUnicode( character ) )
            return false;
        index += (size_t)length;
    }
    return true;
}

bool isBmp( const Walk &text )
{
    if( text.size() % 2 != 0 )
        return false;
    for( size_t index = 0; index < text.size(); index += 2 )
    {
        if( !isUnicode( (unsigned long)( text[index] << 8 | text[index + 1] ) ) )
            return false;
    }
    return true;
}

// The value of an attribute in a name; nothing comes after it. OpenSSL accepts all bytes in texts
// with one byte for each character.
bool isText( Walk &rest )
{
    if( rest.empty() )
        return false;
    Walk text;
    switch( rest[0] )
    {
    case tagPrintable:
    case tagNumeric:
    case tagT61:
    case tagIa5:
        return rest.takeLast( rest[0], text ) && !text.empty();
    case tagUtf8:
        return rest.takeLast( tagUtf8, text ) && !text.empty() && isUtf8( text );
    case tagBmp:
        return rest.takeLast( tagBmp, text ) && !text.empty() && isBmp( text );
    default:
        return false;
    }
}

// A name may be empty, but no part of it.
bool takeName( Walk &rest )
{
    Walk name;
    if( !rest.take( tagSequence, name ) )
        return false;
    while( !name.empty() )
    {
        Walk set, attribute;
        if( !name.take( tagSet, set ) )
            return false;
        do
        {
            if( !set.take( tagSequence, attribute ) || !takeOid( attribute ) || !isText( attribute ) )
                return false;
        }
        while( !set.empty() );
    }
    return true;
}

// Digits without a fraction, then Z.
bool takeTime( Walk &rest )
{
    bool   shortYear = rest.has( tagUtcTime );
    size_t digits    = shortYear ? 12 : 14;
    Walk   time;
    if( !rest.take( shortYear ? tagUtcTime : tagGeneralizedTime, time ) || time.size() != digits + 1 || time[digits] != 'Z' )
        return false;
    for( size_t index = 0; index < digits; index++ )
    {
        if( time[index] < '0' || time[index] > '9' )
            return false;
    }
    return true;
}

bool takeValidity( Walk &rest )
{
    Walk validity;
    return rest.take( tagSequence, validity ) && takeTime( validity ) && takeTime( validity ) && validity.empty();
}

// A number of either sign in as few bytes as possible.
bool takeSerial( Walk &rest )
{
    Walk number;
    if( !rest.take( tagInteger, number ) || number.empty() )
        return false;
    return number.size() == 1 || !( ( number[0] == 0x00 && number[1] < 0x80 ) || ( number[0] == 0xFF && number[1] >= 0x80 ) );
}

bool takePublicKey( Walk &rest )
{
    Walk key, bits;
    return rest.take( tagSequence, key ) && takeAlgorithm( key ) && key.takeBytes( bits ) && key.empty();
}

// The outer version of version 1 is absent.
bool takeVersion( Walk &rest )
{
    if( !rest.has( tagVersion ) )
        return true;
    Walk version, number;
    return rest.take( tagVersion, version ) && version.takeLast( tagInteger, number ) && number.size() == 1 &&
        ( number[0] == X509_VERSION_2 || number[0] == X509_VERSION_3 );
}

bool isExtension( Walk extension )
{
    Walk critical, value;
    if( !takeOid( extension ) )
        return false;
    if( extension.has( tagBoolean ) && !( extension.take( tagBoolean, critical ) && critical.size() == 1 && critical[0] == 0xFF ) )
        return false;
    return extension.takeLast( tagOctetString, value );
}

// The rest of a TBSCertificate: nothing, or at least one extension.
bool isExtensions( Walk &rest )
{
    if( rest.empty() )
        return true;
    Walk tagged, extensions, extension;
    if( !rest.takeLast( tagExtensions, tagged ) || !tagged.takeLast( tagSequence, extensions ) )
        return false;
    do
    {
        if( !extensions.take( tagSequence, extension ) || !isExtension( extension ) )
            return false;
    }
    while( !extensions.empty() );
    return true;
}

bool isCanonicalCertificate( Walk der )
{
    Walk certificate, tbs, signature;
    return der.takeLast( tagSequence, certificate ) && certificate.take( tagSequence, tbs ) && takeVersion( tbs ) && takeSerial( tbs ) &&
        takeAlgorithm( tbs ) && takeName( tbs ) && takeValidity( tbs ) && takeName( tbs ) && takePublicKey( tbs ) && isExtensions( tbs ) &&
        takeAlgorithm( certificate ) && certificate.takeBytes( signature ) && certificate.empty();
}

}

}

PB_BOOL openssl___IsCanonicalCertificate( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return openssl::isReviewedVersion() && length <= openssl::mostWalked && openssl::isCanonicalCertificate( { der, (size_t)length } );
}
