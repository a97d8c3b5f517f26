/* The layout of base encoded text. */
#ifndef RFC_RFC_BASE_OPTIONS_H
#define RFC_RFC_BASE_OPTIONS_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( RFC_BASE_OPTIONS );

/* Flags. */
#define RFC_BASE_FLAG_NO_PADDING ( (PB_INT)1 )    /* leave out the equals signs at the end */
#define RFC_BASE_FLAG_END_LAST_LINE ( (PB_INT)2 ) /* also a line end after the last line */
#define RFC_BASE_FLAGS_MASK ( (PB_INT)3 )

/* Line ends. */
#define RFC_BASE_NLF_NONE ( (PB_INT)0 )
#define RFC_BASE_NLF_LF ( (PB_INT)1 )
#define RFC_BASE_NLF_CR ( (PB_INT)2 )
#define RFC_BASE_NLF_NEL ( (PB_INT)3 ) /* one byte, 0x85 */
#define RFC_BASE_NLF_CRLF ( (PB_INT)4 )
#define RFC_BASE_NLF_OK( nlf ) ( ( nlf ) >= 0 && ( nlf ) <= 4 )

PB_BEGIN_DECLS

/* rfcBaseOptionsCreate: one line without an end, with padding. */
PB_EXPORT RFC_BASE_OPTIONS *rfcBaseOptionsCreate( void );
/* rfcBaseOptionsCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT RFC_BASE_OPTIONS *rfcBaseOptionsCreateFrom( RFC_BASE_OPTIONS *source );
/* rfcBaseOptionsFlags: the flags; null aborts ("options"). */
PB_EXPORT PB_INT rfcBaseOptionsFlags( RFC_BASE_OPTIONS *options );
/* rfcBaseOptionsSetFlags: sets the flags; undefined bits are dropped. */
PB_EXPORT void rfcBaseOptionsSetFlags( RFC_BASE_OPTIONS **options, PB_INT flags );
/* rfcBaseOptionsOutputLineLength: characters in a line; 0 for a single line. */
PB_EXPORT PB_INT rfcBaseOptionsOutputLineLength( RFC_BASE_OPTIONS *options );
/* rfcBaseOptionsSetOutputLineLength: sets the characters in a line; a negative length aborts
   ("lineLength >= 0"). */
PB_EXPORT void rfcBaseOptionsSetOutputLineLength( RFC_BASE_OPTIONS **options, PB_INT lineLength );
/* rfcBaseOptionsOutputNlf: the line end. */
PB_EXPORT PB_INT rfcBaseOptionsOutputNlf( RFC_BASE_OPTIONS *options );
/* rfcBaseOptionsSetOutputNlf: sets the line end; an unknown value aborts ("RFC_BASE_NLF_OK( nlf
   )"). */
PB_EXPORT void rfcBaseOptionsSetOutputNlf( RFC_BASE_OPTIONS **options, PB_INT nlf );

/* rfcBaseOptionsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT    *rfcBaseOptionsSort( void );
PB_EXPORT PB_OBJ           *rfcBaseOptionsObj( RFC_BASE_OPTIONS *obj );
PB_EXPORT RFC_BASE_OPTIONS *rfcBaseOptionsFrom( PB_OBJ *obj );
PB_EXPORT RFC_BASE_OPTIONS *rfcBaseOptionsRetain( RFC_BASE_OPTIONS *obj );
PB_EXPORT void              rfcBaseOptionsRelease( RFC_BASE_OPTIONS *obj );
PB_EXPORT PB_INT            rfcBaseOptionsCompare( RFC_BASE_OPTIONS *objA, RFC_BASE_OPTIONS *objB );
PB_EXPORT PB_BOOL           rfcBaseOptionsEquals( RFC_BASE_OPTIONS *objA, RFC_BASE_OPTIONS *objB );
PB_EXPORT PB_STRING        *rfcBaseOptionsToString( RFC_BASE_OPTIONS *obj );

PB_END_DECLS

#endif
