/* The rules by which a peer's certificates are validated. */
#ifndef CRY_CRY_X509_POLICY_H
#define CRY_CRY_X509_POLICY_H

#include <cry/cry_x509_policy_flags.h>
#include <cry/cry_x509_sans.h>
#include <in/in_address.h>
#include <pb/pb_store.h>
#include <pb/pb_time.h>

/* CRY_X509_POLICY: flags, a time, acceptable names and an address; all but the flags may be absent.
   Edits copy a shared policy first. Many threads may read a CRY_X509_POLICY, and each may edit it
   through a reference of its own. */
PB_OBJECT_TYPE( CRY_X509_POLICY );

PB_BEGIN_DECLS

/* The functions abort on null policies ("pol", "*pol"). Getters give a new reference, or null if
   the value is absent. Setters abort on null values, with the name of the parameter. */

/* cryX509PolicyCreate: a policy without flags and values. */
PB_EXPORT CRY_X509_POLICY *cryX509PolicyCreate( void );
/* cryX509PolicyCreateFrom: a copy that shares the values; null aborts ("source"). */
PB_EXPORT CRY_X509_POLICY *cryX509PolicyCreateFrom( CRY_X509_POLICY *source );

/* cryX509PolicyFlags: the checks that are omitted or relaxed; at first none. */
PB_EXPORT CRY_X509_POLICY_FLAGS cryX509PolicyFlags( CRY_X509_POLICY *pol );
/* cryX509PolicySetFlags: replaces the flags. Undefined bits are dropped. */
PB_EXPORT void cryX509PolicySetFlags( CRY_X509_POLICY **pol, CRY_X509_POLICY_FLAGS flags );

/* cryX509PolicyTime: the time at which certificates must be valid; if it is absent, the current
   time is used. */
PB_EXPORT PB_TIME *cryX509PolicyTime( CRY_X509_POLICY *pol );
/* cryX509PolicyHasTime: whether the policy has a time. */
PB_EXPORT PB_BOOL cryX509PolicyHasTime( CRY_X509_POLICY *pol );
/* cryX509PolicySetTime: replaces the time ("time"). */
PB_EXPORT void cryX509PolicySetTime( CRY_X509_POLICY **pol, PB_TIME *time );
/* cryX509PolicyDelTime: removes the time. */
PB_EXPORT void cryX509PolicyDelTime( CRY_X509_POLICY **pol );

/* cryX509PolicyAcceptableSans: names of which the peer's certificate must have one; if they are
   absent, its names are not checked. */
PB_EXPORT CRY_X509_SANS *cryX509PolicyAcceptableSans( CRY_X509_POLICY *pol );
/* cryX509PolicyHasAcceptableSans: whether the policy has acceptable names, even if the set is
   empty. */
PB_EXPORT PB_BOOL cryX509PolicyHasAcceptableSans( CRY_X509_POLICY *pol );
/* cryX509PolicySetAcceptableSans: replaces the acceptable names ("acceptableSans"). */
PB_EXPORT void cryX509PolicySetAcceptableSans( CRY_X509_POLICY **pol, CRY_X509_SANS *acceptableSans );
/* cryX509PolicyDelAcceptableSans: removes the acceptable names. */
PB_EXPORT void cryX509PolicyDelAcceptableSans( CRY_X509_POLICY **pol );

/* cryX509PolicyLenientSubjectChecksIpAddress: the address of the rule that
   CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS switches on: if no name matches, the check
   of the names still passes if the only acceptable name is this IP address. */
PB_EXPORT IN_ADDRESS *cryX509PolicyLenientSubjectChecksIpAddress( CRY_X509_POLICY *pol );
/* cryX509PolicyHasLenientSubjectChecksIpAddress: whether the policy has this address. */
PB_EXPORT PB_BOOL cryX509PolicyHasLenientSubjectChecksIpAddress( CRY_X509_POLICY *pol );
/* cryX509PolicySetLenientSubjectChecksIpAddress: replaces this address
   ("lenientSubjectChecksIpAddress"). */
PB_EXPORT void cryX509PolicySetLenientSubjectChecksIpAddress( CRY_X509_POLICY **pol, IN_ADDRESS *lenientSubjectChecksIpAddress );
/* cryX509PolicyDelLenientSubjectChecksIpAddress: removes this address. */
PB_EXPORT void cryX509PolicyDelLenientSubjectChecksIpAddress( CRY_X509_POLICY **pol );

/* cryX509PolicyStore: a new store with the keys "flags" (their names), "time", "acceptableSans" (a
   store, cryX509SansStore) and "lenientSubjectChecksIpAddress"; flags that are 0 and absent values
   are not written. */
PB_EXPORT PB_STORE *cryX509PolicyStore( CRY_X509_POLICY *pol );
/* cryX509PolicyRestore: the policy in such a store; a value that does not read stays absent, so the
   result is never null. A null store aborts ("store"). */
PB_EXPORT CRY_X509_POLICY *cryX509PolicyRestore( PB_STORE *store );

/* cryX509PolicySort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A policy has no order of its own: it equals only itself. */
PB_EXPORT const PB_SORT   *cryX509PolicySort( void );
PB_EXPORT PB_OBJ          *cryX509PolicyObj( CRY_X509_POLICY *obj );
PB_EXPORT CRY_X509_POLICY *cryX509PolicyFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_POLICY *cryX509PolicyRetain( CRY_X509_POLICY *obj );
PB_EXPORT void             cryX509PolicyRelease( CRY_X509_POLICY *obj );
PB_EXPORT PB_INT           cryX509PolicyCompare( CRY_X509_POLICY *objA, CRY_X509_POLICY *objB );
PB_EXPORT PB_BOOL          cryX509PolicyEquals( CRY_X509_POLICY *objA, CRY_X509_POLICY *objB );
PB_EXPORT PB_STRING       *cryX509PolicyToString( CRY_X509_POLICY *obj );

PB_END_DECLS

#endif
