/* The options of a stack: where its identity and its trust come from. */
#ifndef CRY_CRY_X509_STACK_OPTIONS_H
#define CRY_CRY_X509_STACK_OPTIONS_H

#include <cry/cry_x509_certificates.h>
#include <cry/cry_x509_identity.h>
#include <cry/cry_x509_policy_flags.h>
#include <cry/cry_x509_sans.h>
#include <cry/cry_x509_stack_identity_mode.h>
#include <cry/cry_x509_stack_trust_mode.h>
#include <pb/pb_identifier.h>

/* CRY_X509_STACK_OPTIONS: the modes, what the modes need, and the rules of trust. Edits copy shared
   options first. Many threads may read a CRY_X509_STACK_OPTIONS, and each may edit it through a
   reference of its own. */
PB_OBJECT_TYPE( CRY_X509_STACK_OPTIONS );

PB_BEGIN_DECLS

/* The functions abort on null options ("opt", "*opt"). Getters of objects give a new reference.
   Setters abort on null objects, with the name of the parameter.

   Four of the settings know if they have their default because nobody has set them. An explicit
   setter with the default value makes other options: they compare and store differently. */

/* cryX509StackOptionsCreate: options with all defaults. */
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptionsCreate( void );
/* cryX509StackOptionsCreateFrom: a copy that shares the objects; null aborts ("source"). */
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptionsCreateFrom( CRY_X509_STACK_OPTIONS *source );

/* cryX509StackOptionsIdentityMode: where the stack's identity comes from; at first
   CRY_X509_STACK_IDENTITY_MODE_FIXED. */
PB_EXPORT CRY_X509_STACK_IDENTITY_MODE cryX509StackOptionsIdentityMode( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetIdentityMode: sets the mode; another value aborts
   ("CRY_X509_STACK_IDENTITY_MODE_OK( identityMode )"). */
PB_EXPORT void cryX509StackOptionsSetIdentityMode( CRY_X509_STACK_OPTIONS **opt, CRY_X509_STACK_IDENTITY_MODE identityMode );
/* cryX509StackOptionsSetIdentityModeDefault: puts the default back. */
PB_EXPORT void cryX509StackOptionsSetIdentityModeDefault( CRY_X509_STACK_OPTIONS **opt );
/* cryX509StackOptionsIdentityModeDefault: whether the mode was not set explicitly. */
PB_EXPORT PB_BOOL cryX509StackOptionsIdentityModeDefault( CRY_X509_STACK_OPTIONS *opt );

/* cryX509StackOptionsIdentity: the identity of CRY_X509_STACK_IDENTITY_MODE_FIXED, or null if there
   is none. */
PB_EXPORT CRY_X509_IDENTITY *cryX509StackOptionsIdentity( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsHasIdentity: whether there is such an identity. */
PB_EXPORT PB_BOOL cryX509StackOptionsHasIdentity( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetIdentity: replaces the identity ("ident"). */
PB_EXPORT void cryX509StackOptionsSetIdentity( CRY_X509_STACK_OPTIONS **opt, CRY_X509_IDENTITY *ident );
/* cryX509StackOptionsDelIdentity: removes the identity. */
PB_EXPORT void cryX509StackOptionsDelIdentity( CRY_X509_STACK_OPTIONS **opt );

/* cryX509StackOptionsIdentityVaultIdentifier: the identifier of the vault's item for
   CRY_X509_STACK_IDENTITY_MODE_VAULT, or null if there is none. */
PB_EXPORT PB_IDENTIFIER *cryX509StackOptionsIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsHasIdentityVaultIdentifier: whether there is an identifier. */
PB_EXPORT PB_BOOL cryX509StackOptionsHasIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetIdentityVaultIdentifier: replaces the identifier ("id"). */
PB_EXPORT void cryX509StackOptionsSetIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS **opt, PB_IDENTIFIER *id );
/* cryX509StackOptionsDelIdentityVaultIdentifier: removes the identifier. */
PB_EXPORT void cryX509StackOptionsDelIdentityVaultIdentifier( CRY_X509_STACK_OPTIONS **opt );

/* cryX509StackOptionsTrustMode: where trusted certificates come from, besides those that are always
   trusted; at first CRY_X509_STACK_TRUST_MODE_FIXED: from nowhere. */
PB_EXPORT CRY_X509_STACK_TRUST_MODE cryX509StackOptionsTrustMode( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetTrustMode: sets the mode; another value aborts
   ("CRY_X509_STACK_TRUST_MODE_OK( trustMode )"). */
PB_EXPORT void cryX509StackOptionsSetTrustMode( CRY_X509_STACK_OPTIONS **opt, CRY_X509_STACK_TRUST_MODE trustMode );
/* cryX509StackOptionsSetTrustModeDefault: puts the default back. */
PB_EXPORT void cryX509StackOptionsSetTrustModeDefault( CRY_X509_STACK_OPTIONS **opt );
/* cryX509StackOptionsTrustModeDefault: whether the mode was not set explicitly. */
PB_EXPORT PB_BOOL cryX509StackOptionsTrustModeDefault( CRY_X509_STACK_OPTIONS *opt );

/* cryX509StackOptionsSynchronizedTrustedCertificates: certificates that are trusted in
   CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED; never null. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509StackOptionsSynchronizedTrustedCertificates( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetSynchronizedTrustedCertificates: replaces them
   ("synchronizedTrustedCertificates"). */
PB_EXPORT void cryX509StackOptionsSetSynchronizedTrustedCertificates(
    CRY_X509_STACK_OPTIONS **opt, CRY_X509_CERTIFICATES *synchronizedTrustedCertificates );

/* cryX509StackOptionsTrustedCertificates: certificates that are trusted in every mode; never
   null. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509StackOptionsTrustedCertificates( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetTrustedCertificates: replaces them ("trustedCertificates"). */
PB_EXPORT void cryX509StackOptionsSetTrustedCertificates( CRY_X509_STACK_OPTIONS **opt, CRY_X509_CERTIFICATES *trustedCertificates );

/* cryX509StackOptionsTrustedSans: names of which a peer's certificate must have one; never null. If
   the set is empty, this is not checked. */
PB_EXPORT CRY_X509_SANS *cryX509StackOptionsTrustedSans( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetTrustedSans: replaces them ("trustedSans"). */
PB_EXPORT void cryX509StackOptionsSetTrustedSans( CRY_X509_STACK_OPTIONS **opt, CRY_X509_SANS *trustedSans );

/* cryX509StackOptionsTrustIdentity: whether the certificate of the stack's own identity is trusted,
   too; at first false. */
PB_EXPORT PB_BOOL cryX509StackOptionsTrustIdentity( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetTrustIdentity: sets it; everything but 0 is true. */
PB_EXPORT void cryX509StackOptionsSetTrustIdentity( CRY_X509_STACK_OPTIONS **opt, PB_BOOL trustIdentity );
/* cryX509StackOptionsSetTrustIdentityDefault: puts the default back. */
PB_EXPORT void cryX509StackOptionsSetTrustIdentityDefault( CRY_X509_STACK_OPTIONS **opt );
/* cryX509StackOptionsTrustIdentityDefault: whether it was not set explicitly. */
PB_EXPORT PB_BOOL cryX509StackOptionsTrustIdentityDefault( CRY_X509_STACK_OPTIONS *opt );

/* cryX509StackOptionsPolicyFlags: flags that every validator of the stack adds to those of its
   policy; at first none. */
PB_EXPORT CRY_X509_POLICY_FLAGS cryX509StackOptionsPolicyFlags( CRY_X509_STACK_OPTIONS *opt );
/* cryX509StackOptionsSetPolicyFlags: replaces the flags. Undefined bits are dropped. */
PB_EXPORT void cryX509StackOptionsSetPolicyFlags( CRY_X509_STACK_OPTIONS **opt, CRY_X509_POLICY_FLAGS flags );
/* cryX509StackOptionsSetPolicyFlagsDefault: puts the default back. */
PB_EXPORT void cryX509StackOptionsSetPolicyFlagsDefault( CRY_X509_STACK_OPTIONS **opt );
/* cryX509StackOptionsPolicyFlagsDefault: whether the flags were not set explicitly. */
PB_EXPORT PB_BOOL cryX509StackOptionsPolicyFlagsDefault( CRY_X509_STACK_OPTIONS *opt );

/* cryX509StackOptionsStore: a new store with the keys "identityMode", "identity" (a store),
   "identityVaultIdentifier", "trustMode", "synchronizedTrustedCertificates", "trustedCertificates",
   "trustedSans" (stores), "trustIdentity" and "policyFlags" (their names). Absent values and empty
   collections are not written; the four settings with a default are written if they were set
   explicitly or `storeDefaults` is true. The identity's private key is in it only if
   `identityStoreFlags` is not 0 (cryX509IdentityStore). */
PB_EXPORT PB_STORE *cryX509StackOptionsStore( CRY_X509_STACK_OPTIONS *opt, PB_BOOL storeDefaults, PB_INT identityStoreFlags );
/* cryX509StackOptionsRestore: the options in such a store, never null. A value that is missing or
   cannot be read leaves the default in place. A null store aborts ("store"). */
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptionsRestore( PB_STORE *store );

/* cryX509StackOptionsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare compares the settings in the order of this header: each
   mode and flag after the mark if it has its default, the synchronized certificates before those
   that are always trusted; an absent object comes first. */
PB_EXPORT const PB_SORT          *cryX509StackOptionsSort( void );
PB_EXPORT PB_OBJ                 *cryX509StackOptionsObj( CRY_X509_STACK_OPTIONS *obj );
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptionsFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptionsRetain( CRY_X509_STACK_OPTIONS *obj );
PB_EXPORT void                    cryX509StackOptionsRelease( CRY_X509_STACK_OPTIONS *obj );
PB_EXPORT PB_INT                  cryX509StackOptionsCompare( CRY_X509_STACK_OPTIONS *objA, CRY_X509_STACK_OPTIONS *objB );
PB_EXPORT PB_BOOL                 cryX509StackOptionsEquals( CRY_X509_STACK_OPTIONS *objA, CRY_X509_STACK_OPTIONS *objB );
PB_EXPORT PB_STRING              *cryX509StackOptionsToString( CRY_X509_STACK_OPTIONS *obj );

PB_END_DECLS

#endif
