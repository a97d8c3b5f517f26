/* Sets of subject alternative names (RFC 5280, 4.2.1.6).

   Example:

       // Whether a certificate's names have one for this host.
       PB_BOOL isFor( CRY_X509_SANS *names, PB_STRING *host )
       {
           CRY_X509_SANS *wanted = cryX509SansCreate();
           CRY_X509_SAN  *san    = cryX509SanTryCreateFromHost( host );
           if( san )
           {
               cryX509SansSet( &wanted, san );
               cryX509SanRelease( san );
           }
           PB_BOOL match = cryX509SansHasMatch( names, wanted, PB_TRUE );
           cryX509SansRelease( wanted );
           return match;
       }
*/
#ifndef CRY_CRY_X509_SANS_H
#define CRY_CRY_X509_SANS_H

#include <cry/cry_x509_san.h>
#include <pb/pb_vector.h>

/* CRY_X509_SANS: names in the order of cryX509SanCompare, each once. Edits copy a shared set first.
   Many threads may read a CRY_X509_SANS, and each may edit it through a reference of its own. */
PB_OBJECT_TYPE( CRY_X509_SANS );

PB_BEGIN_DECLS

/* The functions abort on null sets ("sans", "*sans"), on null names ("san") and on an index that is
   not in the set. */

/* cryX509SansCreate: an empty set. */
PB_EXPORT CRY_X509_SANS *cryX509SansCreate( void );
/* cryX509SansCreateFrom: a copy that shares the names; null aborts ("source"). */
PB_EXPORT CRY_X509_SANS *cryX509SansCreateFrom( CRY_X509_SANS *source );

/* cryX509SansLength: number of names. */
PB_EXPORT PB_INT cryX509SansLength( CRY_X509_SANS *sans );
/* cryX509SansAt: the name at an index, a new reference. */
PB_EXPORT CRY_X509_SAN *cryX509SansAt( CRY_X509_SANS *sans, PB_INT index );
/* cryX509SansVector: all names in order, a new reference to a vector. */
PB_EXPORT PB_VECTOR *cryX509SansVector( CRY_X509_SANS *sans );
/* cryX509SansHas: whether the set has a name for which cryX509SanCompare gives 0. */
PB_EXPORT PB_BOOL cryX509SansHas( CRY_X509_SANS *sans, CRY_X509_SAN *san );

/* cryX509SansSet: adds a name; it replaces an equal one. */
PB_EXPORT void cryX509SansSet( CRY_X509_SANS **sans, CRY_X509_SAN *san );
/* cryX509SansDel: removes the equal name; if there is none, nothing happens. */
PB_EXPORT void cryX509SansDel( CRY_X509_SANS **sans, CRY_X509_SAN *san );
/* cryX509SansInclude: adds all names of another set; null aborts ("src"). */
PB_EXPORT void cryX509SansInclude( CRY_X509_SANS **sans, CRY_X509_SANS *src );
/* cryX509SansClear: removes all names. */
PB_EXPORT void cryX509SansClear( CRY_X509_SANS **sans );
/* cryX509SansSetVector: replaces all names by those of a vector, which must hold nothing else
   ("pbVectorContainsOnly( vec, cryX509SanSort() )"). Of equal names, the last one is kept. */
PB_EXPORT void cryX509SansSetVector( CRY_X509_SANS **sans, PB_VECTOR *vec );

/* cryX509SansHasMatch: whether cryX509SanEqualsWildcard finds that a name of one set matches a name
   of the other one. An empty set matches nothing. The time grows with n log n for n names. Null
   aborts ("sansA", "sansB"). */
PB_EXPORT PB_BOOL cryX509SansHasMatch( CRY_X509_SANS *sansA, CRY_X509_SANS *sansB, PB_BOOL wildcard );

/* cryX509SansStore: a new array store of the names' stores. */
PB_EXPORT PB_STORE *cryX509SansStore( CRY_X509_SANS *sans );
/* cryX509SansRestore: the names of an array store; entries that do not restore are skipped, so the
   result is never null. A null store aborts ("store"). */
PB_EXPORT CRY_X509_SANS *cryX509SansRestore( PB_STORE *store );

/* cryX509SansSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare compares the names one by one, then the lengths. */
PB_EXPORT const PB_SORT *cryX509SansSort( void );
PB_EXPORT PB_OBJ        *cryX509SansObj( CRY_X509_SANS *obj );
PB_EXPORT CRY_X509_SANS *cryX509SansFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_SANS *cryX509SansRetain( CRY_X509_SANS *obj );
PB_EXPORT void           cryX509SansRelease( CRY_X509_SANS *obj );
PB_EXPORT PB_INT         cryX509SansCompare( CRY_X509_SANS *objA, CRY_X509_SANS *objB );
PB_EXPORT PB_BOOL        cryX509SansEquals( CRY_X509_SANS *objA, CRY_X509_SANS *objB );
PB_EXPORT PB_STRING     *cryX509SansToString( CRY_X509_SANS *obj );

PB_END_DECLS

#endif
