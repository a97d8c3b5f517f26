#include <bn/internal/bn_int.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_crl.h>
#include <cry/internal/cry_x509_decode.h>
#include <pb/containers.hpp>
#include <pb/published.hpp>

#include "common/cry_ossl_pem_object.hpp"

#include <algorithm>
#include <compare>
#include <openssl/pem.h>
#include <openssl_module/internal/openssl_errors.hpp>

namespace
{

// Serial: a number in the form in which OpenSSL keeps it, big-endian bytes and a sign. The bytes
// are lent.
class Serial
{
public:
    Serial( const unsigned char *from, int count, bool isNegative ) : bytes( from )
    {
        for( ; count > 0 && *bytes == 0; bytes++ )
            count--;
        lengthAndSign                 = (uint32_t)count * 2 + ( isNegative && count > 0 );
        unsigned char head[headBytes] = {};
        std::copy_n( bytes, std::min( count, headBytes ), head );
        high   = bigEndian<uint64_t>( head );
        middle = bigEndian<uint64_t>( head + 8 );
        low    = bigEndian<uint32_t>( head + 16 );
    }

    // A total order, which is that of the values for numbers that are not negative.
    std::strong_ordering operator<=>( const Serial &other ) const
    {
        if( auto order = lengthAndSign <=> other.lengthAndSign; order != 0 )
            return order;
        if( auto order = high <=> other.high; order != 0 )
            return order;
        if( auto order = middle <=> other.middle; order != 0 )
            return order;
        if( auto order = low <=> other.low; order != 0 || length() <= headBytes )
            return order;
        return std::memcmp( bytes + headBytes, other.bytes + headBytes, (size_t)( length() - headBytes ) ) <=> 0;
    }
    bool operator==( const Serial &other ) const { return *this <=> other == 0; }

    // Null if the number is too long for OpenSSL's numbers.
    BIGNUM *tryBignum() const
    {
        BIGNUM *bignum = BN_bin2bn( bytes, length(), nullptr );
        if( bignum )
            BN_set_negative( bignum, lengthAndSign % 2 );
        return bignum;
    }

private:
    // The first bytes are also here, so that a search does not read from all over the memory.
    // RFC 5280, clause 4.1.2.2, allows no longer serial numbers.
    static constexpr int headBytes = 20;

    int length() const { return (int)( lengthAndSign / 2 ); }

    template<class Number>
    static Number bigEndian( const unsigned char *from )
    {
        Number number = 0;
        for( size_t index = 0; index < sizeof( Number ); index++ )
            number = number << 8 | from[index];
        return number;
    }

    uint64_t             high, middle;
    uint32_t             low, lengthAndSign;
    const unsigned char *bytes;
};

// The serial numbers of a CRL, sorted, each once. Their bytes belong to the OpenSSL CRL. A
// dictionary of the same numbers needs five times the memory, and each search in it is slower.
using Serials = pb::StdVector<Serial>;

}

template<>
struct pb::Field<Serials *>
{
    static void release( Serials *&field ) { pb::destroy( field ); }
};

struct CRY_X509_CRL : PB_OBJ
{
    CRY_PEM                 *pem;
    X509_CRL                *x509Crl;
    pb::Published<Serials *> serials;
    pb::Published<PB_DICT *> revoked; // the same numbers, for callers who ask for the dictionary
};

static constexpr auto crlFields = pb::fields<&CRY_X509_CRL::pem, &CRY_X509_CRL::x509Crl, &CRY_X509_CRL::serials, &CRY_X509_CRL::revoked>;
static constexpr auto crlOrder  = pb::someFields<&CRY_X509_CRL::pem>;

PB_SORT_OF_FIELDS( cry, X509Crl, CRY_X509_CRL, crl, crlFields, crlOrder )

namespace
{

struct CrlTraits
{
    using Object                 = CRY_X509_CRL;
    using Handle                 = X509_CRL;
    static constexpr auto handle = &Object::x509Crl;

    // A CRL can be large, so no text is made in order to read it, and the canonical PEM is made
    // once.
    static cry::ossl::Reading<X509_CRL> tryRead( CRY_PEM *pem )
    {
        PB_BUFFER *data    = cry::pem::data( pem );
        X509_CRL  *x509Crl = nullptr;
        if( cry::pem::hasLabel( pem, PEM_STRING_X509_CRL ) )
        {
            openssl::ErrorMark   detour;
            const unsigned char *at = pbBufferBytes( data );
            x509Crl                 = d2i_X509_CRL( nullptr, &at, (long)pbBufferLength( data ) );
        }
        // For all other data OpenSSL decides and leaves its reasons in the error queue.
        if( !x509Crl )
            x509Crl = cry::ossl::readThroughText( pem, PEM_read_bio_X509_CRL );
        pb::Ref<CRY_PEM> canonical = x509Crl ? tryWrite( x509Crl ) : pb::Ref<CRY_PEM>();
        if( !canonical )
        {
            X509_CRL_free( x509Crl );
            return { nullptr, {} };
        }
        if( cryPemEquals( canonical.get(), pem ) && !pbBufferSensitive( data ) )
            canonical = pb::share( pem );
        return { x509Crl, std::move( canonical ) };
    }
    static pb::Ref<CRY_PEM> tryWrite( X509_CRL *x509Crl ) { return cry::ossl::encodeUnderLabel( i2d_X509_CRL, x509Crl, PEM_STRING_X509_CRL ); }

    static X509_CRL *dup( X509_CRL *x509Crl )
    {
        // OpenSSL also leaves errors if it accepts a CRL with an extension that does not decode.
        openssl::ErrorMark decoding;
        X509_CRL          *copy = X509_CRL_dup( x509Crl );
        if( !copy )
            decoding.keep();
        return copy;
    }
};

using Crl = cry::ossl::PemObject<CrlTraits>;

// The entries are read in the order of the list, and OpenSSL sorts nothing for that.
Serials *createSerials( X509_CRL *x509Crl )
{
    STACK_OF( X509_REVOKED ) *entries = X509_CRL_get_REVOKED( x509Crl );
    int      length                   = sk_X509_REVOKED_num( entries );
    Serials *serials                  = pb::make<Serials>();
    serials->reserve( (size_t)std::max( length, 0 ) );
    for( int index = 0; index < length; index++ )
    {
        const ASN1_INTEGER *number = X509_REVOKED_get0_serialNumber( sk_X509_REVOKED_value( entries, index ) );
        int                 type   = number ? ASN1_STRING_type( number ) : V_ASN1_NULL;
        if( type == V_ASN1_INTEGER || type == V_ASN1_NEG_INTEGER )
            serials->emplace_back( ASN1_STRING_get0_data( number ), ASN1_STRING_length( number ), type == V_ASN1_NEG_INTEGER );
    }
    std::sort( serials->begin(), serials->end() );
    serials->erase( std::unique( serials->begin(), serials->end() ), serials->end() );
    return serials;
}

const Serials &serialsOf( CRY_X509_CRL *crl )
{
    return *crl->serials.getOrMake( [crl] { return createSerials( crl->x509Crl ); } );
}

PB_DICT *createDict( const Serials &serials )
{
    openssl::ErrorMark detour;
    pb::Ref<PB_DICT>   dict = pb::adopt( pbDictCreate() );
    for( const Serial &each : serials )
    {
        BIGNUM *bignum = each.tryBignum();
        if( !bignum )
            continue;
        pb::Ref<BN_INT> number = pb::adopt( bn___IntCreateFromBignumUse( bignum ) );
        pbDictSetObjKey( dict.handle(), number.obj(), number.obj() );
    }
    return dict.take();
}

bool contains( const Serials &serials, BN_INT *number )
{
    const BIGNUM                *bignum = bn___IntPeekBignum( number );
    pb::StdVector<unsigned char> bytes( (size_t)BN_num_bytes( bignum ) );
    int                          length = BN_bn2bin( bignum, bytes.data() );
    return std::binary_search( serials.begin(), serials.end(), Serial( bytes.data(), length, BN_is_negative( bignum ) ) );
}

PB_TIME *timeOrNull( const ASN1_TIME *time ) { return time ? cry___X509TryDecodeAsn1Time( time ) : nullptr; }

}

CRY_X509_CRL *cryX509CrlTryCreateFromPem( CRY_PEM *pem ) { return PB_CHECK( pem ), Crl::tryCreateFromPem( pem ); }

CRY_X509_CRL *cryX509CrlTryRestore( PB_STORE *store ) { return PB_CHECK( store ), Crl::tryRestore( store ); }

CRY_X509_CRL *cry___X509CrlTryCreateFromOpensslX509CrlUse( X509_CRL *x509Crl ) { return PB_CHECK( x509Crl ), Crl::tryCreateUse( x509Crl ); }

CRY_X509_CRL *cry___X509CrlTryCreateFromOpensslX509CrlCopy( X509_CRL *x509Crl ) { return PB_CHECK( x509Crl ), Crl::tryCreateCopy( x509Crl ); }

X509_CRL *cry___X509CrlPeekOpensslX509Crl( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), crl->x509Crl; }

CRY_PEM *cryX509CrlPem( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), pb::shareOrNull( crl->pem ); }

PB_STORE *cryX509CrlStore( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), cryPemStore( crl->pem ); }

PB_STRING *cryX509CrlIssuer( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), cry___X509TryDecodeX509Name( X509_CRL_get_issuer( crl->x509Crl ) ); }

PB_TIME *cryX509CrlLastUpdate( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), timeOrNull( X509_CRL_get0_lastUpdate( crl->x509Crl ) ); }

PB_TIME *cryX509CrlNextUpdate( CRY_X509_CRL *crl ) { return PB_CHECK( crl ), timeOrNull( X509_CRL_get0_nextUpdate( crl->x509Crl ) ); }

PB_DICT *cryX509CrlRevokedSerials( CRY_X509_CRL *crl )
{
    PB_CHECK( crl );
    return pb::shareOrNull( crl->revoked.getOrMake( [crl] { return createDict( serialsOf( crl ) ); } ) );
}

PB_BOOL cryX509CrlRevokedBySerial( CRY_X509_CRL *crl, BN_INT *serial )
{
    PB_CHECK( crl );
    PB_CHECK( serial );
    return contains( serialsOf( crl ), serial );
}

PB_BOOL cryX509CrlRevokedByCertificate( CRY_X509_CRL *crl, CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( crl );
    PB_CHECK( cert );
    // It is intended that this function does not make the set: it sees the set that another
    // function made.
    const Serials      *serials = crl->serials.get();
    const ASN1_INTEGER *number  = X509_get0_serialNumber( cry___X509CertificatePeekOpensslX509( cert ) );
    if( !serials || !number )
        return PB_FALSE;
    pb::Ref<BN_INT> serial = pb::adopt( cry___X509TryDecodeAsn1Integer( number ) );
    return serial && contains( *serials, serial.get() );
}
