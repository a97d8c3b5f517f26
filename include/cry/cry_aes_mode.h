/* CRY_AES_MODE: modes of operation of the AES block cipher. */
#ifndef CRY_CRY_AES_MODE_H
#define CRY_CRY_AES_MODE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_AES_MODE;

#define CRY_AES_MODE_ECB ( (CRY_AES_MODE)0 ) /* one block at a time, NIST SP 800-38A, 6.1 */

#define CRY_AES_MODE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_AES_MODE_ECB )

PB_BEGIN_DECLS

/* cryAesModeToString: the name of a value, for example "CRY_AES_MODE_ECB", a new string; another
   value aborts ("CRY_AES_MODE_OK( mode )"). */
PB_EXPORT PB_STRING *cryAesModeToString( CRY_AES_MODE mode );
/* cryAesModeFromString: the value of a name, which must match exactly; -1 for an unknown one. Null
   aborts ("pbs"). */
PB_EXPORT CRY_AES_MODE cryAesModeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
