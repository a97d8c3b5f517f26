#include <cry/cry_x509_crl_distribution.h>
#include <pb/sort.hpp>

struct CRY_X509_CRL_DISTRIBUTION : PB_OBJ
{
    PB_VECTOR *uris;
    PB_VECTOR *issuers;
};

static constexpr auto distributionFields = pb::fields<&CRY_X509_CRL_DISTRIBUTION::uris, &CRY_X509_CRL_DISTRIBUTION::issuers>;

PB_SORT_DEFINE( cry, X509CrlDistribution, CRY_X509_CRL_DISTRIBUTION, PB_FREE_FIELDS( CRY_X509_CRL_DISTRIBUTION, dist, distributionFields ) )

CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionCreate( PB_VECTOR *uris, PB_VECTOR *issuers )
{
    PB_CHECK( uris );
    CRY_X509_CRL_DISTRIBUTION *dist = pb::create<CRY_X509_CRL_DISTRIBUTION>();
    dist->uris                      = pb::shareOrNull( uris );
    dist->issuers                   = pb::shareOrNull( issuers );
    return dist;
}

CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionCreateFrom( CRY_X509_CRL_DISTRIBUTION *source )
{
    return PB_CHECK( source ), pb::copyOf( distributionFields, source );
}

PB_VECTOR *cryX509CrlDistributionUris( CRY_X509_CRL_DISTRIBUTION *dist ) { return PB_CHECK( dist ), pb::shareOrNull( dist->uris ); }

PB_VECTOR *cryX509CrlDistributionIssuers( CRY_X509_CRL_DISTRIBUTION *dist ) { return PB_CHECK( dist ), pb::shareOrNull( dist->issuers ); }

PB_BOOL cryX509CrlDistributionHasIssuers( CRY_X509_CRL_DISTRIBUTION *dist ) { return PB_CHECK( dist ), dist->issuers != nullptr; }

// It is intended that a distribution point is not stored: the store is empty, and none restores.
PB_STORE *cryX509CrlDistributionStore( CRY_X509_CRL_DISTRIBUTION *dist ) { return PB_CHECK( dist ), pbStoreCreate(); }

CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionTryRestore( PB_STORE *store ) { return PB_CHECK( store ), nullptr; }
