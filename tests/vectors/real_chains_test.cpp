// Certificates of real sites under the authorities that issued them.
#include <cry/cry_x509_certificates.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "support/certificates.hpp"
#include "support/files.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// The only certificate in a file of the package. Null if the package is not installed.
pb::Ref<CRY_X509_CERTIFICATE> installed( const char *name )
{
    for( const fs::path &file : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( file.parent_path().filename() != "x509" || file.filename() != name )
            continue;
        pb::Ref<CRY_PEM>              block = pb::adopt( cryPemTryDecode( buf( support::read( file ) ).get() ) );
        pb::Ref<CRY_X509_CERTIFICATE> cert  = pb::adopt( block ? cryX509CertificateTryCreateFromPem( block.get() ) : nullptr );
        EXPECT_TRUE( cert ) << file;
        return cert;
    }
    return {};
}

struct Site
{
    const char *leaf;
    const char *authority;
    const char *good;
    const char *bad[2];
};

const Site sites[] = {
    { "cryptography.io.pem", "rapidssl_sha256_ca_g3.pem", "2015-01-01T00:00:00Z", { "2014-01-01T00:00:00Z", "2020-01-01T00:00:00Z" } },
    { "cryptography-scts.pem", "letsencryptx3.pem", "2018-10-01T00:00:00Z", { "2018-01-01T00:00:00Z", "2019-10-01T00:00:00Z" } },
};

using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;

Certificates verify( const pb::Ref<CRY_X509_CERTIFICATE> &leaf, const Certificates &extra, const Certificates &trusted, const char *tm )
{
    return pb::adopt( cry___X509CertificateChainTryVerifyCertificate( leaf.get(), extra.get(), trusted.get(), support::time( tm ).get() ) );
}

}

TEST( RealChains, VerifyUnderTheirAuthorityWhileTheyAreValid )
{
    for( const Site &site : sites )
    {
        pb::Ref<CRY_X509_CERTIFICATE> leaf      = installed( site.leaf );
        pb::Ref<CRY_X509_CERTIFICATE> authority = installed( site.authority );
        if( !leaf || !authority )
            GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
        Certificates chain = verify( leaf, {}, certificates( { authority } ), site.good );
        ASSERT_TRUE( chain ) << site.leaf;
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> list = members( chain.get() );
        ASSERT_EQ( list.size(), 2u ) << site.leaf;
        EXPECT_EQ( list[0].get(), leaf.get() ) << site.leaf;
        EXPECT_EQ( list[1].get(), authority.get() ) << site.leaf;
        for( const char *tm : site.bad )
            EXPECT_FALSE( verify( leaf, {}, certificates( { authority } ), tm ) ) << site.leaf << " " << tm;
    }
}

TEST( RealChains, DoNotVerifyUnderAnotherAuthority )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> leaves;
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> authorities;
    for( const Site &site : sites )
    {
        leaves.push_back( installed( site.leaf ) );
        authorities.push_back( installed( site.authority ) );
        if( !leaves.back() || !authorities.back() )
            GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
    }
    for( size_t index = 0; index < 2; index++ )
    {
        Certificates other = certificates( { authorities[1 - index] } );
        EXPECT_FALSE( verify( leaves[index], {}, other, sites[index].good ) );
        EXPECT_FALSE( verify( leaves[index], certificates( { authorities[index] } ), other, sites[index].good ) )
            << "an extra certificate is not trusted";
        EXPECT_FALSE( verify( leaves[index], {}, certificates( {} ), sites[index].good ) );
    }
    ERR_clear_error();
}
