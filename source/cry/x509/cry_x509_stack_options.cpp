#include <cry/cry_x509_stack_options.h>

#include <pb/stored.hpp>

struct CRY_X509_STACK_OPTIONS : PB_OBJ
{
    PB_BOOL                identityModeDefault;
    PB_INT                 identityMode;
    CRY_X509_IDENTITY     *identity;
    PB_IDENTIFIER         *identityVaultIdentifier;
    PB_BOOL                trustModeDefault;
    PB_INT                 trustMode;
    CRY_X509_CERTIFICATES *synchronizedTrustedCertificates;
    CRY_X509_CERTIFICATES *trustedCertificates;
    CRY_X509_SANS         *trustedSans;
    PB_BOOL                trustIdentityDefault;
    PB_BOOL                trustIdentity;
    PB_BOOL                policyFlagsDefault;
    CRY_X509_POLICY_FLAGS  policyFlags;
};

using Options = CRY_X509_STACK_OPTIONS;

static constexpr auto optionsFields =
    pb::fields<&Options::identityModeDefault, &Options::identityMode, &Options::identity, &Options::identityVaultIdentifier,
        &Options::trustModeDefault, &Options::trustMode, &Options::synchronizedTrustedCertificates, &Options::trustedCertificates,
        &Options::trustedSans, &Options::trustIdentityDefault, &Options::trustIdentity, &Options::policyFlagsDefault, &Options::policyFlags>;

PB_SORT_OF_FIELDS( cry, X509StackOptions, CRY_X509_STACK_OPTIONS, opt, optionsFields, optionsFields )

static Options *writable( Options **opt ) { return pb::makeWritable( opt, cryX509StackOptionsCreateFrom ); }

// Sets a value together with the mark that says if it is the default.
template<auto Value, auto Default, class T>
static void set( Options **opt, T value, PB_BOOL isDefault )
{
    Options *target  = writable( opt );
    target->*Value   = value;
    target->*Default = isDefault;
}

CRY_X509_STACK_OPTIONS *cryX509StackOptionsCreate()
{
    CRY_X509_STACK_OPTIONS *opt          = pb::create<CRY_X509_STACK_OPTIONS>();
    opt->synchronizedTrustedCertificates = cryX509CertificatesCreate();
    opt->trustedCertificates             = cryX509CertificatesCreate();
    opt->trustedSans                     = cryX509SansCreate();
    cryX509StackOptionsSetIdentityModeDefault( &opt );
    cryX509StackOptionsSetTrustModeDefault( &opt );
    cryX509StackOptionsSetTrustIdentityDefault( &opt );
    cryX509StackOptionsSetPolicyFlagsDefault( &opt );
    return opt;
}

CRY_X509_STACK_OPTIONS *cryX509StackOptionsCreateFrom( CRY_X509_STACK_OPTIONS *source )
{
    return PB_CHECK( source ), pb::copyOf( optionsFields, source );
}

CRY_X509_STACK_IDENTITY_MODE cryX509StackOptionsIdentityMode( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->identityMode; }
PB_BOOL cryX509StackOptionsIdentityModeDefault( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->identityModeDefault; }

void cryX509StackOptionsSetIdentityMode( CRY_X509_STACK_OPTIONS **opt, CRY_X509_STACK_IDENTITY_MODE identityMode )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( CRY_X509_STACK_IDENTITY_MODE_OK( identityMode ) );
    set<&Options::identityMode, &Options::identityModeDefault>( opt, identityMode, PB_FALSE );
}

void cryX509StackOptionsSetIdentityModeDefault( CRY_X509_STACK_OPTIONS **opt )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::identityMode, &Options::identityModeDefault>( opt, CRY_X509_STACK_IDENTITY_MODE_FIXED, PB_TRUE );
}

CRY_X509_IDENTITY *cryX509StackOptionsIdentity( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), pb::shareOrNull( opt->identity ); }
PB_BOOL            cryX509StackOptionsHasIdentity( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->identity != nullptr; }

void cryX509StackOptionsSetIdentity( CRY_X509_STACK_OPTIONS **opt, CRY_X509_IDENTITY *ident )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( ident ), pb::assign( writable( opt )->identity, ident );
}

void cryX509StackOptionsDelIdentity( CRY_X509_STACK_OPTIONS **opt ) { PB_CHECK_HANDLE( opt ), pb::clear( writable( opt )->identity ); }

PB_IDENTIFIER *cryX509StackOptionsIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS *opt )
{
    return PB_CHECK( opt ), pb::shareOrNull( opt->identityVaultIdentifier );
}
PB_BOOL cryX509StackOptionsHasIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS *opt )
{
    return PB_CHECK( opt ), opt->identityVaultIdentifier != nullptr;
}

void cryX509StackOptionsSetIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS **opt, PB_IDENTIFIER *id )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( id ), pb::assign( writable( opt )->identityVaultIdentifier, id );
}

void cryX509StackOptionsDelIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS **opt )
{
    PB_CHECK_HANDLE( opt ), pb::clear( writable( opt )->identityVaultIdentifier );
}

CRY_X509_STACK_TRUST_MODE cryX509StackOptionsTrustMode( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->trustMode; }
PB_BOOL                   cryX509StackOptionsTrustModeDefault( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->trustModeDefault; }

void cryX509StackOptionsSetTrustMode( CRY_X509_STACK_OPTIONS **opt, CRY_X509_STACK_TRUST_MODE trustMode )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( CRY_X509_STACK_TRUST_MODE_OK( trustMode ) );
    set<&Options::trustMode, &Options::trustModeDefault>( opt, trustMode, PB_FALSE );
}

void cryX509StackOptionsSetTrustModeDefault( CRY_X509_STACK_OPTIONS **opt )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::trustMode, &Options::trustModeDefault>( opt, CRY_X509_STACK_TRUST_MODE_FIXED, PB_TRUE );
}

CRY_X509_CERTIFICATES *cryX509StackOptionsSynchronizedTrustedCertificates( CRY_X509_STACK_OPTIONS *opt )
{
    return PB_CHECK( opt ), pb::shareOrNull( opt->synchronizedTrustedCertificates );
}

void cryX509StackOptionsSetSynchronizedTrustedCertificates( CRY_X509_STACK_OPTIONS **opt, CRY_X509_CERTIFICATES *synchronizedTrustedCertificates )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( synchronizedTrustedCertificates );
    pb::assign( writable( opt )->synchronizedTrustedCertificates, synchronizedTrustedCertificates );
}

CRY_X509_CERTIFICATES *cryX509StackOptionsTrustedCertificates( CRY_X509_STACK_OPTIONS *opt )
{
    return PB_CHECK( opt ), pb::shareOrNull( opt->trustedCertificates );
}

void cryX509StackOptionsSetTrustedCertificates( CRY_X509_STACK_OPTIONS **opt, CRY_X509_CERTIFICATES *trustedCertificates )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( trustedCertificates ), pb::assign( writable( opt )->trustedCertificates, trustedCertificates );
}

CRY_X509_SANS *cryX509StackOptionsTrustedSans( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), pb::shareOrNull( opt->trustedSans ); }

void cryX509StackOptionsSetTrustedSans( CRY_X509_STACK_OPTIONS **opt, CRY_X509_SANS *trustedSans )
{
    PB_CHECK_HANDLE( opt ), PB_CHECK( trustedSans ), pb::assign( writable( opt )->trustedSans, trustedSans );
}

PB_BOOL cryX509StackOptionsTrustIdentity( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->trustIdentity; }
PB_BOOL cryX509StackOptionsTrustIdentityDefault( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->trustIdentityDefault; }

void cryX509StackOptionsSetTrustIdentity( CRY_X509_STACK_OPTIONS **opt, PB_BOOL trustIdentity )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::trustIdentity, &Options::trustIdentityDefault>( opt, PB_BOOL{ trustIdentity != PB_FALSE }, PB_FALSE );
}

void cryX509StackOptionsSetTrustIdentityDefault( CRY_X509_STACK_OPTIONS **opt )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::trustIdentity, &Options::trustIdentityDefault>( opt, PB_FALSE, PB_TRUE );
}

CRY_X509_POLICY_FLAGS cryX509StackOptionsPolicyFlags( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->policyFlags; }
PB_BOOL               cryX509StackOptionsPolicyFlagsDefault( CRY_X509_STACK_OPTIONS *opt ) { return PB_CHECK( opt ), opt->policyFlagsDefault; }

void cryX509StackOptionsSetPolicyFlags( CRY_X509_STACK_OPTIONS **opt, CRY_X509_POLICY_FLAGS flags )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::policyFlags, &Options::policyFlagsDefault>( opt, cryX509PolicyFlagsNormalize( flags ), PB_FALSE );
}

void cryX509StackOptionsSetPolicyFlagsDefault( CRY_X509_STACK_OPTIONS **opt )
{
    PB_CHECK_HANDLE( opt );
    set<&Options::policyFlags, &Options::policyFlagsDefault>( opt, CRY_X509_POLICY_FLAGS{ 0 }, PB_TRUE );
}

PB_STORE *cryX509StackOptionsStore( CRY_X509_STACK_OPTIONS *opt, PB_BOOL storeDefaults, PB_INT identityStoreFlags )
{
    PB_CHECK( opt );
    pb::StoreWriter writer;
    auto            nonEmpty  = []( CRY_X509_CERTIFICATES *certs ) { return cryX509CertificatesCertificatesLength( certs ) > 0 ? certs : nullptr; };
    auto            isWritten = [storeDefaults]( PB_BOOL isDefault ) { return storeDefaults || !isDefault; };
    if( isWritten( opt->identityModeDefault ) )
        writer.value( "identityMode", pb::adopt( cryX509StackIdentityModeToString( opt->identityMode ) ) );
    writer.sub( "identity", pb::adopt( opt->identity ? cryX509IdentityStore( opt->identity, identityStoreFlags != 0 ) : nullptr ) )
        .value( "identityVaultIdentifier", opt->identityVaultIdentifier, pbIdentifierToString );
    if( isWritten( opt->trustModeDefault ) )
        writer.value( "trustMode", pb::adopt( cryX509StackTrustModeToString( opt->trustMode ) ) );
    writer.sub( "synchronizedTrustedCertificates", nonEmpty( opt->synchronizedTrustedCertificates ), cryX509CertificatesStore )
        .sub( "trustedCertificates", nonEmpty( opt->trustedCertificates ), cryX509CertificatesStore )
        .sub( "trustedSans", cryX509SansLength( opt->trustedSans ) > 0 ? opt->trustedSans : nullptr, cryX509SansStore );
    if( isWritten( opt->trustIdentityDefault ) )
        writer.boolean( "trustIdentity", opt->trustIdentity );
    if( isWritten( opt->policyFlagsDefault ) )
        writer.value( "policyFlags", pb::adopt( cryX509PolicyFlagsToString( opt->policyFlags ) ) );
    return writer.take();
}

CRY_X509_STACK_OPTIONS *cryX509StackOptionsRestore( PB_STORE *store )
{
    PB_CHECK( store );
    CRY_X509_STACK_OPTIONS *opt          = cryX509StackOptionsCreate();
    PB_INT                  identityMode = -1, trustMode = -1, policyFlags = -1;
    PB_BOOL                 trustIdentity = -1;
    pb::StoreReader( store )
        .value( "identityMode", identityMode, cryX509StackIdentityModeFromString )
        .sub( "identity", opt->identity, cryX509IdentityRestore )
        .value( "identityVaultIdentifier", opt->identityVaultIdentifier, pbIdentifierTryCreateFromString )
        .value( "trustMode", trustMode, cryX509StackTrustModeFromString )
        .sub( "synchronizedTrustedCertificates", opt->synchronizedTrustedCertificates, cryX509CertificatesRestore )
        .sub( "trustedCertificates", opt->trustedCertificates, cryX509CertificatesRestore )
        .sub( "trustedSans", opt->trustedSans, cryX509SansRestore )
        .boolean( "trustIdentity", trustIdentity )
        .value( "policyFlags", policyFlags, cryX509PolicyFlagsFromString );
    if( CRY_X509_STACK_IDENTITY_MODE_OK( identityMode ) )
        cryX509StackOptionsSetIdentityMode( &opt, identityMode );
    if( CRY_X509_STACK_TRUST_MODE_OK( trustMode ) )
        cryX509StackOptionsSetTrustMode( &opt, trustMode );
    if( trustIdentity != -1 )
        cryX509StackOptionsSetTrustIdentity( &opt, trustIdentity );
    if( policyFlags != -1 )
        cryX509StackOptionsSetPolicyFlags( &opt, policyFlags );
    return opt;
}
