#include "x509/cry_x509_known_certificates.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <openssl_module/internal/openssl_module.h>

#include "support/certificates.hpp"
#include "support/text.hpp"
#include "x509/cry_x509_certificate.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <thread>

using namespace support;

namespace
{

using Certificate  = pb::Ref<CRY_X509_CERTIFICATE>;
using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;

Certificate fresh( const Cert &cert ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( cert ) ).get() ) ); }

Certificates verifyOnce( const Certificate &leaf, const Certificates &extra, const Certificates &trusted )
{
    return pb::adopt( cry___X509CertificateChainTryVerifyCertificate( leaf.get(), extra.get(), trusted.get(), support::time( leafTime ).get() ) );
}

// Twice, since an intermediate is kept only if it comes again.
Certificates verify( const Certificate &leaf, const Certificates &extra, const Certificates &trusted )
{
    verifyOnce( leaf, extra, trusted );
    return verifyOnce( leaf, extra, trusted );
}

X509 *handle( const Certificate &cert ) { return cry___X509CertificatePeekOpensslX509( cert.get() ); }

class CryX509KnownCertificates : public testing::Test
{
public:
    void SetUp() override
    {
        before = openssl___SetShortcutsUsed( PB_TRUE );
        cry::x509::forgetKnown();
    }
    void TearDown() override
    {
        cry::x509::forgetKnown();
        openssl___SetShortcutsUsed( before );
    }

private:
    PB_BOOL before;
};

}

TEST_F( CryX509KnownCertificates, TheIntermediateOfAChainThatVerifiedIsSharedBehindNewObjects )
{
    Chain        chain   = chainOf( KeyKind::rsa );
    Certificates trusted = certificates( { fresh( chain.root ) } );
    Certificate  first   = fresh( chain.intermediate );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { first } ), trusted ) );
    EXPECT_EQ( cry::x509::countKnown(), 1 );
    Certificate second = fresh( chain.intermediate );
    EXPECT_NE( second.get(), first.get() );
    EXPECT_EQ( handle( second ), handle( first ) );
    // The objects of a chain are those that were given.
    Certificates verified = verify( fresh( chain.leaf ), certificates( { second } ), trusted );
    ASSERT_TRUE( verified );
    EXPECT_EQ( members( verified.get() )[1].get(), second.get() );
    EXPECT_EQ( cry::x509::countKnown(), 1 );
    // Neither leaves nor roots are kept.
    EXPECT_NE( handle( fresh( chain.leaf ) ), handle( fresh( chain.leaf ) ) );
    EXPECT_NE( handle( fresh( chain.root ) ), handle( fresh( chain.root ) ) );
}

TEST_F( CryX509KnownCertificates, AnIntermediateThatCameOnceIsNotKept )
{
    Chain        chain   = chainOf( KeyKind::rsa );
    Certificates trusted = certificates( { fresh( chain.root ) } );
    for( int kept : { 0, 1, 1 } )
    {
        Certificates extra = certificates( { fresh( chain.intermediate ) } );
        Certificate  leaf  = fresh( chain.leaf );
        ASSERT_TRUE( verifyOnce( leaf, extra, trusted ) );
        EXPECT_EQ( cry::x509::countKnown(), kept );
    }
}

TEST_F( CryX509KnownCertificates, AnIntermediateThatIsTrustedTooIsTheTrustedObject )
{
    Chain chain = chainOf( KeyKind::rsa );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { fresh( chain.intermediate ) } ), certificates( { fresh( chain.root ) } ) ) );
    Certificate extra = fresh( chain.intermediate ), trusted = fresh( chain.intermediate );
    ASSERT_EQ( handle( extra ), handle( trusted ) );
    Certificates verified = verify( fresh( chain.leaf ), certificates( { extra } ), certificates( { trusted } ) );
    ASSERT_TRUE( verified );
    EXPECT_EQ( members( verified.get() )[1].get(), trusted.get() );
}

TEST_F( CryX509KnownCertificates, NothingIsKeptOfAChainThatDoesNotVerify )
{
    Chain        chain    = chainOf( KeyKind::rsa );
    Certificates trusted  = certificates( { fresh( chain.root ) } );
    std::string  tampered = der( chain.leaf );
    tampered.back()       = (char)( tampered.back() ^ 1 );
    Certificate leaf      = pb::adopt( cryX509CertificateTryCreateFromDer( buf( tampered ).get() ) );
    ASSERT_TRUE( leaf );
    EXPECT_FALSE( verify( leaf, certificates( { fresh( chain.intermediate ) } ), trusted ) );
    EXPECT_FALSE( verify( fresh( chain.leaf ), certificates( { fresh( chain.intermediate ) } ), certificates( {} ) ) );
    EXPECT_EQ( cry::x509::countKnown(), 0 );
    ERR_clear_error();
}

TEST_F( CryX509KnownCertificates, OpensslsCertificateFromSomewhereElseIsNotKept )
{
    Chain       chain        = chainOf( KeyKind::rsa );
    Certificate intermediate = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( chain.intermediate.get() ) );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { intermediate } ), certificates( { fresh( chain.root ) } ) ) );
    EXPECT_EQ( cry::x509::countKnown(), 0 );
}

TEST_F( CryX509KnownCertificates, SensitiveDataIsNotKept )
{
    Chain              chain = chainOf( KeyKind::rsa );
    pb::Ref<PB_BUFFER> data  = buf( der( chain.intermediate ) );
    pbBufferSetSensitive( data.handle() );
    Certificate intermediate = pb::adopt( cryX509CertificateTryCreateFromDer( data.get() ) );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { intermediate } ), certificates( { fresh( chain.root ) } ) ) );
    EXPECT_EQ( cry::x509::countKnown(), 0 );
}

TEST_F( CryX509KnownCertificates, WithoutShortcutsNothingIsKeptOrShared )
{
    Chain        chain   = chainOf( KeyKind::rsa );
    Certificates trusted = certificates( { fresh( chain.root ) } );
    openssl___SetShortcutsUsed( PB_FALSE );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { fresh( chain.intermediate ) } ), trusted ) );
    EXPECT_EQ( cry::x509::countKnown(), 0 );
    openssl___SetShortcutsUsed( PB_TRUE );
    Certificate deferred = fresh( chain.intermediate );
    ASSERT_TRUE( verify( fresh( chain.leaf ), certificates( { fresh( chain.intermediate ) } ), trusted ) );
    EXPECT_EQ( cry::x509::countKnown(), 1 );
    openssl___SetShortcutsUsed( PB_FALSE );
    EXPECT_NE( handle( deferred ), handle( fresh( chain.intermediate ) ) );
}

TEST_F( CryX509KnownCertificates, AFloodOfValidIntermediatesDrivesOutNoneThatComesOften )
{
    Pkey rootKey = key( KeyKind::p256, 0 ), middleKey = key( KeyKind::p256, 1 );
    Cert root   = makeCertificate( { .subject = "CN=Flood", .subjectKey = rootKey, .extensions = { { "basicConstraints", "critical,CA:TRUE" } } } );
    auto middle = [&]( int number ) {
        return makeCertificate( { .subject = "CN=Middle",
            .subjectKey                    = middleKey,
            .issuer                        = root,
            .issuerKey                     = rootKey,
            .serial                        = std::to_string( number + 2 ),
            .extensions                    = { { "basicConstraints", "critical,CA:TRUE" } } } );
    };
    Cert         often = middle( 100000 );
    Cert         leaf  = makeCertificate( { .subject = "CN=Leaf", .subjectKey = key( KeyKind::p256, 2 ), .issuer = often, .issuerKey = middleKey } );
    Certificates trusted = certificates( { fresh( root ) } );
    int          lost    = 0;
    X509        *kept    = nullptr;
    for( int number = 0; number < 3 * (int)cry::x509::mostKnown; number++ )
    {
        if( number % 16 == 0 )
        {
            Certificate again = fresh( often );
            lost += kept && handle( again ) != kept;
            ASSERT_TRUE( verify( fresh( leaf ), certificates( { again } ), trusted ) );
            kept = handle( again );
        }
        ASSERT_TRUE( verify( fresh( leaf ), certificates( { fresh( middle( number ) ) } ), trusted ) );
        ASSERT_LE( cry::x509::countKnown(), cry::x509::mostKnown );
    }
    EXPECT_GT( cry::x509::countKnown(), cry::x509::mostKnown / 2 );
    // The hash of this process decides; in the worst case a set gets several within one round.
    EXPECT_LE( lost, 2 );
}

TEST_F( CryX509KnownCertificates, ManyThreadsShareOneIntermediate )
{
    Chain                    chain   = chainOf( KeyKind::p256 );
    Certificates             trusted = certificates( { fresh( chain.root ) } );
    std::vector<std::thread> threads;
    std::atomic<int>         good = 0;
    for( int thread = 0; thread < 4; thread++ )
        threads.emplace_back( [&, thread] {
            for( int round = 0; round < 50; round++ )
            {
                good += (bool)verify( fresh( chain.leaf ), certificates( { fresh( chain.intermediate ) } ), trusted );
                if( thread == 0 && round % 10 == 9 )
                    cry::x509::forgetKnown();
            }
        } );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 200 );
}
