/* Why a validator refused a certificate. */
#ifndef CRY_CRY_X509_VALIDATOR_FAILURE_H
#define CRY_CRY_X509_VALIDATOR_FAILURE_H

#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_sans.h>
#include <pb/pb_store.h>
#include <pb/pb_time.h>

PB_OBJECT_TYPE( CRY_X509_VALIDATOR_FAILURE );
/* A CRY_X509_VALIDATOR_FAILURE cannot change; any thread may use it. */

/* CRY_X509_VALIDATOR_FAILURE_REASON: the check that failed. */
typedef PB_INT CRY_X509_VALIDATOR_FAILURE_REASON;

#define CRY_X509_VALIDATOR_FAILURE_REASON_TIME ( (CRY_X509_VALIDATOR_FAILURE_REASON)0 )         /* the policy's time is a day that does not exist */
#define CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN ( (CRY_X509_VALIDATOR_FAILURE_REASON)1 )        /* OpenSSL refused the chain */
#define CRY_X509_VALIDATOR_FAILURE_REASON_RESULT ( (CRY_X509_VALIDATOR_FAILURE_REASON)2 )       /* the verified chain cannot be given out */
#define CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS ( (CRY_X509_VALIDATOR_FAILURE_REASON)3 ) /* no name that the session trusts */
#define CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS ( (CRY_X509_VALIDATOR_FAILURE_REASON)4 ) /* no name that the policy accepts */

PB_BEGIN_DECLS

/* The functions abort on a null failure ("failure"). Getters of objects give a new reference. */

/* cryX509ValidatorFailureReason: the check that failed. */
PB_EXPORT CRY_X509_VALIDATOR_FAILURE_REASON cryX509ValidatorFailureReason( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureTime: the time for which the certificate was verified: that of the policy,
   or the time at which the validator worked. */
PB_EXPORT PB_TIME *cryX509ValidatorFailureTime( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureHasOpensslError: whether OpenSSL gave an error: only for
   CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN. */
PB_EXPORT PB_BOOL cryX509ValidatorFailureHasOpensslError( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureOpensslError: OpenSSL's number of the error, X509_V_ERR_...; -1 if there
   is none. */
PB_EXPORT PB_INT cryX509ValidatorFailureOpensslError( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureOpensslErrorString: OpenSSL's text for the error, for example
   "certificate has expired"; null if there is none. */
PB_EXPORT PB_STRING *cryX509ValidatorFailureOpensslErrorString( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureDepth: the place in the chain: 0 is the leaf, 1 its issuer; -1 if that
   does not apply. */
PB_EXPORT PB_INT cryX509ValidatorFailureDepth( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureHasCertificate: whether the failure belongs to one certificate. */
PB_EXPORT PB_BOOL cryX509ValidatorFailureHasCertificate( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureCertificate: the certificate to which the failure belongs; null if there
   is none. */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509ValidatorFailureCertificate( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureHasCertificateSans: whether there are names of the certificate. */
PB_EXPORT PB_BOOL cryX509ValidatorFailureHasCertificateSans( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureCertificateSans: the names that the certificate has, if a check of names
   failed; null after other checks, and if the certificate has no such extension. */
PB_EXPORT CRY_X509_SANS *cryX509ValidatorFailureCertificateSans( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureHasWantedSans: whether there are wanted names. */
PB_EXPORT PB_BOOL cryX509ValidatorFailureHasWantedSans( CRY_X509_VALIDATOR_FAILURE *failure );
/* cryX509ValidatorFailureWantedSans: the names of which the certificate should have one, if a check
   of names failed; else null. */
PB_EXPORT CRY_X509_SANS *cryX509ValidatorFailureWantedSans( CRY_X509_VALIDATOR_FAILURE *failure );

/* cryX509ValidatorFailureStore: a new store with the keys "reason" (the name of the value, as
   "CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN"), "time", "opensslError", "opensslErrorString",
   "depth", "certificate", "certificateSans" and "wantedSans" (stores); absent values are not
   written. */
PB_EXPORT PB_STORE *cryX509ValidatorFailureStore( CRY_X509_VALIDATOR_FAILURE *failure );

/* cryX509ValidatorFailureSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). A failure equals only itself. ToString gives one sentence for a
   log, without a full stop and without control characters, as "the certificate CN=example.com
   (leaf, depth 0) expired at 2026-07-21T13:01:14Z, 12 days before the time of verification". */
PB_EXPORT const PB_SORT              *cryX509ValidatorFailureSort( void );
PB_EXPORT PB_OBJ                     *cryX509ValidatorFailureObj( CRY_X509_VALIDATOR_FAILURE *obj );
PB_EXPORT CRY_X509_VALIDATOR_FAILURE *cryX509ValidatorFailureFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_VALIDATOR_FAILURE *cryX509ValidatorFailureRetain( CRY_X509_VALIDATOR_FAILURE *obj );
PB_EXPORT void                        cryX509ValidatorFailureRelease( CRY_X509_VALIDATOR_FAILURE *obj );
PB_EXPORT PB_INT                      cryX509ValidatorFailureCompare( CRY_X509_VALIDATOR_FAILURE *objA, CRY_X509_VALIDATOR_FAILURE *objB );
PB_EXPORT PB_BOOL                     cryX509ValidatorFailureEquals( CRY_X509_VALIDATOR_FAILURE *objA, CRY_X509_VALIDATOR_FAILURE *objB );
PB_EXPORT PB_STRING                  *cryX509ValidatorFailureToString( CRY_X509_VALIDATOR_FAILURE *obj );

PB_END_DECLS

#endif
