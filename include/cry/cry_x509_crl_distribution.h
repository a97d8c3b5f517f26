/* Distribution points of CRLs (RFC 5280, clause 4.2.1.13): places where the CRL for a certificate
   can be fetched. The libraries do not fetch CRLs. */
#ifndef CRY_CRY_X509_CRL_DISTRIBUTION_H
#define CRY_CRY_X509_CRL_DISTRIBUTION_H

#include <pb/pb_obj.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/pb_vector.h>

/* CRY_X509_CRL_DISTRIBUTION: the URIs of one distribution point, and the issuers of its CRL. A
   CRY_X509_CRL_DISTRIBUTION never changes; many threads may read it. */
PB_OBJECT_TYPE( CRY_X509_CRL_DISTRIBUTION );

PB_BEGIN_DECLS

/* The functions abort on a null distribution point ("dist"). */

/* cryX509CrlDistributionCreate: a distribution point of a vector of URIs and a vector of issuers,
   both vectors of strings. `issuers` may be null; null `uris` abort ("uris"). */
PB_EXPORT CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionCreate( PB_VECTOR *uris, PB_VECTOR *issuers );
/* cryX509CrlDistributionCreateFrom: a copy that shares the vectors; null aborts ("source"). */
PB_EXPORT CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionCreateFrom( CRY_X509_CRL_DISTRIBUTION *source );
/* cryX509CrlDistributionUris: the URIs, a new reference to a vector of strings, never null. */
PB_EXPORT PB_VECTOR *cryX509CrlDistributionUris( CRY_X509_CRL_DISTRIBUTION *dist );
/* cryX509CrlDistributionIssuers: the names of the CRL's issuers, a new reference to a vector of
   strings, or null if the point names none. Names from a certificate have OpenSSL's one-line form,
   for example "/C=DE/CN=Issuer". */
PB_EXPORT PB_VECTOR *cryX509CrlDistributionIssuers( CRY_X509_CRL_DISTRIBUTION *dist );
/* cryX509CrlDistributionHasIssuers: whether there is a vector of issuers. */
PB_EXPORT PB_BOOL cryX509CrlDistributionHasIssuers( CRY_X509_CRL_DISTRIBUTION *dist );

/* cryX509CrlDistributionStore: a new store, always empty: distribution points are not stored. */
PB_EXPORT PB_STORE *cryX509CrlDistributionStore( CRY_X509_CRL_DISTRIBUTION *dist );
/* cryX509CrlDistributionTryRestore: always null. A null store aborts ("store"). */
PB_EXPORT CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionTryRestore( PB_STORE *store );

/* cryX509CrlDistributionSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare orders by address. */
PB_EXPORT const PB_SORT             *cryX509CrlDistributionSort( void );
PB_EXPORT PB_OBJ                    *cryX509CrlDistributionObj( CRY_X509_CRL_DISTRIBUTION *obj );
PB_EXPORT CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_CRL_DISTRIBUTION *cryX509CrlDistributionRetain( CRY_X509_CRL_DISTRIBUTION *obj );
PB_EXPORT void                       cryX509CrlDistributionRelease( CRY_X509_CRL_DISTRIBUTION *obj );
PB_EXPORT PB_INT                     cryX509CrlDistributionCompare( CRY_X509_CRL_DISTRIBUTION *objA, CRY_X509_CRL_DISTRIBUTION *objB );
PB_EXPORT PB_BOOL                    cryX509CrlDistributionEquals( CRY_X509_CRL_DISTRIBUTION *objA, CRY_X509_CRL_DISTRIBUTION *objB );
PB_EXPORT PB_STRING                 *cryX509CrlDistributionToString( CRY_X509_CRL_DISTRIBUTION *obj );

PB_END_DECLS

#endif
