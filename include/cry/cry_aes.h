/* Single AES blocks (FIPS 197). */
#ifndef CRY_CRY_AES_H
#define CRY_CRY_AES_H

#include <cry/cry_aes_mode.h>
#include <cry/cry_aes_operation.h>
#include <pb/pb_buffer.h>

/* CRY_AES: a key, a mode and a direction. Only one thread at a time may use a CRY_AES. */
PB_OBJECT_TYPE( CRY_AES );

PB_BEGIN_DECLS

/* cryAesValidateKeyLength: whether an AES key can have this number of bits; true for 128, 192 and
   256. */
PB_EXPORT PB_BOOL cryAesValidateKeyLength( PB_INT bits );
/* cryAesValidateKey: the same for the length of a buffer; null aborts ("key"). */
PB_EXPORT PB_BOOL cryAesValidateKey( PB_BUFFER *key );

/* cryAesTryCreate: a new object, or null if OpenSSL cannot provide the cipher. It holds the
   caller's own buffer, so the caller must mark a key as sensitive if it is to be overwritten when
   it is freed. Aborts unless "CRY_AES_MODE_OK( mode )", "CRY_AES_OPERATION_OK( op )" and
   "cryAesValidateKey( key )". */
PB_EXPORT CRY_AES *cryAesTryCreate( CRY_AES_MODE mode, CRY_AES_OPERATION op, PB_BUFFER *key );
/* cryAesMode, cryAesOperation: the mode and the operation that the object was created with; null
   aborts ("aes"). */
PB_EXPORT CRY_AES_MODE      cryAesMode( CRY_AES *aes );
PB_EXPORT CRY_AES_OPERATION cryAesOperation( CRY_AES *aes );
/* cryAesKey: the buffer that the object was created with, a new reference. */
PB_EXPORT PB_BUFFER *cryAesKey( CRY_AES *aes );
/* cryAesProcessBlock: transforms the 16 bytes at `source` into 16 bytes at `dest`. The result does
   not depend on the blocks before. Aborts on null ("aes", "dest", "source") and if both pointers
   are the same ("dest != source"). */
PB_EXPORT void cryAesProcessBlock( CRY_AES *aes, PB_BYTE *dest, const PB_BYTE *source );

/* cryAesSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *cryAesSort( void );
PB_EXPORT PB_OBJ        *cryAesObj( CRY_AES *obj );
PB_EXPORT CRY_AES       *cryAesFrom( PB_OBJ *obj );
PB_EXPORT CRY_AES       *cryAesRetain( CRY_AES *obj );
PB_EXPORT void           cryAesRelease( CRY_AES *obj );
PB_EXPORT PB_INT         cryAesCompare( CRY_AES *objA, CRY_AES *objB );
PB_EXPORT PB_BOOL        cryAesEquals( CRY_AES *objA, CRY_AES *objB );
PB_EXPORT PB_STRING     *cryAesToString( CRY_AES *obj );

PB_END_DECLS

#endif
