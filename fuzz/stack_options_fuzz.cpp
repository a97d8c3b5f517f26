// Stack options: every store gives some, what they store gives the same ones back, and without the
// flag for it no private key is stored.
#include "openssl.hpp"

#include <cry/cry_x509_stack_options.h>

using namespace fuzz;

namespace
{

using Options = pb::Ref<CRY_X509_STACK_OPTIONS>;

Options restored( const pb::Ref<PB_STORE> &store ) { return pb::adopt( cryX509StackOptionsRestore( store.get() ) ); }

pb::Ref<PB_STORE> storeOf( const Options &opt, PB_BOOL storeDefaults, PB_INT identityStoreFlags )
{
    return pb::adopt( cryX509StackOptionsStore( opt.get(), storeDefaults, identityStoreFlags ) );
}

bool areWhole( const Options &opt )
{
    return pb::adopt( cryX509StackOptionsTrustedCertificates( opt.get() ) ) &&
        pb::adopt( cryX509StackOptionsSynchronizedTrustedCertificates( opt.get() ) ) && pb::adopt( cryX509StackOptionsTrustedSans( opt.get() ) ) &&
        CRY_X509_STACK_IDENTITY_MODE_OK( cryX509StackOptionsIdentityMode( opt.get() ) ) &&
        CRY_X509_STACK_TRUST_MODE_OK( cryX509StackOptionsTrustMode( opt.get() ) ) &&
        cryX509PolicyFlagsNormalize( cryX509StackOptionsPolicyFlags( opt.get() ) ) == cryX509StackOptionsPolicyFlags( opt.get() );
}

bool holdsKey( const pb::Ref<PB_STORE> &store )
{
    pb::Ref<PB_STORE> identity = pb::adopt( pbStoreStoreCstr( store.get(), "identity", -1 ) );
    return identity && pb::adopt( pbStoreStoreCstr( identity.get(), "privateKey", -1 ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors       clean;
    pb::Ref<PB_STORE> input = pb::adopt( pbStoreTryDecode( buffer( { (const char *)bytes, size } ).get(), nullptr ) );
    if( !input )
        return 0;
    Options opt = restored( input );
    FUZZ_CHECK( opt && areWhole( opt ) );

    pb::Ref<PB_STORE> store = storeOf( opt, PB_FALSE, 1 );
    Options           back  = restored( store );
    FUZZ_CHECK( cryX509StackOptionsEquals( back.get(), opt.get() ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( back, PB_FALSE, 1 ).get(), store.get() ) );
    FUZZ_CHECK( !holdsKey( storeOf( opt, PB_FALSE, 0 ) ) );

    // Stored with defaults, everything is explicit, and otherwise the same.
    Options explicitly = restored( storeOf( opt, PB_TRUE, 1 ) );
    FUZZ_CHECK( !cryX509StackOptionsIdentityModeDefault( explicitly.get() ) && !cryX509StackOptionsTrustModeDefault( explicitly.get() ) &&
        !cryX509StackOptionsTrustIdentityDefault( explicitly.get() ) && !cryX509StackOptionsPolicyFlagsDefault( explicitly.get() ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( explicitly, PB_FALSE, 1 ).get(), storeOf( opt, PB_TRUE, 1 ).get() ) );
    return 0;
}
