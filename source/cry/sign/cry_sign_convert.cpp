#include <cry/cry_sign_convert.h>

#include "common/cry_ossl.hpp"

#include <openssl/ec.h>
#include <pb/ref.hpp>

// The number of bytes of r and of s; 0 for a curve that is not supported.
static PB_INT widthOf( PB_INT ecNamedCurve )
{
    switch( ecNamedCurve )
    {
    case CRY_PKEY_EC_NAMED_CURVE_PRIME256V1:
        return 32;
    case CRY_PKEY_EC_NAMED_CURVE_SECP384R1:
        return 48;
    case CRY_PKEY_EC_NAMED_CURVE_SECP521R1:
        return 66;
    default:
        return 0;
    }
}

PB_BUFFER *crySignConvertDerToRaw( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve )
{
    PB_CHECK( input );
    PB_INT width = widthOf( ecNamedCurve );
    if( !width )
        return nullptr;
    const unsigned char      *der = pbBufferBytes( input );
    cry::ossl::Ptr<ECDSA_SIG> signature( d2i_ECDSA_SIG( nullptr, &der, (int)pbBufferLength( input ) ) );
    if( !signature )
        return nullptr;
    PB_BYTE           *raw;
    pb::Ref<PB_BUFFER> result = pb::adopt( pb___BufferCreateLength( 2 * width, &raw ) );
    if( BN_bn2binpad( ECDSA_SIG_get0_r( signature.get() ), raw, (int)width ) != width ||
        BN_bn2binpad( ECDSA_SIG_get0_s( signature.get() ), raw + width, (int)width ) != width )
        return nullptr;
    return result.take();
}

PB_BUFFER *crySignConvertRawToDer( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve )
{
    PB_CHECK( input );
    PB_INT width = widthOf( ecNamedCurve );
    if( !width || pbBufferLength( input ) < 2 * width )
        return nullptr;
    const PB_BYTE            *raw = pbBufferBytes( input );
    cry::ossl::Ptr<BIGNUM>    r( BN_bin2bn( raw, (int)width, nullptr ) ), s( BN_bin2bn( raw + width, (int)width, nullptr ) );
    cry::ossl::Ptr<ECDSA_SIG> signature( ECDSA_SIG_new() );
    if( !r || !s || !signature || !ECDSA_SIG_set0( signature.get(), r.get(), s.get() ) )
        return nullptr;
    // The signature holds both numbers now.
    (void)r.release();
    (void)s.release();
    int length = i2d_ECDSA_SIG( signature.get(), nullptr );
    if( length <= 0 )
        return nullptr;
    PB_BYTE           *der;
    pb::Ref<PB_BUFFER> result = pb::adopt( pb___BufferCreateLength( length, &der ) );
    return i2d_ECDSA_SIG( signature.get(), &der ) == length ? result.take() : nullptr;
}
