#include "cry/x509/stacks.hpp"
#include "support/standard_functions.hpp"
#include "x509/cry_x509_validator_failure.hpp"

#include <cry/internal/cry_x509_validator_imp.h>

using namespace support;

static constexpr char file[]        = "source/cry/x509/cry_x509_validator.cpp";
static constexpr char impFile[]     = "source/cry/x509/cry_x509_validator_imp.cpp";
static constexpr char failureFile[] = "source/cry/x509/cry_x509_validator_failure.cpp";

TEST( CryX509ValidatorContracts, Creation )
{
    Session                       sess   = sessionOf( stackOf( options() ) );
    Policy                        policy = pb::adopt( cryX509PolicyCreate() );
    pb::Ref<CRY_X509_CERTIFICATE> cert   = selfSigned( "CN=A" );
    auto                          chain  = certificates( { cert } );
    EXPECT_ABORT( impFile, "sess", cryX509ValidatorCreate( nullptr, policy.get(), cert.get(), nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "policy", cryX509ValidatorCreate( sess.get(), nullptr, cert.get(), nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "certificate", cryX509ValidatorCreate( sess.get(), policy.get(), nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "sess", cry___X509ValidatorCreatePreValidated( nullptr, policy.get(), cert.get(), nullptr ) );
    EXPECT_ABORT( impFile, "policy", cry___X509ValidatorCreatePreValidated( sess.get(), nullptr, cert.get(), nullptr ) );
    EXPECT_ABORT( impFile, "certificate", cry___X509ValidatorCreatePreValidated( sess.get(), policy.get(), nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "sess", cry___X509ValidatorCreateWithCertificateChain( nullptr, policy.get(), chain.get(), nullptr ) );
    EXPECT_ABORT( impFile, "policy", cry___X509ValidatorCreateWithCertificateChain( sess.get(), nullptr, chain.get(), nullptr ) );
    EXPECT_ABORT( impFile, "chain", cry___X509ValidatorCreateWithCertificateChain( sess.get(), policy.get(), nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "cryX509CertificatesCertificatesLength( chain ) > 0",
        cry___X509ValidatorCreateWithCertificateChain( sess.get(), policy.get(), certificates( {} ).get(), nullptr ) );
}

TEST( CryX509ValidatorContracts, Validators )
{
    Session                       sess   = sessionOf( stackOf( options() ) );
    Policy                        policy = pb::adopt( cryX509PolicyCreate() );
    pb::Ref<CRY_X509_CERTIFICATE> cert   = selfSigned( "CN=A" );
    Validator                     val    = pb::adopt( cryX509ValidatorCreate( sess.get(), policy.get(), cert.get(), nullptr, nullptr ) );
    EXPECT_STANDARD_CHECKS( file, cry, X509Validator, CRY_X509_VALIDATOR, "val", val.get() );
    EXPECT_ABORT( file, "val", cryX509ValidatorSession( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorPolicy( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorCertificate( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorExtraCertificates( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorEnd( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorError( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorEndAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorEndDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorErrorAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorErrorDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorHasCertificateChain( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorCertificateChain( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorHasFailure( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorFailure( nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorCheckSans( nullptr, nullptr ) );
    EXPECT_ABORT( file, "val", cryX509ValidatorTraceCompleteAnchor( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "sans", cryX509ValidatorCheckSans( val.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509ValidatorEndAddSignalable( val.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509ValidatorEndDelSignalable( val.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509ValidatorErrorAddSignalable( val.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509ValidatorErrorDelSignalable( val.get(), nullptr ) );
    EXPECT_ABORT( impFile, "anchor", cryX509ValidatorTraceCompleteAnchor( val.get(), nullptr ) );
}

TEST( CryX509ValidatorContracts, Implementations )
{
    Session                           sess   = sessionOf( stackOf( options() ) );
    Policy                            policy = pb::adopt( cryX509PolicyCreate() );
    pb::Ref<CRY___X509_VALIDATOR_IMP> imp    = pb::adopt(
        cry___X509ValidatorImpCreatePreValidated( sess.get(), policy.get(), selfSigned( "CN=A" ).get(), nullptr ) );
    EXPECT_STANDARD_CHECKS( impFile, cry, ___X509ValidatorImp, CRY___X509_VALIDATOR_IMP, "imp", imp.get() );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpHalt( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpSession( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpPolicy( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpCertificate( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpExtraCertificates( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpEnd( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpError( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpEndAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpEndDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpErrorAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpErrorDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpHasCertificateChain( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpCertificateChain( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpHasFailure( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpFailure( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpCheckSans( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509ValidatorImpTraceCompleteAnchor( nullptr, nullptr ) );
    cry___X509ValidatorImpHalt( imp.get() );
}

TEST( CryX509ValidatorContracts, Failures )
{
    pb::Ref<PB_TIME> time    = support::time( "2026-07-21T13:01:14Z" );
    Failure          failure = pb::adopt( cry::x509::createFailure( { .reason = CRY_X509_VALIDATOR_FAILURE_REASON_RESULT, .time = time.get() } ) );
    EXPECT_STANDARD_CHECKS( failureFile, cry, X509ValidatorFailure, CRY_X509_VALIDATOR_FAILURE, "failure", failure.get() );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureReason( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureTime( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureHasOpensslError( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureOpensslError( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureOpensslErrorString( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureDepth( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureHasCertificate( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureCertificate( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureHasCertificateSans( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureCertificateSans( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureHasWantedSans( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureWantedSans( nullptr ) );
    EXPECT_ABORT( failureFile, "failure", cryX509ValidatorFailureStore( nullptr ) );
}
