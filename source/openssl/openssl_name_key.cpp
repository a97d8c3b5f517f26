#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>
#include <pb/sort.hpp>

#include "openssl_der.hpp"

#include <algorithm>
#include <cstdint>
#include <openssl/crypto.h>

namespace
{

using openssl::Bytes;

constexpr PB_BYTE tagSet = 0x31, tagUtf8 = 0x0C, tagNumeric = 0x12, tagPrintable = 0x13, tagT61 = 0x14, tagIa5 = 0x16, tagVisible = 0x1A,
                  tagUniversal = 0x1C, tagBmp = 0x1E;

constexpr size_t longestValue = 65535;

bool isSpace( PB_BYTE byte ) { return byte == ' ' || ( byte >= '\t' && byte <= '\r' ); }

uint64_t mix( uint64_t state, PB_BYTE byte ) { return ( state ^ byte ) * 0x100000001B3; }

// Adds a text to the state. OpenSSL compares texts as UTF-8, in lower case, with single blanks
// between words. Texts that are equal then are equal here, without any white space.
void addText( uint64_t &state, Bytes text )
{
    for( PB_BYTE byte : text )
    {
        if( byte >= 'A' && byte <= 'Z' )
            byte = (PB_BYTE)( byte + ( 'a' - 'A' ) );
        if( !isSpace( byte ) )
            state = mix( state, byte );
    }
}

// The same for a text that OpenSSL converts to UTF-8. False if it cannot.
bool addConverted( uint64_t &state, PB_BYTE tag, Bytes text )
{
    openssl::ErrorMark detour;
    ASN1_STRING       *string = ASN1_STRING_type_new( tag );
    unsigned char     *utf8   = nullptr;
    int                length = string && ASN1_STRING_set( string, text.data(), (int)text.size() ) == 1 ? ASN1_STRING_to_UTF8( &utf8, string ) : -1;
    if( length >= 0 )
        addText( state, { utf8, (size_t)length } );
    OPENSSL_free( utf8 );
    ASN1_STRING_free( string );
    return length >= 0;
}

// Adds a value. False if it is no text, since OpenSSL can change its bytes (it clears the unused
// bits of a BIT STRING), or if it is too long.
bool addValue( uint64_t &state, PB_BYTE tag, Bytes value )
{
    if( value.size() > longestValue )
        return false;
    bool ascii = std::all_of( value.begin(), value.end(), []( PB_BYTE byte ) { return byte < 0x80; } );
    switch( tag )
    {
    case tagPrintable:
    case tagIa5:
    case tagVisible:
        if( !ascii )
            return addConverted( state, tag, value );
        [[fallthrough]];
    case tagUtf8:
    case tagNumeric:
        addText( state, value );
        return true;
    case tagT61:
    case tagUniversal:
    case tagBmp:
        return addConverted( state, tag, value );
    default:
        return false;
    }
}

bool tryKeyOf( Bytes name, PB_INT *key )
{
    uint64_t sum  = 0;
    Bytes    rdns = openssl::take( name, openssl::tagSequence );
    if( !name.empty() )
        return false;
    while( !rdns.empty() )
    {
        Bytes set = openssl::take( rdns, tagSet );
        if( set.empty() )
            return false;
        while( !set.empty() )
        {
            Bytes entry = openssl::take( set, openssl::tagSequence );
            Bytes type  = openssl::take( entry, openssl::tagOid );
            if( type.empty() || entry.empty() )
                return false;
            uint64_t state = 0xCBF29CE484222325;
            for( PB_BYTE byte : type )
                state = mix( state, byte );
            PB_BYTE tag   = entry[0];
            Bytes   value = openssl::take( entry, tag );
            if( !entry.empty() || !addValue( state, tag, value ) )
                return false;
            // The order of the entries of one set does not count.
            sum += state;
        }
    }
    *key = (PB_INT)sum;
    return true;
}

}

PB_BOOL openssl___TrySubjectKey( const PB_BYTE *der, PB_INT length, PB_INT *key )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    PB_CHECK( key );
    Bytes rest        = { der, (size_t)length };
    Bytes certificate = openssl::take( rest, openssl::tagSequence );
    Bytes tbs         = openssl::take( certificate, openssl::tagSequence );
    if( !tbs.empty() && tbs[0] == openssl::tagVersion )
        openssl::take( tbs, openssl::tagVersion );
    openssl::take( tbs, openssl::tagInteger );
    // The algorithm, the issuer, the validity.
    for( int count = 0; count < 3; count++ )
        openssl::take( tbs, openssl::tagSequence );
    Bytes subject = tbs;
    openssl::take( tbs, openssl::tagSequence );
    return subject.size() != tbs.size() && tryKeyOf( subject.substr( 0, subject.size() - tbs.size() ), key );
}

PB_BOOL openssl___TryNameKey( const X509_NAME *name, PB_INT *key )
{
    PB_CHECK( name );
    PB_CHECK( key );
    const unsigned char *der;
    size_t               length;
    return X509_NAME_get0_der( name, &der, &length ) == 1 && tryKeyOf( { der, length }, key );
}
