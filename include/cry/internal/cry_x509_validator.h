/* Validators that need not verify everything. */
#ifndef CRY_INTERNAL_CRY_X509_VALIDATOR_H
#define CRY_INTERNAL_CRY_X509_VALIDATOR_H

#include <cry/cry_x509_validator.h>

PB_BEGIN_DECLS

/* Like cryX509ValidatorCreate, both give a validator that is scheduled already, and `anchor` may be
   null. */

/* cry___X509ValidatorCreateWithCertificateChain: takes a chain, leaf first, as verified, and only
   compares names. A null or empty chain aborts ("chain",
   "cryX509CertificatesCertificatesLength( chain ) > 0"). */
PB_EXPORT CRY_X509_VALIDATOR *cry___X509ValidatorCreateWithCertificateChain(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATES *chain, TR_ANCHOR *anchor );
/* cry___X509ValidatorCreatePreValidated: accepts the certificate without any check. It has no
   certificate chain, also after its end. */
PB_EXPORT CRY_X509_VALIDATOR *cry___X509ValidatorCreatePreValidated(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, TR_ANCHOR *anchor );

PB_END_DECLS

#endif
