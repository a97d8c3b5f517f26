// The functions for RSA and EC_KEY objects are deprecated for programs, but the key data of the
// default provider are such objects, and no other interface compares them in less than a
// microsecond.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "openssl_known_signatures.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/known_table.hpp>

#include <openssl/ec.h>
#include <openssl/obj_mac.h>
#include <openssl/rsa.h>

namespace openssl
{

namespace
{

// A copy of a key. A later change of the key object does not reach it.
struct KnownKey
{
    KeyKind   kind;
    BIGNUM   *modulus, *exponent;
    int       curve;
    EC_POINT *point;

    static KnownKey *copyOf( KeyKind kind, void *key );
    static void      free( KnownKey *known );
    bool             equals( KeyKind otherKind, void *key ) const;
};

KnownKey *KnownKey::copyOf( KeyKind kind, void *key )
{
    KnownKey known = {};
    known.kind     = kind;
    if( kind == KeyKind::Rsa )
    {
        const RSA *rsa = (const RSA *)key;
        known.modulus  = BN_dup( RSA_get0_n( rsa ) );
        known.exponent = BN_dup( RSA_get0_e( rsa ) );
    }
    else
    {
        const EC_KEY *ec = (const EC_KEY *)key;
        known.curve      = EC_GROUP_get_curve_name( EC_KEY_get0_group( ec ) );
        known.point      = EC_POINT_dup( EC_KEY_get0_public_key( ec ), EC_KEY_get0_group( ec ) );
    }
    auto *made = pb::make<KnownKey, pb::ProcessMemory>( known );
    if( kind == KeyKind::Rsa ? known.modulus && known.exponent : known.point != nullptr )
        return made;
    free( made );
    return nullptr;
}

void KnownKey::free( KnownKey *known )
{
    BN_free( known->modulus );
    BN_free( known->exponent );
    EC_POINT_free( known->point );
    pb::ProcessMemory::give( known );
}

bool KnownKey::equals( KeyKind otherKind, void *key ) const
{
    if( otherKind != kind )
        return false;
    if( kind == KeyKind::Rsa )
    {
        const RSA *rsa = (const RSA *)key;
        return BN_cmp( RSA_get0_n( rsa ), modulus ) == 0 && BN_cmp( RSA_get0_e( rsa ), exponent ) == 0;
    }
    const EC_KEY   *ec    = (const EC_KEY *)key;
    const EC_GROUP *group = EC_KEY_get0_group( ec );
    if( EC_GROUP_get_curve_name( group ) != curve )
        return false;
    ErrorMark detour;
    return EC_POINT_cmp( group, EC_KEY_get0_public_key( ec ), point, nullptr ) == 0;
}

}

}

template<>
struct pb::Field<openssl::KnownKey *>
{
    static void release( openssl::KnownKey *&known ) { openssl::KnownKey::free( known ); }
};

namespace openssl
{

namespace
{

constinit pb::KnownTable<KnownKey, mostKnownSignatures / 4> table;
static_assert( decltype( table )::most == mostKnownSignatures );

// The bytes by which the table finds a signature. The key is not among them: it is compared.
class Record
{
public:
    explicit Record( const SignedBytes &signature )
    {
        PB_BYTE *at = memory;
        *at++       = signature.digest;
        *at++       = (PB_BYTE)( signature.signature.size() >> 8 );
        *at++       = (PB_BYTE)signature.signature.size();
        for( Bytes part : { signature.signature, signature.message } )
        {
            std::memcpy( at, part.data(), part.size() );
            at += part.size();
        }
        length = (size_t)( at - memory );
    }

    Bytes bytes() const { return { memory, length }; }

private:
    PB_BYTE memory[3 + largestKeptSignature + largestKeptMessage];
    size_t  length;
};

bool isSmall( const SignedBytes &signature )
{
    return !signature.signature.empty() && signature.signature.size() <= largestKeptSignature && signature.message.size() <= largestKeptMessage;
}

}

bool isComparableKey( KeyKind kind, void *key )
{
    if( !key )
        return false;
    if( kind == KeyKind::Rsa )
    {
        const RSA    *rsa     = (const RSA *)key;
        const BIGNUM *modulus = RSA_get0_n( rsa ), *exponent = RSA_get0_e( rsa );
        return RSA_get_method( rsa ) == RSA_PKCS1_OpenSSL() && RSA_test_flags( rsa, RSA_FLAG_TYPE_MASK ) == RSA_FLAG_TYPE_RSA && modulus &&
            exponent && BN_num_bits( modulus ) <= (int)mostKeptKeyBits && BN_num_bits( exponent ) <= (int)mostKeptKeyBits;
    }
    const EC_KEY   *ec    = (const EC_KEY *)key;
    const EC_GROUP *group = EC_KEY_get0_group( ec );
    int             curve = group ? EC_GROUP_get_curve_name( group ) : NID_undef;
    return EC_KEY_get_method( ec ) == EC_KEY_OpenSSL() && curve != NID_undef && curve != NID_sm2 && EC_KEY_get0_public_key( ec );
}

bool isKeptMessage( Bytes message )
{
    static constexpr PB_BYTE version3[] = { tagVersion, 3, tagInteger, 1, 2 };

    if( message.size() > largestKeptMessage )
        return false;
    Bytes content = takeMinimal( message, tagSequence );
    return message.empty() && content.substr( 0, sizeof version3 ) == Bytes( version3, sizeof version3 );
}

bool isKnownSignature( const SignedBytes &signature )
{
    if( !isSmall( signature ) )
        return false;
    Record record( signature );
    return table.find( record.bytes(), [&]( KnownKey *known ) { return known->equals( signature.kind, signature.key ) ? known : nullptr; } );
}

void keepKnownSignature( const SignedBytes &signature )
{
    if( !isSmall( signature ) || !isKeptMessage( signature.message ) || !isComparableKey( signature.kind, signature.key ) )
        return;
    ErrorMark detour;
    Record    record( signature );
    table.keep( record.bytes(), [&] { return KnownKey::copyOf( signature.kind, signature.key ); } );
}

void forgetKnownSignatures() { table.clear(); }

size_t countKnownSignatures() { return table.count(); }

}
