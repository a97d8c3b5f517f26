/* CRY_X509_STACK_TRUST_MODE: the source of a stack's trusted certificates. */
#ifndef CRY_CRY_X509_STACK_TRUST_MODE_H
#define CRY_CRY_X509_STACK_TRUST_MODE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_STACK_TRUST_MODE;

#define CRY_X509_STACK_TRUST_MODE_FIXED ( (CRY_X509_STACK_TRUST_MODE)0 )        /* from its options */
#define CRY_X509_STACK_TRUST_MODE_SYSTEM ( (CRY_X509_STACK_TRUST_MODE)1 )       /* the trusted roots of the platform */
#define CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED ( (CRY_X509_STACK_TRUST_MODE)2 ) /* the synchronized certificates of its options */

#define CRY_X509_STACK_TRUST_MODE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED )

PB_BEGIN_DECLS

/* cryX509StackTrustModeToString: the name of a value, for example
   "CRY_X509_STACK_TRUST_MODE_FIXED", a new string; another value aborts
   ("CRY_X509_STACK_TRUST_MODE_OK( mode )"). */
PB_EXPORT PB_STRING *cryX509StackTrustModeToString( CRY_X509_STACK_TRUST_MODE mode );
/* cryX509StackTrustModeFromString: the value of a name, which must match exactly; -1 for an unknown
   one. Null aborts ("pbs"). */
PB_EXPORT CRY_X509_STACK_TRUST_MODE cryX509StackTrustModeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
