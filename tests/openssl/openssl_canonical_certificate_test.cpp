#include "support/canonical.hpp"
#include "support/der_tree.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>

using namespace support;

namespace
{

std::string sequence( std::string_view content ) { return element( 0x30, content ); }
std::string oid( std::string_view hexadecimal ) { return element( 0x06, unhex( hexadecimal ) ); }
std::string bits( std::string_view hexadecimal ) { return element( 0x03, unhex( hexadecimal ) ); }

// A name of one attribute.
std::string nameWith( const std::string &type, const std::string &value ) { return sequence( element( 0x31, sequence( type + value ) ) ); }
std::string nameOf( unsigned char tag, std::string_view text ) { return nameWith( oid( "550403" ), element( tag, text ) ); }

std::string validityOf( unsigned char tag, std::string_view time ) { return sequence( element( tag, time ) + element( tag, time ) ); }

std::string algorithmWith( const std::string &parameters ) { return sequence( oid( "2a8648ce380403" ) + parameters ); }

std::string keyOf( const std::string &algorithm, const std::string &key ) { return sequence( algorithm + key ); }

std::string extensionOf( const std::string &type, const std::string &critical, const std::string &value )
{
    return sequence( type + critical + value );
}
std::string extensionsOf( const std::string &extension ) { return element( 0xA3, sequence( extension ) ); }

// The key does not decode; a certificate is parsed nevertheless.
struct Certificate
{
    std::string version    = element( 0xA0, unhex( "020102" ) );
    std::string serial     = unhex( "020101" );
    std::string inner      = algorithmWith( "" );
    std::string issuer     = nameOf( 0x13, "issuer" );
    std::string validity   = validityOf( 0x17, "200101000000Z" );
    std::string subject    = nameOf( 0x0C, "subject" );
    std::string key        = keyOf( algorithmWith( "" ), bits( "000102" ) );
    std::string extensions = extensionsOf( extensionOf( oid( "551d13" ), "", element( 0x04, unhex( "3000" ) ) ) );
    std::string outer      = algorithmWith( "" );
    std::string signature  = bits( "000102" );
    std::string afterTbs   = "";

    std::string tbs() const { return version + serial + inner + issuer + validity + subject + key + extensions; }
    std::string der() const { return sequence( sequence( tbs() ) + afterTbs + outer + signature ); }
};

using Part = std::string Certificate::*;

std::string with( Part part, const std::string &value )
{
    Certificate certificate;
    certificate.*part = value;
    return certificate.der();
}

void expectAccepted( const std::string &der )
{
    EXPECT_TRUE( isCanonicalCertificate( der ) ) << hex( der );
    EXPECT_EQ( problemOfCertificate( der ), "" ) << hex( der );
}

void expectRefused( const std::string &der )
{
    EXPECT_FALSE( isCanonicalCertificate( der ) ) << hex( der );
    EXPECT_EQ( ERR_peek_error(), 0u );
}

void expectPart( Part part, const std::vector<std::string> &accepted, const std::vector<std::string> &refused )
{
    for( const std::string &each : accepted )
        expectAccepted( with( part, each ) );
    for( const std::string &each : refused )
        expectRefused( with( part, each ) );
}

std::string longLength( unsigned char tag, const std::string &content, int extra )
{
    return std::string( 1, (char)tag ) + lengthOf( content.size(), extra ) + content;
}

}

TEST( OpensslCanonicalCertificate, AcceptsAUsualCertificate ) { expectAccepted( Certificate().der() ); }

TEST( OpensslCanonicalCertificate, TakesTheVersionsTwoAndThreeOrNone )
{
    expectPart( &Certificate::version, { element( 0xA0, unhex( "020101" ) ), "" },
        { element( 0xA0, unhex( "020100" ) ), element( 0xA0, unhex( "020103" ) ), element( 0xA0, unhex( "02020002" ) ), element( 0xA0, "" ),
            element( 0xA0, unhex( "0201020500" ) ), element( 0x80, unhex( "02" ) ) } );
}

TEST( OpensslCanonicalCertificate, TakesSerialNumbersInFewestBytes )
{
    expectPart( &Certificate::serial,
        { unhex( "020100" ), unhex( "020180" ), unhex( "02020080" ), unhex( "0202ff00" ), element( 0x02, std::string( 30, '\x7f' ) ) },
        { unhex( "0200" ), unhex( "0202007f" ), unhex( "0202ff80" ), unhex( "0a0101" ), unhex( "" ) } );
}

TEST( OpensslCanonicalCertificate, TakesAlgorithmsWithUsualParameters )
{
    const std::vector<std::string> accepted = { algorithmWith( "" ), algorithmWith( unhex( "0500" ) ), algorithmWith( oid( "2a8648ce3d030107" ) ),
        algorithmWith( sequence( unhex( "020101" ) ) ), algorithmWith( sequence( "" ) ) };
    const std::vector<std::string> refused  = { sequence( "" ), algorithmWith( unhex( "050100" ) ), algorithmWith( oid( "" ) ),
         algorithmWith( oid( "2a80" ) ), algorithmWith( unhex( "05000500" ) ), algorithmWith( unhex( "020101" ) ), algorithmWith( unhex( "8000" ) ),
         algorithmWith( unhex( "3080" ) + std::string( 2, '\0' ) ), algorithmWith( oid( "2a03" ) + unhex( "0500" ) ), unhex( "3000" ) };
    expectPart( &Certificate::inner, accepted, refused );
    expectPart( &Certificate::outer, accepted, refused );
}

TEST( OpensslCanonicalCertificate, TakesWellFormedObjectIdentifiers )
{
    const std::vector<std::string> accepted = { oid( "2a" ), oid( "2a8101" ), oid( "2a818001" ), element( 0x06, std::string( 64, '\x2a' ) ) };
    const std::vector<std::string> refused  = { oid( "" ), oid( "80" ), oid( "8001" ), oid( "2a8001" ), oid( "2a81" ), oid( "2a018001" ),
         element( 0x06, std::string( 65, '\x2a' ) ), element( 0x26, unhex( "2a03" ) ) };
    for( bool good : { true, false } )
    {
        for( const std::string &each : good ? accepted : refused )
        {
            for( const std::string &der : { with( &Certificate::inner, sequence( each ) ), with( &Certificate::outer, sequence( each ) ),
                     with( &Certificate::key, keyOf( sequence( each ), bits( "000102" ) ) ),
                     with( &Certificate::issuer, nameWith( each, element( 0x13, "x" ) ) ),
                     with( &Certificate::extensions, extensionsOf( extensionOf( each, "", element( 0x04, "" ) ) ) ) } )
                good ? expectAccepted( der ) : expectRefused( der );
        }
    }
}

TEST( OpensslCanonicalCertificate, TakesNamesOfUsualTexts )
{
    const std::string        attribute = sequence( oid( "550403" ) + element( 0x13, "x" ) );
    std::vector<std::string> accepted  = { sequence( "" ), sequence( element( 0x31, attribute + attribute ) ),
         sequence( element( 0x31, attribute ) + element( 0x31, attribute ) ), nameOf( 0x13, "a*\xff" ), nameOf( 0x12, "a" ), nameOf( 0x14, "\xe4" ),
         nameOf( 0x16, "a@b\xff" ), nameOf( 0x0C, "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80" ), nameOf( 0x1E, unhex( "00610000" ) ), nameOf( 0x13, " " ),
         nameOf( 0x13, std::string( 300, 'x' ) ) };
    std::vector<std::string> refused   = { nameOf( 0x0C, "\xc0\x80" ), nameOf( 0x0C, "\xed\xa0\x80" ), nameOf( 0x0C, "\xf4\x90\x80\x80" ),
          nameOf( 0x0C, "\x80" ), nameOf( 0x0C, "a\xc3" ), nameOf( 0x1E, "abc" ), nameOf( 0x1E, unhex( "d800" ) ),
          nameOf( 0x1C, std::string( 4, '\0' ) ), nameOf( 0x1A, "x" ), nameOf( 0x1B, "x" ), nameOf( 0x04, "x" ), nameOf( 0x02, "x" ),
          nameOf( 0x33, "x" ), nameOf( 0x13, "" ), nameOf( 0x0C, "" ), nameOf( 0x1E, "" ), sequence( element( 0x31, "" ) ), sequence( attribute ),
          sequence( element( 0x31, sequence( "" ) ) ), sequence( element( 0x31, sequence( oid( "550403" ) ) ) ),
          nameWith( oid( "550403" ), element( 0x13, "x" ) + element( 0x13, "y" ) ), element( 0x31, "" ), "" };
    expectPart( &Certificate::issuer, accepted, refused );
    expectPart( &Certificate::subject, accepted, refused );
}

TEST( OpensslCanonicalCertificate, TakesTimesInUniversalTime )
{
    expectPart( &Certificate::validity, { validityOf( 0x18, "20200101000000Z" ), validityOf( 0x17, "999999999999Z" ) },
        { validityOf( 0x17, "2001010000Z" ), validityOf( 0x17, "200101000000+0100" ), validityOf( 0x17, "200101000000z" ),
            validityOf( 0x17, "20010100000aZ" ), validityOf( 0x17, "20010100000 Z" ), validityOf( 0x18, "20200101000000.5Z" ),
            validityOf( 0x18, "200101000000Z" ), validityOf( 0x17, "20200101000000Z" ), validityOf( 0x16, "200101000000Z" ),
            sequence( element( 0x17, "200101000000Z" ) ), sequence( "" ),
            sequence( element( 0x17, "200101000000Z" ) + element( 0x17, "200101000000Z" ) + unhex( "0500" ) ) } );
}

TEST( OpensslCanonicalCertificate, TakesKeysAndSignaturesOfWholeBytes )
{
    const std::vector<std::string> accepted = { bits( "0001" ), bits( "00ff" ) },
                                   refused  = { bits( "00" ), bits( "" ), bits( "0102" ), bits( "0880" ), bits( "04f0" ),
                                        element( 0x23, bits( "0001" ) ), element( 0x04, unhex( "0001" ) ), "" };
    expectPart( &Certificate::signature, accepted, refused );
    for( const std::string &each : accepted )
        expectAccepted( with( &Certificate::key, keyOf( algorithmWith( "" ), each ) ) );
    for( const std::string &each : refused )
        expectRefused( with( &Certificate::key, keyOf( algorithmWith( "" ), each ) ) );
    expectRefused( with( &Certificate::key, keyOf( algorithmWith( "" ), bits( "0001" ) + unhex( "0500" ) ) ) );
    expectRefused( with( &Certificate::key, "" ) );
}

TEST( OpensslCanonicalCertificate, TakesExtensionsWithoutLookingIntoThem )
{
    const std::string type = oid( "551d13" ), critical = unhex( "0101ff" ), value = element( 0x04, "anything" );
    const std::string one = extensionOf( type, "", value );
    expectPart( &Certificate::extensions,
        { "", extensionsOf( extensionOf( type, critical, value ) ), extensionsOf( one + one ),
            extensionsOf( extensionOf( type, "", element( 0x04, "" ) ) ) },
        { extensionsOf( "" ), element( 0xA3, "" ), element( 0xA3, sequence( one ) + sequence( one ) ), sequence( one ), extensionsOf( "\x05" ),
            extensionsOf( extensionOf( type, unhex( "010100" ), value ) ), extensionsOf( extensionOf( type, unhex( "010101" ), value ) ),
            extensionsOf( extensionOf( type, unhex( "0100" ), value ) ), extensionsOf( extensionOf( type, unhex( "0102ffff" ), value ) ),
            extensionsOf( extensionOf( type, critical + critical, value ) ), extensionsOf( extensionOf( type, "", "" ) ),
            extensionsOf( extensionOf( type, "", value + value ) ), extensionsOf( extensionOf( type, "", element( 0x03, "x" ) ) ),
            extensionsOf( extensionOf( type, "", element( 0x24, value ) ) ), extensionsOf( extensionOf( "", "", value ) ),
            element( 0x81, unhex( "0001" ) ), element( 0x82, unhex( "0001" ) ) + extensionsOf( one ), extensionsOf( one ) + unhex( "0500" ) } );
}

TEST( OpensslCanonicalCertificate, TakesNothingAroundTheParts )
{
    const Certificate usual;
    const std::string der = usual.der();
    expectRefused( der + std::string( 1, '\0' ) );
    expectRefused( der + der );
    expectRefused( "" );
    for( size_t length = 1; length < der.size(); length++ )
        expectRefused( der.substr( 0, length ) );
    expectRefused( with( &Certificate::afterTbs, unhex( "0500" ) ) );
    expectRefused( with( &Certificate::signature, usual.signature + unhex( "0500" ) ) );
    expectRefused( element( 0x31, sequence( usual.tbs() ) + usual.outer + usual.signature ) );
    expectRefused( sequence( element( 0x31, usual.tbs() ) + usual.outer + usual.signature ) );
}

TEST( OpensslCanonicalCertificate, TakesLengthsInFewestBytes )
{
    const std::string attribute = sequence( oid( "550403" ) + element( 0x13, "x" ) );
    for( int extra : { 1, 2, 4 } )
    {
        const std::string text = longLength( 0x13, "x", extra );
        for( const std::string &name : { longLength( 0x30, element( 0x31, attribute ), extra ), sequence( longLength( 0x31, attribute, extra ) ),
                 nameWith( oid( "550403" ), text ), nameWith( longLength( 0x06, unhex( "550403" ), extra ), element( 0x13, "x" ) ) } )
            expectRefused( with( &Certificate::subject, name ) );
        expectRefused( longLength( 0x30, Certificate().der().substr( 3 ), extra ) );
    }
    // A length of one byte in the long form.
    expectRefused( with( &Certificate::subject, unhex( "308100" ) ) );
    expectRefused( with( &Certificate::subject, unhex( "3080" ) + std::string( 2, '\0' ) ) );
    for( size_t size : { 0x7F, 0x80, 0xFF, 0x100, 0x1000 } )
        expectAccepted( with( &Certificate::subject, nameOf( 0x13, std::string( size, 'x' ) ) ) );
}

TEST( OpensslCanonicalCertificate, TakesAtMost65535Bytes )
{
    size_t      around = with( &Certificate::signature, element( 0x03, std::string( 60000, '\0' ) ) ).size() - 60000;
    auto        sized  = [&]( size_t size ) { return with( &Certificate::signature, element( 0x03, std::string( size - around, '\0' ) ) ); };
    std::string most   = sized( 65535 );
    EXPECT_EQ( most.size(), 65535u );
    expectAccepted( most );
    expectRefused( sized( 65536 ) );
}
