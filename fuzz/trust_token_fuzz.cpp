// The stores of trust tokens: every store gives a token, the token comes back from its own store,
// what is signed does not depend on where the token came from, and nothing verifies.
#include "openssl.hpp"

using namespace fuzz;

namespace
{

pb::Ref<PB_STORE> storeOf( const pb::Ref<CRY_TRUST_TOKEN> &tok ) { return pb::adopt( cryTrustTokenStore( tok.get() ) ); }

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors       clean;
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreTryDecode( buffer( { (const char *)bytes, size } ).get(), nullptr ) );
    if( !store )
        return 0;
    pb::Ref<CRY_TRUST_TOKEN> tok     = pb::adopt( cryTrustTokenRestore( store.get() ) );
    pb::Ref<PB_STORE>        written = storeOf( tok );
    pb::Ref<CRY_TRUST_TOKEN> back    = pb::adopt( cryTrustTokenRestore( written.get() ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( back ).get(), written.get() ) );
    FUZZ_CHECK( pbBufferEquals( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( storeOf( back ).get() ) ).get(),
        pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( written.get() ) ).get() ) );

    // What the store does not have is a default.
    FUZZ_CHECK( CRY_HASH_ALGORITHM_OK( cryTrustTokenHashAlgorithm( tok.get() ) ) );
    pb::Ref<PB_STORE> metaData = pb::adopt( pbStoreStoreCstr( store.get(), "metaData", -1 ) );
    FUZZ_CHECK(
        pbStoreEquals( pb::adopt( cryTrustTokenMetaData( tok.get() ) ).get(), metaData ? metaData.get() : pb::adopt( pbStoreCreate() ).get() ) );
    struct
    {
        const char *key;
        PB_BOOL ( *has )( CRY_TRUST_TOKEN * );
    } values[] = { { "certificate", cryTrustTokenHasCertificate }, { "extraCertificates", cryTrustTokenHasExtraCertificates },
        { "signature", cryTrustTokenHasSignature } };
    for( const auto &[key, has] : values )
    {
        bool given = (bool)pb::adopt( pbStoreStoreCstr( store.get(), key, -1 ) );
        FUZZ_CHECK( given || !has( tok.get() ) );
        FUZZ_CHECK( has( tok.get() ) == ( pbStoreIndexCstr( written.get(), key, -1 ) >= 0 ) );
    }

    // No input is signed under the root.
    FUZZ_CHECK( !cryTrustTokenTryVerifyWithBuffer( tok.get(), buffer( "data" ).get() ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( tok ).get(), written.get() ) );
    return 0;
}
