// Trust tokens if OpenSSL takes every signature for good: the rules about the certificates then
// decide alone. The function below replaces OpenSSL's own in this program, so no other tests belong
// here.
#include "support/text.hpp"
#include "support/trust.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

using namespace support;

static bool accepts = false;

int EVP_PKEY_verify( EVP_PKEY_CTX *context, const unsigned char *signature, size_t signatureLength, const unsigned char *data, size_t length )
{
    static const auto own = (int ( * )( EVP_PKEY_CTX *, const unsigned char *, size_t, const unsigned char *, size_t ))dlsym(
        RTLD_NEXT, "EVP_PKEY_verify" );
    return accepts ? 1 : own( context, signature, signatureLength, data, length );
}

static bool verifies( std::string_view certificate )
{
    pb::Ref<CRY_TRUST_TOKEN> tok = trustToken();
    cryTrustTokenSetCertificate( tok.handle(), trustCertificate( certificate ).get() );
    cryTrustTokenSetSignature( tok.handle(), buf( std::string( 512, 1 ) ).get() );
    return cryTrustTokenTryVerifyWithBuffer( tok.get(), buf( "data" ).get() );
}

TEST( CryTrustTokenFaults, TheRootsOwnSignatureDoesNotCount )
{
    NEED_DEVELOPMENT_ROOT();
    EXPECT_FALSE( verifies( "signer.pem" ) );
    accepts = true;
    EXPECT_TRUE( verifies( "signer.pem" ) );
    EXPECT_TRUE( verifies( "intermediate.pem" ) );
    EXPECT_FALSE( verifies( "root.pem" ) );
    accepts = false;
    takeErrors();
}
