/* CRY_X509_POLICY_FLAGS: checks that a validation omits or relaxes. */
#ifndef CRY_CRY_X509_POLICY_FLAGS_H
#define CRY_CRY_X509_POLICY_FLAGS_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_POLICY_FLAGS;

#define CRY_X509_POLICY_FLAG_DISABLE_VALIDATION ( (CRY_X509_POLICY_FLAGS)0x1 )          /* no validation at all */
#define CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS ( (CRY_X509_POLICY_FLAGS)0x2 )      /* subject alternative names are not checked */
#define CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING ( (CRY_X509_POLICY_FLAGS)0x4 ) /* a wildcard is compared like any other name */
#define CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS \
    ( (CRY_X509_POLICY_FLAGS)0x8 ) /* the names pass if the only acceptable name is the policy's lenient address */

PB_BEGIN_DECLS

/* cryX509PolicyFlagsNormalize: the flags without undefined bits. */
PB_EXPORT CRY_X509_POLICY_FLAGS cryX509PolicyFlagsNormalize( CRY_X509_POLICY_FLAGS flags );
/* cryX509PolicyFlagsToString: the names of the flags that are set, in the order above, joined by
   `|`; empty if no flag is set. Undefined bits are dropped. A new string. */
PB_EXPORT PB_STRING *cryX509PolicyFlagsToString( CRY_X509_POLICY_FLAGS flags );
/* cryX509PolicyFlagsFromString: the flags that a text names. The names are separated by `|`; white
   space around a name is dropped, and unknown names are skipped. A null text aborts ("pbs"). */
PB_EXPORT CRY_X509_POLICY_FLAGS cryX509PolicyFlagsFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
