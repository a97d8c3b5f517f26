#include <cry/cry_x509_policy.h>
#include <pb/stored.hpp>

struct CRY_X509_POLICY : PB_OBJ
{
    CRY_X509_POLICY_FLAGS flags;
    PB_TIME              *time;
    CRY_X509_SANS        *acceptableSans;
    IN_ADDRESS           *lenientSubjectChecksIpAddress;
};

static constexpr auto policyFields =
    pb::fields<&CRY_X509_POLICY::flags, &CRY_X509_POLICY::time, &CRY_X509_POLICY::acceptableSans, &CRY_X509_POLICY::lenientSubjectChecksIpAddress>;

PB_SORT_DEFINE( cry, X509Policy, CRY_X509_POLICY, PB_FREE_FIELDS( CRY_X509_POLICY, pol, policyFields ) )

static CRY_X509_POLICY *writable( CRY_X509_POLICY **pol ) { return pb::makeWritable( pol, cryX509PolicyCreateFrom ); }

CRY_X509_POLICY *cryX509PolicyCreate() { return pb::create<CRY_X509_POLICY>(); }

CRY_X509_POLICY *cryX509PolicyCreateFrom( CRY_X509_POLICY *source ) { return PB_CHECK( source ), pb::copyOf( policyFields, source ); }

CRY_X509_POLICY_FLAGS cryX509PolicyFlags( CRY_X509_POLICY *pol ) { return PB_CHECK( pol ), pol->flags; }

void cryX509PolicySetFlags( CRY_X509_POLICY **pol, CRY_X509_POLICY_FLAGS flags )
{
    PB_CHECK_HANDLE( pol );
    writable( pol )->flags = cryX509PolicyFlagsNormalize( flags );
}

PB_TIME *cryX509PolicyTime( CRY_X509_POLICY *pol ) { return PB_CHECK( pol ), pb::shareOrNull( pol->time ); }
PB_BOOL  cryX509PolicyHasTime( CRY_X509_POLICY *pol ) { return PB_CHECK( pol ), pol->time != nullptr; }

void cryX509PolicySetTime( CRY_X509_POLICY **pol, PB_TIME *time )
{
    PB_CHECK_HANDLE( pol ), PB_CHECK( time ), pb::assign( writable( pol )->time, time );
}

void cryX509PolicyDelTime( CRY_X509_POLICY **pol ) { PB_CHECK_HANDLE( pol ), pb::clear( writable( pol )->time ); }

CRY_X509_SANS *cryX509PolicyAcceptableSans( CRY_X509_POLICY *pol ) { return PB_CHECK( pol ), pb::shareOrNull( pol->acceptableSans ); }
PB_BOOL        cryX509PolicyHasAcceptableSans( CRY_X509_POLICY *pol ) { return PB_CHECK( pol ), pol->acceptableSans != nullptr; }

void cryX509PolicySetAcceptableSans( CRY_X509_POLICY **pol, CRY_X509_SANS *acceptableSans )
{
    PB_CHECK_HANDLE( pol ), PB_CHECK( acceptableSans ), pb::assign( writable( pol )->acceptableSans, acceptableSans );
}

void cryX509PolicyDelAcceptableSans( CRY_X509_POLICY **pol ) { PB_CHECK_HANDLE( pol ), pb::clear( writable( pol )->acceptableSans ); }

IN_ADDRESS *cryX509PolicyLenientSubjectChecksIpAddress( CRY_X509_POLICY *pol )
{
    return PB_CHECK( pol ), pb::shareOrNull( pol->lenientSubjectChecksIpAddress );
}
PB_BOOL cryX509PolicyHasLenientSubjectChecksIpAddress( CRY_X509_POLICY *pol )
{
    return PB_CHECK( pol ), pol->lenientSubjectChecksIpAddress != nullptr;
}

void cryX509PolicySetLenientSubjectChecksIpAddress( CRY_X509_POLICY **pol, IN_ADDRESS *lenientSubjectChecksIpAddress )
{
    PB_CHECK_HANDLE( pol ), PB_CHECK( lenientSubjectChecksIpAddress );
    pb::assign( writable( pol )->lenientSubjectChecksIpAddress, lenientSubjectChecksIpAddress );
}

void cryX509PolicyDelLenientSubjectChecksIpAddress( CRY_X509_POLICY **pol )
{
    PB_CHECK_HANDLE( pol ), pb::clear( writable( pol )->lenientSubjectChecksIpAddress );
}

PB_STORE *cryX509PolicyStore( CRY_X509_POLICY *pol )
{
    PB_CHECK( pol );
    return pb::StoreWriter()
        .value( "flags", pb::adopt( pol->flags ? cryX509PolicyFlagsToString( pol->flags ) : nullptr ) )
        .value( "time", pol->time, pbTimeToString )
        .sub( "acceptableSans", pol->acceptableSans, cryX509SansStore )
        .value( "lenientSubjectChecksIpAddress", pol->lenientSubjectChecksIpAddress, inAddressToString )
        .take();
}

CRY_X509_POLICY *cryX509PolicyRestore( PB_STORE *store )
{
    PB_CHECK( store );
    CRY_X509_POLICY *pol = cryX509PolicyCreate();
    pb::StoreReader( store )
        .value( "flags", pol->flags, cryX509PolicyFlagsFromString )
        .value( "time", pol->time, pbTimeTryCreateFromString )
        .sub( "acceptableSans", pol->acceptableSans, cryX509SansRestore )
        .value( "lenientSubjectChecksIpAddress", pol->lenientSubjectChecksIpAddress, inAddressTryCreateFromString );
    return pol;
}
