/* Basic constraints (RFC 5280, 4.2.1.9): whether a certificate belongs to an authority, and how
   long the path below it may be. */
#ifndef CRY_CRY_X509_BASIC_CONSTRAINTS_H
#define CRY_CRY_X509_BASIC_CONSTRAINTS_H

#include <pb/pb_store.h>

/* CRY_X509_BASIC_CONSTRAINTS: one flag and an optional path length. Edits copy a shared object
   first. Many threads may read a CRY_X509_BASIC_CONSTRAINTS, and each may edit it through a
   reference of its own. */
PB_OBJECT_TYPE( CRY_X509_BASIC_CONSTRAINTS );

PB_BEGIN_DECLS

/* The functions abort on null objects ("bc", "*bc"). */

/* cryX509BasicConstraintsCreate: no authority, no path length. */
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsCreate( void );
/* cryX509BasicConstraintsCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsCreateFrom( CRY_X509_BASIC_CONSTRAINTS *source );

/* cryX509BasicConstraintsCA: whether the certificate belongs to an authority. */
PB_EXPORT PB_BOOL cryX509BasicConstraintsCA( CRY_X509_BASIC_CONSTRAINTS *bc );
/* cryX509BasicConstraintsSetCA: sets it; everything other than 0 is true. */
PB_EXPORT void cryX509BasicConstraintsSetCA( CRY_X509_BASIC_CONSTRAINTS **bc, PB_BOOL ca );
/* cryX509BasicConstraintsPathlen: how many intermediate certificates may follow in a path, at least
   0; -1 if there is no path length. */
PB_EXPORT PB_INT cryX509BasicConstraintsPathlen( CRY_X509_BASIC_CONSTRAINTS *bc );
/* cryX509BasicConstraintsHasPathlen: whether there is a path length. */
PB_EXPORT PB_BOOL cryX509BasicConstraintsHasPathlen( CRY_X509_BASIC_CONSTRAINTS *bc );
/* cryX509BasicConstraintsSetPathlen: sets the path length; a negative one aborts
   ("pathlen >= 0"). */
PB_EXPORT void cryX509BasicConstraintsSetPathlen( CRY_X509_BASIC_CONSTRAINTS **bc, PB_INT pathlen );
/* cryX509BasicConstraintsDelPathlen: removes the path length. */
PB_EXPORT void cryX509BasicConstraintsDelPathlen( CRY_X509_BASIC_CONSTRAINTS **bc );

/* cryX509BasicConstraintsStore: a new store with the boolean "ca", and with the integer "pathlen"
   if there is a path length. */
PB_EXPORT PB_STORE *cryX509BasicConstraintsStore( CRY_X509_BASIC_CONSTRAINTS *bc );
/* cryX509BasicConstraintsRestore: reads such a store; an entry that is absent, that has another
   type, or a negative path length leaves the default, so the result is never null. A null store
   aborts ("store"). */
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsRestore( PB_STORE *store );

/* cryX509BasicConstraintsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare orders by address; to compare the values, compare the
   stores. */
PB_EXPORT const PB_SORT              *cryX509BasicConstraintsSort( void );
PB_EXPORT PB_OBJ                     *cryX509BasicConstraintsObj( CRY_X509_BASIC_CONSTRAINTS *obj );
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsRetain( CRY_X509_BASIC_CONSTRAINTS *obj );
PB_EXPORT void                        cryX509BasicConstraintsRelease( CRY_X509_BASIC_CONSTRAINTS *obj );
PB_EXPORT PB_INT                      cryX509BasicConstraintsCompare( CRY_X509_BASIC_CONSTRAINTS *objA, CRY_X509_BASIC_CONSTRAINTS *objB );
PB_EXPORT PB_BOOL                     cryX509BasicConstraintsEquals( CRY_X509_BASIC_CONSTRAINTS *objA, CRY_X509_BASIC_CONSTRAINTS *objB );
PB_EXPORT PB_STRING                  *cryX509BasicConstraintsToString( CRY_X509_BASIC_CONSTRAINTS *obj );

PB_END_DECLS

#endif
