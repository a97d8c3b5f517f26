/* Key types and curves in OpenSSL's numbers and names. */
#ifndef CRY_INTERNAL_CRY_PKEY_H
#define CRY_INTERNAL_CRY_PKEY_H

#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/cry_pkey_type.h>

PB_BEGIN_DECLS

/* cry___PkeyTypeToOpensslNid: OpenSSL's number of a key type; another value aborts
   ("CRY_PKEY_TYPE_OK( type )"). */
PB_EXPORT int cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE type );
/* cry___PkeyTypeFromOpensslNid: the key type of one of OpenSSL's numbers; -1 for every other kind
   of key. */
PB_EXPORT CRY_PKEY_TYPE cry___PkeyTypeFromOpensslNid( int nid );

/* cry___PkeyEcNamedCurveToOpensslNid: OpenSSL's number of a curve; another value aborts
   ("CRY_PKEY_EC_NAMED_CURVE_OK( curve )"). */
PB_EXPORT int cry___PkeyEcNamedCurveToOpensslNid( CRY_PKEY_EC_NAMED_CURVE curve );
/* cry___PkeyEcNamedCurveToOpensslSn: OpenSSL's short name of a curve, a new reference. */
PB_EXPORT PB_STRING *cry___PkeyEcNamedCurveToOpensslSn( CRY_PKEY_EC_NAMED_CURVE curve );
/* cry___PkeyEcNamedCurveFromOpensslNid: the curve of one of OpenSSL's numbers; -1 if the table does
   not have it. */
PB_EXPORT CRY_PKEY_EC_NAMED_CURVE cry___PkeyEcNamedCurveFromOpensslNid( int nid );
/* cry___PkeyEcNamedCurveFromOpensslSn: the curve of one of OpenSSL's short names, which must match
   exactly; -1 for an unknown one. Null aborts ("sn"). */
PB_EXPORT CRY_PKEY_EC_NAMED_CURVE cry___PkeyEcNamedCurveFromOpensslSn( PB_STRING *sn );

PB_END_DECLS

#endif
