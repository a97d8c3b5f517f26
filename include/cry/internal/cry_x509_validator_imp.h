/* The implementation of validators. */
#ifndef CRY_INTERNAL_CRY_X509_VALIDATOR_IMP_H
#define CRY_INTERNAL_CRY_X509_VALIDATOR_IMP_H

#include <cry/cry_x509_validator.h>

PB_OBJECT_TYPE( CRY___X509_VALIDATOR_IMP );
/* CRY___X509_VALIDATOR_IMP: the process that validates, and its results. Any thread may use it. */

PB_BEGIN_DECLS

/* The functions abort on a null object ("imp"). They mean what the functions of
   cry_x509_validator.h and internal/cry_x509_validator.h with the same name say. */

/* cry___X509ValidatorImpCreateWithCertificate, cry___X509ValidatorImpCreateWithCertificateChain,
   cry___X509ValidatorImpCreatePreValidated: the three ways to make a validator; its process is
   scheduled already. */
PB_EXPORT CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreateWithCertificate(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, TR_ANCHOR *anchor );
PB_EXPORT CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreateWithCertificateChain(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATES *chain, TR_ANCHOR *anchor );
PB_EXPORT CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreatePreValidated(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, TR_ANCHOR *anchor );
/* cry___X509ValidatorImpHalt: ends the process. A verification that is in progress goes on, but
   nobody gets its result. */
PB_EXPORT void cry___X509ValidatorImpHalt( CRY___X509_VALIDATOR_IMP *imp );

/* cry___X509ValidatorImpSession, cry___X509ValidatorImpPolicy, cry___X509ValidatorImpCertificate,
   cry___X509ValidatorImpExtraCertificates: what it was made with. */
PB_EXPORT CRY_X509_SESSION      *cry___X509ValidatorImpSession( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT CRY_X509_POLICY       *cry___X509ValidatorImpPolicy( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT CRY_X509_CERTIFICATE  *cry___X509ValidatorImpCertificate( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509ValidatorImpExtraCertificates( CRY___X509_VALIDATOR_IMP *imp );

/* cry___X509ValidatorImpEnd, cry___X509ValidatorImpError: whether it has ended, and with an
   error. */
PB_EXPORT PB_BOOL cry___X509ValidatorImpEnd( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT PB_BOOL cry___X509ValidatorImpError( CRY___X509_VALIDATOR_IMP *imp );
/* cry___X509ValidatorImpEndAddSignalable, cry___X509ValidatorImpEndDelSignalable,
   cry___X509ValidatorImpErrorAddSignalable, cry___X509ValidatorImpErrorDelSignalable: subscribe,
   and take the subscription back. */
PB_EXPORT void cry___X509ValidatorImpEndAddSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509ValidatorImpEndDelSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509ValidatorImpErrorAddSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509ValidatorImpErrorDelSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb );

/* cry___X509ValidatorImpHasCertificateChain, cry___X509ValidatorImpCertificateChain,
   cry___X509ValidatorImpHasFailure, cry___X509ValidatorImpFailure: the results. */
PB_EXPORT PB_BOOL                     cry___X509ValidatorImpHasCertificateChain( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT CRY_X509_CERTIFICATES      *cry___X509ValidatorImpCertificateChain( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT PB_BOOL                     cry___X509ValidatorImpHasFailure( CRY___X509_VALIDATOR_IMP *imp );
PB_EXPORT CRY_X509_VALIDATOR_FAILURE *cry___X509ValidatorImpFailure( CRY___X509_VALIDATOR_IMP *imp );

/* cry___X509ValidatorImpCheckSans: whether the certificate has one of these names ("sans"). */
PB_EXPORT PB_BOOL cry___X509ValidatorImpCheckSans( CRY___X509_VALIDATOR_IMP *imp, CRY_X509_SANS *sans );

/* cry___X509ValidatorImpTraceCompleteAnchor: completes an anchor with the trace stream. */
PB_EXPORT void cry___X509ValidatorImpTraceCompleteAnchor( CRY___X509_VALIDATOR_IMP *imp, TR_ANCHOR *anchor );

/* cry___X509ValidatorImpSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight
   standard functions (docs/conventions.md). An implementation equals only itself. */
PB_EXPORT const PB_SORT            *cry___X509ValidatorImpSort( void );
PB_EXPORT PB_OBJ                   *cry___X509ValidatorImpObj( CRY___X509_VALIDATOR_IMP *obj );
PB_EXPORT CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpFrom( PB_OBJ *obj );
PB_EXPORT CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpRetain( CRY___X509_VALIDATOR_IMP *obj );
PB_EXPORT void                      cry___X509ValidatorImpRelease( CRY___X509_VALIDATOR_IMP *obj );
PB_EXPORT PB_INT                    cry___X509ValidatorImpCompare( CRY___X509_VALIDATOR_IMP *objA, CRY___X509_VALIDATOR_IMP *objB );
PB_EXPORT PB_BOOL                   cry___X509ValidatorImpEquals( CRY___X509_VALIDATOR_IMP *objA, CRY___X509_VALIDATOR_IMP *objB );
PB_EXPORT PB_STRING                *cry___X509ValidatorImpToString( CRY___X509_VALIDATOR_IMP *obj );

PB_END_DECLS

#endif
