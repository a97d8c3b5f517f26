#include <openssl_module/internal/openssl_module.h>
#include <pb/sort.hpp>

#include "openssl_der.hpp"

#include <cstdint>

namespace
{

using openssl::Bytes;

constexpr PB_BYTE tagSet = 0x31, tagPrintable = 0x13, tagT61 = 0x14, tagIa5 = 0x16, tagVisible = 0x1A, tagUniversal = 0x1C,
                  tagBmp = 0x1E;

bool isSpace( PB_BYTE byte ) { return byte == ' ' || ( byte >= '\t' && byte <= '\r' ); }

uint64_t mix( uint64_t state, PB_BYTE byte ) { return ( state ^ byte ) * 0x100000001B3; }

// Adds a value to the state. OpenSSL compares texts as UTF-8, in lower case, with single blanks
// between words. Texts that are equal then are equal here, without any white space. False if the
// text would have to be converted, or put together.
bool addValue( uint64_t &state, PB_BYTE tag, Bytes value )
{
    bool inPieces = tag & 0x20, longTag = ( tag & 0x1F ) == 0x1F;
    if( inPieces || longTag || tag == tagT61 || tag == tagUniversal || tag == tagBmp )
        return false;
    bool latin = tag == tagPrintable || tag == tagIa5 || tag == tagVisible;
    for( PB_BYTE byte : value )
    {
        if( latin && byte >= 0x80 )
            return false;
        if( byte >= 'A' && byte <= 'Z' )
            byte = (PB_BYTE)( byte + ( 'a' - 'A' ) );
        if( !isSpace( byte ) )
            state = mix( state, byte );
    }
    return true;
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
