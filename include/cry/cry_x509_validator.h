/* Validators: whether a peer's certificate is acceptable. */
#ifndef CRY_CRY_X509_VALIDATOR_H
#define CRY_CRY_X509_VALIDATOR_H

#include <cry/cry_x509_policy.h>
#include <cry/cry_x509_session.h>
#include <cry/cry_x509_validator_failure.h>

PB_OBJECT_TYPE( CRY_X509_VALIDATOR );
/* Any thread may use a CRY_X509_VALIDATOR. */

PB_BEGIN_DECLS

/* A validator verifies one certificate for a session and a policy, on one of the runtime's workers.
   First OpenSSL verifies the chain (RFC 5280, 6) up to a certificate that the session trusts, which
   need not be a root. Then the names of the certificate are compared with the trusted names of the
   session and the acceptable names of the policy. At the end it asserts its end signal, after a
   failure also its error signal; the results never change afterwards. It works by itself from its
   creation on; whoever releases it before its end gets no verdict, and its end signal is never
   asserted.

   Of the flags of the policy and of the session's options (cry_x509_policy_flags.h), all count.

   The functions abort on a null validator ("val"). Getters of objects give a new reference. */

/* cryX509ValidatorCreate: a validator that is scheduled already. `extraCertificates` are untrusted
   and may complete the chain, for example those that the peer has sent; null stands for none.
   `anchor` is null, or it is completed with the validator's trace stream. Null in place of another
   argument aborts ("sess", "policy", "certificate"). */
PB_EXPORT CRY_X509_VALIDATOR *cryX509ValidatorCreate(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, TR_ANCHOR *anchor );

/* cryX509ValidatorSession, cryX509ValidatorPolicy, cryX509ValidatorCertificate: what the validator
   was made with. */
PB_EXPORT CRY_X509_SESSION     *cryX509ValidatorSession( CRY_X509_VALIDATOR *val );
PB_EXPORT CRY_X509_POLICY      *cryX509ValidatorPolicy( CRY_X509_VALIDATOR *val );
PB_EXPORT CRY_X509_CERTIFICATE *cryX509ValidatorCertificate( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorExtraCertificates: the untrusted certificates; an empty collection if there were
   none. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509ValidatorExtraCertificates( CRY_X509_VALIDATOR *val );

/* cryX509ValidatorEnd: whether the validator has ended. */
PB_EXPORT PB_BOOL cryX509ValidatorEnd( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorEndAddSignalable, cryX509ValidatorEndDelSignalable: subscribe to the end, and
   take the subscription back. A signalable that is added after the end is told at once. Null aborts
   ("sigb"). */
PB_EXPORT void cryX509ValidatorEndAddSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb );
PB_EXPORT void cryX509ValidatorEndDelSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb );
/* cryX509ValidatorError: whether it has ended because the certificate was refused. */
PB_EXPORT PB_BOOL cryX509ValidatorError( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorErrorAddSignalable, cryX509ValidatorErrorDelSignalable: the same for that. If the
   certificate is accepted, this signal is never asserted. Null aborts ("sigb"). */
PB_EXPORT void cryX509ValidatorErrorAddSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb );
PB_EXPORT void cryX509ValidatorErrorDelSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb );

/* cryX509ValidatorHasCertificateChain: whether there is a verified chain: after an end without an
   error. */
PB_EXPORT PB_BOOL cryX509ValidatorHasCertificateChain( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorCertificateChain: the verified chain, leaf first; null if there is none. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509ValidatorCertificateChain( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorHasFailure: whether there is a reason for an error. */
PB_EXPORT PB_BOOL cryX509ValidatorHasFailure( CRY_X509_VALIDATOR *val );
/* cryX509ValidatorFailure: why the certificate was refused; null before the end, and if it was
   accepted. */
PB_EXPORT CRY_X509_VALIDATOR_FAILURE *cryX509ValidatorFailure( CRY_X509_VALIDATOR *val );

/* cryX509ValidatorCheckSans: whether the certificate has one of these names, as the check of the
   policy's acceptable names decides it; at any time, also before the end and after a failure. With
   CRY_X509_POLICY_FLAG_DISABLE_VALIDATION or CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS it is
   always true. Null aborts ("sans"). */
PB_EXPORT PB_BOOL cryX509ValidatorCheckSans( CRY_X509_VALIDATOR *val, CRY_X509_SANS *sans );

/* cryX509ValidatorTraceCompleteAnchor: completes an anchor with the validator's trace stream. Null
   aborts ("anchor"). */
PB_EXPORT void cryX509ValidatorTraceCompleteAnchor( CRY_X509_VALIDATOR *val, TR_ANCHOR *anchor );

/* cryX509ValidatorSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). A validator equals only itself. */
PB_EXPORT const PB_SORT      *cryX509ValidatorSort( void );
PB_EXPORT PB_OBJ             *cryX509ValidatorObj( CRY_X509_VALIDATOR *obj );
PB_EXPORT CRY_X509_VALIDATOR *cryX509ValidatorFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_VALIDATOR *cryX509ValidatorRetain( CRY_X509_VALIDATOR *obj );
PB_EXPORT void                cryX509ValidatorRelease( CRY_X509_VALIDATOR *obj );
PB_EXPORT PB_INT              cryX509ValidatorCompare( CRY_X509_VALIDATOR *objA, CRY_X509_VALIDATOR *objB );
PB_EXPORT PB_BOOL             cryX509ValidatorEquals( CRY_X509_VALIDATOR *objA, CRY_X509_VALIDATOR *objB );
PB_EXPORT PB_STRING          *cryX509ValidatorToString( CRY_X509_VALIDATOR *obj );

PB_END_DECLS

#endif
