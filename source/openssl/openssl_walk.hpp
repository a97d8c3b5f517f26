// Strict steps over DER (X.690), for walkers: they decide without OpenSSL if it accepts some bytes
// and writes them unchanged. A walker may refuse everything that is not usual, so a step knows only
// one form of each element, and lengths of at most two bytes.
#pragma once

#include "openssl_der.hpp"

#include <cstring>

namespace openssl
{

inline constexpr PB_BYTE tagBoolean = 0x01, tagUtf8 = 0x0C, tagNumeric = 0x12, tagPrintable = 0x13, tagT61 = 0x14, tagIa5 = 0x16, tagUtcTime = 0x17,
                         tagGeneralizedTime = 0x18, tagBmp = 0x1E, tagSet = 0x31, tagPublicKey = 0xA1, tagExtensions = 0xA3;

// No certificate or key that a walker accepts is longer.
inline constexpr PB_INT mostWalked = 0xFFFF;

// Elements one after the other.
class Walk
{
public:
    Walk() = default;
    Walk( const PB_BYTE *first, size_t size ) : at( first ), end( first + size ) {}

    bool           empty() const { return at == end; }
    size_t         size() const { return (size_t)( end - at ); }
    const PB_BYTE *data() const { return at; }
    PB_BYTE        operator[]( size_t index ) const { return at[index]; }
    Bytes          bytes() const { return { at, size() }; }

    // Whether an element with this tag comes next.
    bool has( PB_BYTE tag ) const { return at != end && *at == tag; }

    // Removes the next element and gives its content. False if it has another tag, if its length is
    // not written in as few bytes as possible, or if it does not end inside.
    bool take( PB_BYTE tag, Walk &content )
    {
        if( size() < 2 || at[0] != tag )
            return false;
        const PB_BYTE *from   = at + 2;
        size_t         length = at[1];
        if( length >= 0x80 )
        {
            if( length == 0x81 && size() >= 3 && at[2] >= 0x80 )
                length = at[2], from += 1;
            else if( length == 0x82 && size() >= 4 && at[2] != 0 )
                length = (size_t)( at[2] << 8 | at[3] ), from += 2;
            else
                return false;
        }
        if( (size_t)( end - from ) < length )
            return false;
        content.at  = from;
        content.end = at = from + length;
        return true;
    }

    // The same for an element after which nothing comes.
    bool takeLast( PB_BYTE tag, Walk &content ) { return take( tag, content ) && empty(); }

    // Removes an INTEGER of one byte.
    bool takeSmall( PB_BYTE value )
    {
        Walk number;
        return take( tagInteger, number ) && number.size() == 1 && number[0] == value;
    }

    // Removes a NULL.
    bool takeNull()
    {
        Walk nothing;
        return take( tagNull, nothing ) && nothing.empty();
    }

    // Removes a BIT STRING of whole bytes, at least one, and gives these bytes.
    bool takeBytes( Walk &content )
    {
        if( !take( tagBitString, content ) || content.size() < 2 || content[0] != 0 )
            return false;
        content.at++;
        return true;
    }

    bool is( Bytes other ) const { return size() == other.size() && std::memcmp( at, other.data(), other.size() ) == 0; }

private:
    const PB_BYTE *at = nullptr, *end = nullptr;
};

}
