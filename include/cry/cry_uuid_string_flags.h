/* CRY_UUID_STRING_FLAGS: how the text of a UUID is written. */
#ifndef CRY_CRY_UUID_STRING_FLAGS_H
#define CRY_CRY_UUID_STRING_FLAGS_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_UUID_STRING_FLAGS;

#define CRY_UUID_STRING_FLAG_UPPERCASE ( (CRY_UUID_STRING_FLAGS)0x1 )       /* hexadecimal digits in capitals */
#define CRY_UUID_STRING_FLAG_LOW_LINE ( (CRY_UUID_STRING_FLAGS)0x2 )        /* low lines in place of hyphens */
#define CRY_UUID_STRING_FLAG_CURLY_BRACKET ( (CRY_UUID_STRING_FLAGS)0x4 )   /* between curly brackets */
#define CRY_UUID_STRING_FLAG_APOSTROPHE ( (CRY_UUID_STRING_FLAGS)0x8 )      /* between apostrophes */
#define CRY_UUID_STRING_FLAG_QUOTATION_MARK ( (CRY_UUID_STRING_FLAGS)0x10 ) /* between quotation marks */

PB_BEGIN_DECLS

/* cryUuidStringFlagsNormalize: the flags without undefined bits. */
PB_EXPORT CRY_UUID_STRING_FLAGS cryUuidStringFlagsNormalize( CRY_UUID_STRING_FLAGS flags );
/* cryUuidStringFlagsToString: the names of the flags that are set, in the order above, joined by
   `|`; empty if no flag is set. Undefined bits are dropped. A new string. */
PB_EXPORT PB_STRING *cryUuidStringFlagsToString( CRY_UUID_STRING_FLAGS flags );
/* cryUuidStringFlagsFromString: the flags that a text names. The names are separated by `|`; white
   space around a name is dropped, and unknown names are skipped. A null text aborts ("pbs"). */
PB_EXPORT CRY_UUID_STRING_FLAGS cryUuidStringFlagsFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
