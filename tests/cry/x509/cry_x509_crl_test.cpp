// Only the differences from other types with a canonical PEM. All other tests are in
// pem_object_test.cpp.
#include "cry/common/pem_object_suite.hpp"

#include <algorithm>
#include <atomic>
#include <openssl/err.h>
#include <random>
#include <thread>

using namespace support;

namespace
{

bool isRevoked( const Crl &crl, const std::string &serial ) { return cryX509CrlRevokedBySerial( crl.get(), number( serial ).get() ); }

pb::Ref<PB_DICT> serialsOf( const Crl &crl ) { return pb::adopt( cryX509CrlRevokedSerials( crl.get() ) ); }

bool isInDict( const Crl &crl, const std::string &serial ) { return pbDictHasObjKey( serialsOf( crl ).get(), number( serial ).obj() ); }

std::vector<std::string> decimals( const pb::Ref<PB_DICT> &dict )
{
    std::vector<std::string> list;
    pb::Ref<PB_VECTOR>       keys = pb::adopt( pbDictKeysVector( dict.get() ) );
    for( PB_INT index = 0; index < pbVectorLength( keys.get() ); index++ )
        list.push_back( text( pb::adopt( bnIntToString( bnIntFrom( pb___VectorPeekObjAt( keys.get(), index ) ) ) ) ) );
    return list;
}

using Decimals = std::vector<std::string>;

pb::Ref<CRY_X509_CERTIFICATE> certificateOf( const std::string &serial )
{
    return certificate( makeCertificate( { .subject = "CN=somebody", .subjectKey = key( KeyKind::ed25519 ), .serial = serial } ) );
}

bool isRevoked( const Crl &crl, const pb::Ref<CRY_X509_CERTIFICATE> &cert ) { return cryX509CrlRevokedByCertificate( crl.get(), cert.get() ); }

std::string decimalOf( const std::string &bytes, bool negative = false )
{
    BIGNUM *number = BN_bin2bn( (const unsigned char *)bytes.data(), (int)bytes.size(), nullptr );
    BN_set_negative( number, negative );
    char       *text = BN_bn2dec( number );
    std::string out  = text;
    OPENSSL_free( text );
    BN_free( number );
    return out;
}

Crl used( X509_CRL *crl )
{
    Crl made = pb::adopt( cry___X509CrlTryCreateFromOpensslX509CrlUse( crl ) );
    EXPECT_TRUE( made );
    return made;
}

std::string issuer( const Crl &crl ) { return text( pb::adopt( cryX509CrlIssuer( crl.get() ) ) ); }

std::string timeText( PB_TIME *( *get )(CRY_X509_CRL *), const Crl &crl )
{
    pb::Ref<PB_TIME> time = pb::adopt( get( crl.get() ) );
    return time ? text( pb::adopt( pbTimeToString( time.get() ) ) ) : "(none)";
}

}

TEST( CryX509Crl, TellsWhatIsOnTheList )
{
    // Both sides of each length, and both signs.
    const Decimals listed = { "0", "1", "-1", "127", "-128", "128", "255", "-256", "65536", "9223372036854775807", "9223372036854775808",
        "18446744073709551616", "-18446744073709551616", "340282366920938463463374607431768211456",
        "1461501637330902918203684832716283019655932542975" };
    Crl            crl    = support::crl( { .serials = listed } );
    for( const std::string &serial : listed )
    {
        EXPECT_TRUE( isRevoked( crl, serial ) ) << serial;
        EXPECT_TRUE( isInDict( crl, serial ) ) << serial;
    }
    for( const char *serial : { "2", "-2", "-127", "-255", "256", "-1000", "-9223372036854775807", "9223372036854775809", "18446744073709551615",
             "-18446744073709551615", "340282366920938463463374607431768211455", "-340282366920938463463374607431768211456",
             "1461501637330902918203684832716283019655932542976", "-1461501637330902918203684832716283019655932542975" } )
    {
        EXPECT_FALSE( isRevoked( crl, serial ) ) << serial;
        EXPECT_FALSE( isInDict( crl, serial ) ) << serial;
    }
    EXPECT_EQ( pbDictLength( serialsOf( crl ).get() ), (PB_INT)listed.size() );
}

TEST( CryX509Crl, AListWithoutEntriesGivesAnEmptyDictionary )
{
    Crl crl = support::crl( CrlFields{} );
    ASSERT_TRUE( serialsOf( crl ) );
    EXPECT_EQ( pbDictLength( serialsOf( crl ).get() ), 0 );
    EXPECT_FALSE( isRevoked( crl, "0" ) );
    EXPECT_FALSE( isRevoked( crl, certificateOf( "1" ) ) );
}

TEST( CryX509Crl, TheDictionaryHoldsEachNumberOnceAsKeyAndAsValue )
{
    Crl              crl  = support::crl( { .serials = { "3", "-1", "3", "2", "3", "-1" } } );
    pb::Ref<PB_DICT> dict = serialsOf( crl );
    EXPECT_EQ( decimals( dict ), ( Decimals{ "-1", "2", "3" } ) );
    pb::Ref<PB_VECTOR> keys = pb::adopt( pbDictKeysVector( dict.get() ) ), values = pb::adopt( pbDictValuesVector( dict.get() ) );
    for( PB_INT index = 0; index < 3; index++ )
        EXPECT_EQ( pb___VectorPeekObjAt( keys.get(), index ), pb___VectorPeekObjAt( values.get(), index ) );
    // It is made once; an edit by a caller is not seen by others.
    EXPECT_EQ( serialsOf( crl ).get(), dict.get() );
    pbDictClear( dict.handle() );
    EXPECT_EQ( pbDictLength( serialsOf( crl ).get() ), 3 );
}

TEST( CryX509Crl, LongNumbersAreComparedToTheLastByte )
{
    // Each length around those of the parts that are compared first; the last or the first byte
    // differs.
    Decimals listed, others;
    for( size_t length : { 1u, 7u, 8u, 9u, 15u, 16u, 17u, 19u, 20u, 21u, 22u, 64u, 65u, 1000u } )
    {
        std::string bytes( length, '\x55' );
        listed.push_back( decimalOf( bytes ) );
        others.push_back( decimalOf( bytes, true ) );
        bytes.back() = '\x56';
        listed.push_back( decimalOf( bytes ) );
        bytes.back() = '\x57';
        others.push_back( decimalOf( bytes ) );
        bytes.back() = '\x55';
        bytes.front() ^= 1;
        if( length > 1 )
            others.push_back( decimalOf( bytes ) );
        bytes.front() ^= 1;
        bytes[length / 2] ^= 4;
        others.push_back( decimalOf( bytes ) );
    }
    Crl crl = support::crl( { .serials = listed } );
    for( const std::string &serial : listed )
        EXPECT_TRUE( isRevoked( crl, serial ) && isInDict( crl, serial ) ) << serial;
    for( const std::string &serial : others )
        EXPECT_FALSE( isRevoked( crl, serial ) || isInDict( crl, serial ) ) << serial;
    EXPECT_EQ( pbDictLength( serialsOf( crl ).get() ), (PB_INT)listed.size() );
}

TEST( CryX509Crl, TheAnswersAreThoseOfTheDictionary )
{
    // Short numbers, so that many of them are on the list.
    std::mt19937 random( 1 );
    auto         any = [&] { return std::to_string( (int)( random() % 4000 ) - 2000 ); };
    Decimals     listed;
    for( int count = 0; count < 2000; count++ )
        listed.push_back( any() );
    Crl crl = support::crl( { .serials = listed } );
    for( int count = 0; count < 4000; count++ )
    {
        std::string serial = any();
        EXPECT_EQ( isRevoked( crl, serial ), isInDict( crl, serial ) ) << serial;
        EXPECT_EQ( isRevoked( crl, serial ), std::ranges::count( listed, serial ) > 0 ) << serial;
    }
}

TEST( CryX509Crl, NumbersThatOpensslWouldNotReadCountByTheirValue )
{
    X509_CRL     *made    = newCrl( {} );
    ASN1_INTEGER *integer = ASN1_INTEGER_new();
    EXPECT_EQ( ASN1_STRING_set( integer, "\0\0\x07", 3 ), 1 );
    addEntry( made, integer );
    integer->type = V_ASN1_NEG_INTEGER;
    EXPECT_EQ( ASN1_STRING_set( integer, "\0", 1 ), 1 );
    addEntry( made, integer );
    // This one has no value.
    integer->type = V_ASN1_ENUMERATED;
    EXPECT_EQ( ASN1_STRING_set( integer, "\x09", 1 ), 1 );
    addEntry( made, integer );
    ASN1_INTEGER_free( integer );
    signCrl( made, key( KeyKind::p256 ).get() );
    Crl crl = used( made );
    EXPECT_TRUE( isRevoked( crl, "7" ) );
    EXPECT_TRUE( isRevoked( crl, "0" ) );
    EXPECT_FALSE( isRevoked( crl, "9" ) );
    EXPECT_EQ( decimals( serialsOf( crl ) ), ( Decimals{ "0", "7" } ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
}

TEST( CryX509Crl, ACertificateIsRevokedOnlyAfterTheSetWasMade )
{
    pb::Ref<CRY_X509_CERTIFICATE>            listed = certificateOf( "5" ), negative = certificateOf( "-5" ), other = certificateOf( "6" );
    const std::function<void( const Crl & )> makers[] = { []( const Crl &crl ) { serialsOf( crl ); },
        []( const Crl &crl ) { isRevoked( crl, "100" ); } };
    for( const auto &make : makers )
    {
        Crl crl = support::crl( { .serials = { "7", "5", "-5" } } ), second = used( X509_CRL_dup( cry___X509CrlPeekOpensslX509Crl( crl.get() ) ) );
        EXPECT_FALSE( isRevoked( crl, listed ) );
        EXPECT_FALSE( isRevoked( crl, listed ) ) << "asking for a certificate does not make the set";
        make( crl );
        EXPECT_TRUE( isRevoked( crl, listed ) ) << "whoever issued it";
        EXPECT_TRUE( isRevoked( crl, negative ) );
        EXPECT_FALSE( isRevoked( crl, other ) );
        EXPECT_FALSE( isRevoked( second, listed ) ) << "each object has a set of its own";
    }
}

TEST( CryX509Crl, ReadingDoesNotSortTheEntries )
{
    Crl         crl    = support::crl( { .serials = { "9", "1", "5" } } );
    X509_CRL   *held   = cry___X509CrlPeekOpensslX509Crl( crl.get() );
    std::string before = der( held );
    EXPECT_TRUE( isRevoked( crl, "5" ) );
    EXPECT_EQ( decimals( serialsOf( crl ) ), ( Decimals{ "1", "5", "9" } ) );
    std::vector<long> order;
    for( int index = 0; index < 3; index++ )
        order.push_back( ASN1_INTEGER_get( X509_REVOKED_get0_serialNumber( sk_X509_REVOKED_value( X509_CRL_get_REVOKED( held ), index ) ) ) );
    EXPECT_EQ( order, ( std::vector<long>{ 9, 1, 5 } ) );
    EXPECT_EQ( der( held ), before );
}

TEST( CryX509Crl, GivesTheIssuerAndTheTimes )
{
    Crl crl = support::crl( { .issuer = "O=A, B", .lastUpdate = "20240102030405Z", .nextUpdate = "20510203040506Z" } );
    EXPECT_EQ( issuer( crl ), "O=\"A, B\"" );
    EXPECT_EQ( timeText( cryX509CrlLastUpdate, crl ), text( pb::adopt( pbTimeToString( support::time( "2024-01-02T03:04:05Z" ).get() ) ) ) );
    EXPECT_EQ( timeText( cryX509CrlNextUpdate, crl ), text( pb::adopt( pbTimeToString( support::time( "2051-02-03T04:05:06Z" ).get() ) ) ) );
    EXPECT_EQ( timeText( cryX509CrlNextUpdate, support::crl( { .nextUpdate = "" } ) ), "(none)" );
}

TEST( CryX509Crl, GivesNoTimeIfItIsNotValid )
{
    std::string plain = der( makeCrl( { .lastUpdate = "20240102030405Z", .nextUpdate = "20240203040506Z" } ) );
    for( std::string_view valid : { "240102030405Z", "240203040506Z" } )
    {
        ASSERT_NE( plain.find( valid ), plain.npos );
        plain.replace( plain.find( valid ) + 2, 2, "13" );
    }
    Crl crl = pb::adopt( cryX509CrlTryCreateFromPem( pem( "X509 CRL", plain ).get() ) );
    ASSERT_TRUE( crl );
    EXPECT_EQ( timeText( cryX509CrlLastUpdate, crl ), "(none)" );
    EXPECT_EQ( timeText( cryX509CrlNextUpdate, crl ), "(none)" );
}

TEST( CryX509Crl, AWrongSignatureIsNotLookedAt )
{
    std::string plain = der( makeCrl( { .serials = { "5" } } ) );
    plain.back() ^= 1;
    EXPECT_TRUE( PemObjects<CrlType>::isTaken( { "X509 CRL", plain }, "wrong signature" ) );
}

TEST( CryX509Crl, AnExtensionThatDoesNotDecodeLeavesNoErrors )
{
    OpensslCrl plain = makeCrl( { .serials = { "5" }, .extensions = { { "2.5.29.28", "DER:04:01:00" } } } );
    ASSERT_TRUE( plain );
    EXPECT_NE( ERR_peek_error(), 0u ) << "OpenSSL tried to decode it";
    takeErrors();
    Crl copy = support::crl( plain );
    Crl read = pb::adopt( cryX509CrlTryCreateFromPem( pem( "X509 CRL", der( plain ) ).get() ) );
    EXPECT_TRUE( cryX509CrlEquals( copy.get(), read.get() ) );
    EXPECT_TRUE( isRevoked( read, "5" ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
}

TEST( CryX509Crl, ManyThreadsMayAskOneForTheFirstTime )
{
    Decimals listed;
    for( int serial = 0; serial < 500; serial++ )
        listed.push_back( std::to_string( serial * 3 ) );
    const OpensslCrl                    plain = makeCrl( { .serials = listed } );
    const pb::Ref<CRY_X509_CERTIFICATE> cert  = certificateOf( "3" );
    const pb::Ref<BN_INT>               on = number( "999" ), off = number( "1000" );
    for( int round = 0; round < 10; round++ )
    {
        const Crl                crl   = support::crl( plain );
        std::atomic<int>         ready = 0, good = 0;
        std::vector<PB_DICT *>   seen( 8 );
        std::vector<std::thread> threads;
        for( int thread = 0; thread < 8; thread++ )
        {
            threads.emplace_back( [&, thread] {
                Crl own = crl;
                ready++;
                while( ready < 8 )
                    std::this_thread::yield();
                // If another thread made the set, the certificate is revoked already.
                cryX509CrlRevokedByCertificate( own.get(), cert.get() );
                if( thread % 2 )
                    seen[(size_t)thread] = serialsOf( own ).get();
                bool right           = cryX509CrlRevokedBySerial( own.get(), on.get() ) && !cryX509CrlRevokedBySerial( own.get(), off.get() );
                right                = right && cryX509CrlRevokedByCertificate( own.get(), cert.get() );
                seen[(size_t)thread] = serialsOf( own ).get();
                good += right && pbDictLength( seen[(size_t)thread] ) == 500;
            } );
        }
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( good, 8 );
        EXPECT_EQ( std::ranges::count( seen, seen[0] ), 8 ) << "all have the same dictionary";
    }
}
