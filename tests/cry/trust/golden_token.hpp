// A token that never changes, and its encodings. They are the format: what was signed or written
// with them must be readable for ever.
#pragma once

#include "support/text.hpp"
#include "support/trust.hpp"

namespace golden
{

using namespace support;

// The lines of a self-signed certificate.
inline const std::vector<std::string> certificateLines = {
    "-----BEGIN CERTIFICATE-----",
    "MIIBdzCCAR2gAwIBAgIUOE3hgRgMGK4T5sfCZOLrhi2jofswCgYIKoZIzj0EAwIw",
    "ETEPMA0GA1UEAwwGR29sZGVuMB4XDTI2MTEyMjE0NTI1M1oXDTQ2MTExNzE0NTI1",
    "M1owETEPMA0GA1UEAwwGR29sZGVuMFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAE",
    "sk2Mqa1YD0mJw24Sw4gRBwpDyVXqQWUFgbn2kn4gJNp1sPvnhbu1eyP0mBbqhM7o",
    "5SK0urfFFhl4VgqpX2ABz6NTMFEwHQYDVR0OBBYEFGH4Tfvp2R7flJh2dXzt+sxm",
    "SmdfMB8GA1UdIwQYMBaAFGH4Tfvp2R7flJh2dXzt+sxmSmdfMA8GA1UdEwEB/wQF",
    "MAMBAf8wCgYIKoZIzj0EAwIDSAAwRQIgS6JeAZlDLDteJhQyJMXYFDa//F2clj42",
    "BeY3e8cxesMCIQC/vIvtwKM/xH4OhJgmbD3wXIMUJ/LN7pZ66N+JB/G+eA==",
    "-----END CERTIFICATE-----",
};

// The keys of the metadata are not in the order of their bytes.
inline pb::Ref<CRY_TRUST_TOKEN> token()
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt(
        cryX509CertificateTryCreateFromPem( pb::adopt( cryPemTryDecodeFromStringVector( vec( certificateLines ).get() ) ).get() ) );
    pb::Ref<CRY_TRUST_TOKEN> tok = pb::adopt( cryTrustTokenCreate() );
    cryTrustTokenSetCertificate( tok.handle(), cert.get() );
    cryTrustTokenSetExtraCertificates( tok.handle(), certificates( { cert } ).get() );
    cryTrustTokenSetTime( tok.handle(), time( "2027-02-03T04:05:06.250Z" ).get() );
    cryTrustTokenSetMetaData( tok.handle(), storeOfJson( "{\"bb\":1,\"a\":[\"\\u00e4\",true,null,{}]}" ).get() );
    cryTrustTokenSetHashAlgorithm( tok.handle(), CRY_HASH_ALGORITHM_SHA2_256 );
    cryTrustTokenSetSignature( tok.handle(), buf( std::string( "\0\x01\x02 signature", 13 ) ).get() );
    return tok;
}

// The lines of the certificate in JSON, each with `indent` blanks before it.
inline std::string certificateJson( size_t indent )
{
    std::string json;
    for( const std::string &line : certificateLines )
        json += std::string( indent, ' ' ) + "\"" + line + "\"" + ( &line == &certificateLines.back() ? "\n" : ",\n" );
    return json;
}

// The lines of the token's store, with `indent` more blanks before all but the first.
inline std::string json( size_t indent = 0 )
{
    std::string text = "{\n"
                       "  \"certificate\": [\n" +
        certificateJson( 4 ) +
        "  ],\n"
        "  \"extraCertificates\": [\n"
        "    [\n" +
        certificateJson( 6 ) +
        "    ]\n"
        "  ],\n"
        "  \"time\": \"2027-02-03T04:05:06.250Z\",\n"
        "  \"metaData\": {\n"
        "    \"bb\": 1,\n"
        "    \"a\": [\n"
        "      \"\xC3\xA4\",\n"
        "      true,\n"
        "      null,\n"
        "      {}\n"
        "    ]\n"
        "  },\n"
        "  \"hashAlgorithm\": \"CRY_HASH_ALGORITHM_SHA2_256\",\n"
        "  \"signature\": [\n"
        "    \"-----BEGIN TOKEN SIGNATURE-----\",\n"
        "    \"AAECIHNpZ25hdHVyZQ==\",\n"
        "    \"-----END TOKEN SIGNATURE-----\"\n"
        "  ]\n"
        "}";
    for( size_t at = text.find( '\n' ); at != text.npos; at = text.find( '\n', at + 1 ) )
        text.insert( at + 1, indent, ' ' );
    return text;
}

// The head of a CBOR array or text.
inline std::string cborHead( int major, size_t length )
{
    return length < 24 ? std::string( 1, (char)( major | (int)length ) ) : std::string{ (char)( major | 24 ), (char)length };
}

inline std::string cborCertificate()
{
    std::string array = cborHead( 0x80, certificateLines.size() );
    for( const std::string &line : certificateLines )
        array += cborHead( 0x60, line.size() ) + line;
    return array;
}

// What is signed besides the data, in the order of the encoded keys.
inline std::string prefix()
{
    return unhex( "a5" ) + "\x64time" +
        "\x78\x18"
        "2027-02-03T04:05:06.250Z" +
        "\x68metaData" +
        unhex( "a2"
               "6161"
               "8462c3a4f5f6a0"
               "626262"
               "01" ) +
        "\x6b"
        "certificate" +
        cborCertificate() +
        "\x6d"
        "hashAlgorithm" +
        "\x78\x1b"
        "CRY_HASH_ALGORITHM_SHA2_256" +
        "\x71"
        "extraCertificates" +
        "\x81" + cborCertificate();
}

}
