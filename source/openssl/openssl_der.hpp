// The part of DER (X.690) that decides if a certificate or key takes the fast path. If this code
// does not understand the bytes, OpenSSL parses them in the default context.
#pragma once

#include <pb/pb_base.h>

#include <string_view>

namespace openssl
{

using Bytes = std::basic_string_view<PB_BYTE>;

inline constexpr PB_BYTE tagInteger = 0x02, tagBitString = 0x03, tagOctetString = 0x04, tagNull = 0x05, tagOid = 0x06, tagSequence = 0x30,
                         tagVersion = 0xA0, uncompressedPoint = 0x04;

// Removes one element with a definite length from the front and returns its content. Null data if
// the first element does not have this tag.
inline Bytes take( Bytes &rest, PB_BYTE tag )
{
    if( rest.size() < 2 || rest[0] != tag )
        return {};
    size_t length = rest[1];
    size_t header = 2;
    if( length >= 0x80 )
    {
        size_t count = length & 0x7F;
        if( count == 0 || count > 4 || rest.size() < 2 + count )
            return {};
        length = 0;
        for( size_t index = 0; index < count; index++ )
            length = length << 8 | rest[2 + index];
        header += count;
    }
    if( rest.size() - header < length )
        return {};
    Bytes content = rest.substr( header, length );
    rest.remove_prefix( header + length );
    return content;
}

// The same for an element whose length is written in as few bytes as possible.
inline Bytes takeMinimal( Bytes &rest, PB_BYTE tag )
{
    size_t whole   = rest.size();
    Bytes  content = take( rest, tag );
    size_t header  = whole - rest.size() - content.size();
    size_t needed  = content.size() < 0x80 ? 2 : content.size() < 0x100 ? 3 : content.size() < 0x10000 ? 4 : content.size() < 0x1000000 ? 5 : 6;
    return header == needed ? content : Bytes();
}

// Removes an INTEGER from the front. True if it is positive and has no leading zeros.
inline bool takePositive( Bytes &rest )
{
    Bytes number = takeMinimal( rest, tagInteger );
    return !number.empty() && number[0] < 0x80 && ( number[0] != 0 || ( number.size() > 1 && number[1] >= 0x80 ) );
}

// Whether an AlgorithmIdentifier is one that the key-decoding context knows: rsaEncryption with a
// NULL, or id-ecPublicKey with a named curve other than SM2, whose keys have the same identifier
// and would load as another kind of key without an error.
inline bool isFastPathAlgorithm( Bytes algorithm )
{
    static constexpr PB_BYTE rsaEncryption[] = { 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01 };
    static constexpr PB_BYTE ecPublicKey[]   = { 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01 };
    static constexpr PB_BYTE sm2[]           = { 0x2A, 0x81, 0x1C, 0xCF, 0x55, 0x01, 0x82, 0x2D };

    Bytes oid = take( algorithm, tagOid );
    if( oid == Bytes( rsaEncryption, sizeof rsaEncryption ) )
        return algorithm.size() == 2 && algorithm[0] == tagNull && algorithm[1] == 0;
    if( oid != Bytes( ecPublicKey, sizeof ecPublicKey ) )
        return false;
    Bytes curve = take( algorithm, tagOid );
    return !curve.empty() && algorithm.empty() && curve != Bytes( sm2, sizeof sm2 );
}

inline bool isFastPathPublicKey( Bytes spki )
{
    Bytes content   = take( spki, tagSequence );
    Bytes algorithm = take( content, tagSequence );
    return spki.empty() && isFastPathAlgorithm( algorithm ) && !take( content, tagBitString ).empty() && content.empty();
}

// Whether OpenSSL writes a public key of the fast path in the same bytes: everything is DER, and an
// EC point is uncompressed.
inline bool isCanonicalPublicKey( Bytes spki )
{
    Bytes content   = takeMinimal( spki, tagSequence );
    Bytes algorithm = takeMinimal( content, tagSequence );
    Bytes bits      = takeMinimal( content, tagBitString );
    if( !spki.empty() || !content.empty() || bits.size() < 2 || bits[0] != 0 )
        return false;
    Bytes key = bits.substr( 1 );
    if( takeMinimal( algorithm, tagOid ).empty() )
        return false;
    if( takeMinimal( algorithm, tagOid ).empty() )
    {
        Bytes numbers = takeMinimal( key, tagSequence );
        return algorithm.size() == 2 && key.empty() && takePositive( numbers ) && takePositive( numbers ) && numbers.empty();
    }
    return algorithm.empty() && key[0] == uncompressedPoint;
}

inline bool isFastPathPrivateKey( Bytes info )
{
    Bytes content   = take( info, tagSequence );
    Bytes version   = take( content, tagInteger );
    Bytes algorithm = take( content, tagSequence );
    return info.empty() && version.size() == 1 && version[0] == 0 && isFastPathAlgorithm( algorithm ) && !take( content, tagOctetString ).empty() &&
        content.empty();
}

// Bytes after the certificate are allowed.
inline bool isFastPathCertificate( Bytes der )
{
    Bytes certificate = take( der, tagSequence );
    Bytes tbs         = take( certificate, tagSequence );
    if( !tbs.empty() && tbs[0] == tagVersion )
        take( tbs, tagVersion );
    for( PB_BYTE tag : { tagInteger, tagSequence, tagSequence, tagSequence, tagSequence } )
    {
        // An issuer or subject may be empty, so the position tells if an element was removed, not
        // its content.
        size_t before = tbs.size();
        take( tbs, tag );
        if( tbs.size() == before )
            return false;
    }
    Bytes spki    = tbs;
    Bytes content = take( tbs, tagSequence );
    return !content.empty() && isFastPathPublicKey( spki.substr( 0, spki.size() - tbs.size() ) );
}

}
