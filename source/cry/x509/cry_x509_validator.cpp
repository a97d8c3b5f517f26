#include <cry/internal/cry_x509_validator.h>
#include <cry/internal/cry_x509_validator_imp.h>
#include <pb/sort.hpp>

struct CRY_X509_VALIDATOR : PB_OBJ
{
    CRY___X509_VALIDATOR_IMP *imp;
};

static constexpr auto validatorFields = pb::fields<&CRY_X509_VALIDATOR::imp>;

static void freeValidator( CRY_X509_VALIDATOR *val )
{
    PB_CHECK( val );
    cry___X509ValidatorImpHalt( val->imp );
    validatorFields.release( val );
}

PB_SORT_DEFINE( cry, X509Validator, CRY_X509_VALIDATOR, .free = pb::slot<freeValidator> )

static CRY_X509_VALIDATOR *createOf( CRY___X509_VALIDATOR_IMP *imp )
{
    CRY_X509_VALIDATOR *val = pb::create<CRY_X509_VALIDATOR>();
    val->imp                = imp;
    return val;
}

CRY_X509_VALIDATOR *cryX509ValidatorCreate(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, TR_ANCHOR *anchor )
{
    return createOf( cry___X509ValidatorImpCreateWithCertificate( sess, policy, certificate, extraCertificates, anchor ) );
}

CRY_X509_VALIDATOR *cry___X509ValidatorCreateWithCertificateChain(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATES *chain, TR_ANCHOR *anchor )
{
    return createOf( cry___X509ValidatorImpCreateWithCertificateChain( sess, policy, chain, anchor ) );
}

CRY_X509_VALIDATOR *cry___X509ValidatorCreatePreValidated(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, TR_ANCHOR *anchor )
{
    return createOf( cry___X509ValidatorImpCreatePreValidated( sess, policy, certificate, anchor ) );
}

CRY_X509_SESSION *cryX509ValidatorSession( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpSession( val->imp ); }

CRY_X509_POLICY *cryX509ValidatorPolicy( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpPolicy( val->imp ); }

CRY_X509_CERTIFICATE *cryX509ValidatorCertificate( CRY_X509_VALIDATOR *val )
{
    return PB_CHECK( val ), cry___X509ValidatorImpCertificate( val->imp );
}

CRY_X509_CERTIFICATES *cryX509ValidatorExtraCertificates( CRY_X509_VALIDATOR *val )
{
    return PB_CHECK( val ), cry___X509ValidatorImpExtraCertificates( val->imp );
}

PB_BOOL cryX509ValidatorEnd( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpEnd( val->imp ); }

PB_BOOL cryX509ValidatorError( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpError( val->imp ); }

void cryX509ValidatorEndAddSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb )
{
    PB_CHECK( val ), cry___X509ValidatorImpEndAddSignalable( val->imp, sigb );
}

void cryX509ValidatorEndDelSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb )
{
    PB_CHECK( val ), cry___X509ValidatorImpEndDelSignalable( val->imp, sigb );
}

void cryX509ValidatorErrorAddSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb )
{
    PB_CHECK( val ), cry___X509ValidatorImpErrorAddSignalable( val->imp, sigb );
}

void cryX509ValidatorErrorDelSignalable( CRY_X509_VALIDATOR *val, PB_SIGNALABLE *sigb )
{
    PB_CHECK( val ), cry___X509ValidatorImpErrorDelSignalable( val->imp, sigb );
}

PB_BOOL cryX509ValidatorHasCertificateChain( CRY_X509_VALIDATOR *val )
{
    return PB_CHECK( val ), cry___X509ValidatorImpHasCertificateChain( val->imp );
}

CRY_X509_CERTIFICATES *cryX509ValidatorCertificateChain( CRY_X509_VALIDATOR *val )
{
    return PB_CHECK( val ), cry___X509ValidatorImpCertificateChain( val->imp );
}

PB_BOOL cryX509ValidatorHasFailure( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpHasFailure( val->imp ); }

CRY_X509_VALIDATOR_FAILURE *cryX509ValidatorFailure( CRY_X509_VALIDATOR *val ) { return PB_CHECK( val ), cry___X509ValidatorImpFailure( val->imp ); }

PB_BOOL cryX509ValidatorCheckSans( CRY_X509_VALIDATOR *val, CRY_X509_SANS *sans )
{
    return PB_CHECK( val ), cry___X509ValidatorImpCheckSans( val->imp, sans );
}

void cryX509ValidatorTraceCompleteAnchor( CRY_X509_VALIDATOR *val, TR_ANCHOR *anchor )
{
    PB_CHECK( val ), cry___X509ValidatorImpTraceCompleteAnchor( val->imp, anchor );
}
