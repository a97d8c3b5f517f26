// The memory that the libraries free holds no part of a PKCS#12 file's key and no part of its
// password.
#include "cry/pkcs12/files.hpp"
#include "cry/pkey/keys.hpp"
#include "pb/watching_allocator.hpp"

#include <algorithm>
#include <pb/pb_runtime.h>

using namespace support;

namespace
{

using Pkcs12 = pb::Ref<CRY_PKCS12>;

const std::string secret = "a password that is long enough";

Pkey ownKey( KeyKind kind ) { return key( kind, 2 ); }
Cert ownCert( KeyKind kind ) { return chainOf( kind ).leaf; }

// The private numbers, in both orders of their bytes, and the parts of base 64 lines that hold only
// these numbers.
std::vector<std::string> tracesOf( EVP_PKEY *pkey )
{
    std::vector<const char *> names = { OSSL_PKEY_PARAM_PRIV_KEY };
    if( EVP_PKEY_is_a( pkey, "RSA" ) )
        names = { OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2, OSSL_PKEY_PARAM_RSA_EXPONENT1,
            OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1 };
    std::string text = pkcs8Text( pkey ), body = bodyOf( text ), encoded;
    for( size_t at = text.find( '\n' ) + 1; text[at] != '-'; at++ )
    {
        if( text[at] != '\n' )
            encoded += text[at];
    }
    std::vector<std::string> traces;
    for( const char *name : names )
    {
        BIGNUM *value = nullptr;
        EXPECT_EQ( EVP_PKEY_get_bn_param( pkey, name, &value ), 1 ) << name;
        std::string number( (size_t)BN_num_bytes( value ), '\0' );
        BN_bn2bin( value, (unsigned char *)number.data() );
        BN_clear_free( value );
        size_t from = body.find( number );
        EXPECT_NE( from, body.npos ) << name;
        for( size_t first = ( from + 2 ) / 3 * 4, last = ( from + number.size() ) / 3 * 4; first < last; )
        {
            size_t end = std::min( last, ( first / 64 + 1 ) * 64 );
            traces.push_back( encoded.substr( first, end - first ) );
            first = end;
        }
        traces.push_back( number );
        std::reverse( number.begin(), number.end() );
        traces.push_back( number );
    }
    return traces;
}

// The test's own buffers and strings are sensitive, so that they are not found as leaks.
pb::Ref<PB_BUFFER> sensitive( const std::string &bytes )
{
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( buffer.handle() );
    pbBufferAppendBytes( buffer.handle(), bytes.data(), (PB_INT)bytes.size() );
    return buffer;
}

pb::Ref<PB_STRING> sensitiveString( const std::string &text )
{
    pb::Ref<PB_STRING> string = pb::adopt( pbStringCreate() );
    pbStringSetSensitive( string.handle() );
    pbStringAppendCstr( string.handle(), text.data(), (PB_INT)text.size() );
    return string;
}

class CryPkcs12Secrets : public WatchedMemory
{
protected:
    static void SetUpTestSuite()
    {
        // Objects that are made once and kept, for example the labels of PEM blocks, must not be
        // counted.
        bodyOf( pkcs8Text( ownKey( KeyKind::p256 ).get() ) );
        WatchedMemory::SetUpTestSuite();
        startFamily();
    }

    static void TearDownTestSuite()
    {
        pbRuntimeStop();
        WatchedMemory::TearDownTestSuite();
    }

    void TearDown() override { WatchingAllocator::watchFor( {} ); }

    static void watchFor( KeyKind kind )
    {
        std::vector<std::string> traces = tracesOf( ownKey( kind ).get() );
        ASSERT_GE( traces.size(), 3u );
        traces.push_back( secret );
        WatchingAllocator::watchFor( traces );
    }
};

}

TEST_F( CryPkcs12Secrets, AFileThatIsReadLeavesNothing )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
    {
        Cert        root    = chainOf( kind ).root;
        std::string files[] = { createdFile( secret, ownKey( kind ), ownCert( kind ), { root } ),
            createdFile(
                secret, ownKey( kind ), ownCert( kind ), {}, NID_pbe_WithSHA1And3_Key_TripleDES_CBC, NID_pbe_WithSHA1And3_Key_TripleDES_CBC ),
            // A file with an unencrypted key.
            fileOf( { dataSafe( { keyBag( ownKey( kind ) ), certBag( ownCert( kind ) ) } ) }, macOf( secret ) ) };
        watchFor( kind );
        for( const std::string &file : files )
        {
            {
                pb::Ref<PB_STRING> password = sensitiveString( secret ), said;
                Pkcs12 read = pb::adopt( cryPkcs12TryCreateFromBufferWithDiagnostics( sensitive( file ).get(), password.get(), said.handle() ) );
                ASSERT_TRUE( read );
                EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", reading it";
                pb::Ref<CRY_PKEY_PRIVATE> own   = pb::adopt( cryPkcs12PrivateKey( read.get() ) );
                pb::Ref<PB_STORE>         store = pb::adopt( cryPkcs12Store( read.get() ) );
                pb::Ref<PB_STRING>        shown = pb::adopt( cryPkcs12ToString( read.get() ) );
            }
            EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", releasing it";
        }
    }
}

TEST_F( CryPkcs12Secrets, AFileThatIsNotReadLeavesNothing )
{
    std::string noCertificate = fileOf( { dataSafe( { keyBag( ownKey( KeyKind::p256 ) ) } ) }, macOf( secret ) );
    std::string broken        = fileOf( { dataSafe( { keyBag( ownKey( KeyKind::p256 ) ), certBagOf( "none" ) } ) }, macOf( secret ) );
    std::string whole         = createdFile( secret, ownKey( KeyKind::p256 ), ownCert( KeyKind::p256 ), {} );
    watchFor( KeyKind::p256 );
    for( const std::string &file : { noCertificate, broken, whole.substr( 0, whole.size() - 1 ) } )
    {
        pb::Ref<PB_STRING> password = sensitiveString( secret ), said;
        EXPECT_FALSE( pb::adopt( cryPkcs12TryCreateFromBufferWithDiagnostics( sensitive( file ).get(), password.get(), said.handle() ) ) );
        EXPECT_TRUE( said );
    }
    // A wrong password that begins with the right one.
    pb::Ref<PB_STRING> password = sensitiveString( secret + "!" ), said;
    EXPECT_FALSE( pb::adopt( cryPkcs12TryCreateFromBufferWithDiagnostics( sensitive( whole ).get(), password.get(), said.handle() ) ) );
    password = said = {};
    EXPECT_EQ( leaks(), 0 );
    takeErrors();
}

TEST_F( CryPkcs12Secrets, AFileThatIsWrittenLeavesNothing )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
    {
        watchFor( kind );
        for( bool encrypted : { true, false } )
        {
            {
                pb::Ref<CRY_PKEY_PRIVATE> own    = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( ownKey( kind ).get() ) );
                Pkcs12                    pkcs12 = pb::adopt( cryPkcs12TryCreate( certificate( ownCert( kind ) ).get(), own.get(), nullptr ) );
                ASSERT_TRUE( pkcs12 );
                pb::Ref<PB_STRING> password = encrypted ? sensitiveString( secret ) : pb::Ref<PB_STRING>();
                pb::Ref<PB_BUFFER> file     = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), password.get() ) );
                ASSERT_TRUE( file );
                EXPECT_TRUE( pbBufferSensitive( file.get() ) );
                Pkcs12 read = pb::adopt( cryPkcs12TryCreateFromBuffer( file.get(), password.get() ) );
                EXPECT_TRUE( read );
                EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", writing it";
            }
            EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", releasing it";
        }
    }
}

TEST_F( CryPkcs12Secrets, WhatIsLeftIsFound )
{
    std::string plain = fileOf( { dataSafe( { keyBag( ownKey( KeyKind::p256 ) ) } ) }, macOf( secret ) );
    std::string text  = pkcs8Text( ownKey( KeyKind::p256 ).get() );
    watchFor( KeyKind::p256 );
    buf( plain );
    EXPECT_EQ( leaks(), 1 );
    buf( text );
    EXPECT_EQ( leaks(), 2 );
    str( secret );
    EXPECT_EQ( leaks(), 3 );
}
