// The two forms of ECDSA signatures: what converts to raw converts back to DER that gives the same
// raw bytes, on every curve, and any raw bytes come back from their DER.
#include "start.hpp"

#include <string>

using namespace fuzz;

namespace
{

struct Curve
{
    PB_INT value;
    size_t width;
};

// From the narrowest to the widest.
constexpr Curve curves[] = { { CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, 32 }, { CRY_PKEY_EC_NAMED_CURVE_SECP384R1, 48 },
    { CRY_PKEY_EC_NAMED_CURVE_SECP521R1, 66 } };

pb::Ref<PB_BUFFER> toRaw( std::string_view der, PB_INT curve ) { return pb::adopt( crySignConvertDerToRaw( buffer( der ).get(), curve ) ); }
pb::Ref<PB_BUFFER> toDer( std::string_view raw, PB_INT curve ) { return pb::adopt( crySignConvertRawToDer( buffer( raw ).get(), curve ) ); }

// The same two numbers, each filled up to another width.
std::string widened( std::string_view raw, size_t width )
{
    size_t      own = raw.size() / 2;
    std::string zeros( width - own, 0 );
    return zeros + std::string( raw.substr( 0, own ) ) + zeros + std::string( raw.substr( own ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view input( (const char *)bytes, size );

    // As DER.
    pb::Ref<PB_BUFFER> narrower;
    for( const Curve &curve : curves )
    {
        pb::Ref<PB_BUFFER> raw = toRaw( input, curve.value );
        FUZZ_CHECK( raw || !narrower );
        if( !raw )
            continue;
        FUZZ_CHECK( view( raw ).size() == 2 * curve.width );
        FUZZ_CHECK( !narrower || widened( view( narrower ), curve.width ) == view( raw ) );
        pb::Ref<PB_BUFFER> der = toDer( view( raw ), curve.value );
        FUZZ_CHECK( der && view( der ).size() <= size );
        FUZZ_CHECK( pbBufferEquals( toRaw( view( der ), curve.value ).get(), raw.get() ) );
        narrower = raw;
    }

    // As raw bytes.
    for( const Curve &curve : curves )
    {
        pb::Ref<PB_BUFFER> der = toDer( input, curve.value );
        FUZZ_CHECK( (bool)der == ( size >= 2 * curve.width ) );
        if( !der )
            continue;
        FUZZ_CHECK( view( toRaw( view( der ), curve.value ) ) == input.substr( 0, 2 * curve.width ) );
        FUZZ_CHECK( view( toRaw( std::string( view( der ) ) + "behind", curve.value ) ) == input.substr( 0, 2 * curve.width ) );
    }
    FUZZ_CHECK( !toRaw( input, CRY_PKEY_EC_NAMED_CURVE_SECP256K1 ) && !toDer( input, CRY_PKEY_EC_NAMED_CURVE_SECP256K1 ) );
    return 0;
}
