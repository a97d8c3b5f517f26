// Certificates, names, serial numbers, times and usage extensions of the public corpora, compared
// with OpenSSL's results.
#include <bn/bn_int.h>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_decode.h>

#include "support/certificates.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <unordered_set>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// The expected result of the name decoder: OpenSSL's text, if it is UTF-8.
std::string printedName( const X509_NAME *name )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    X509_NAME_print_ex( bio, name, 0,
        ASN1_STRFLGS_ESC_2253 | ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_ESC_QUOTE | ASN1_STRFLGS_UTF8_CONVERT | ASN1_STRFLGS_DUMP_UNKNOWN |
            ASN1_STRFLGS_DUMP_DER | XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV );
    char              *printed = nullptr;
    long               length  = BIO_get_mem_data( bio, &printed );
    std::string        out( printed ? printed : "", (size_t)length );
    pb::Ref<PB_STRING> valid = pb::adopt( pbStringTryCreateFromCstr( out.data(), (PB_INT)out.size() ) );
    BIO_free( bio );
    return valid ? out : "(null)";
}

std::string decodedName( X509_NAME *name ) { return text( pb::adopt( cry___X509TryDecodeX509Name( name ) ) ); }

std::string decodedTime( const ASN1_TIME *time )
{
    pb::Ref<PB_TIME> decoded = pb::adopt( cry___X509TryDecodeAsn1Time( time ) );
    return decoded ? text( pb::adopt( pbTimeToString( decoded.get() ) ) ) : "(null)";
}

std::string decodedSerial( const ASN1_INTEGER *serial )
{
    pb::Ref<BN_INT> decoded = pb::adopt( cry___X509TryDecodeAsn1Integer( serial ) );
    return decoded ? text( pb::adopt( bnIntConvertToDecimalString( decoded.get() ) ) ) : "(null)";
}

std::string decimal( BIGNUM *number )
{
    char       *digits = BN_bn2dec( number );
    std::string out    = digits;
    OPENSSL_free( digits );
    BN_free( number );
    return out;
}

std::string formatted( const std::tm &tm )
{
    char out[64];
    std::snprintf(
        out, sizeof out, "%04d-%02d-%02dT%02d:%02d:%02dZ", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec );
    return out;
}

// Whether a value has the only form that certificates may have. OpenSSL also accepts offsets and
// missing seconds; the decoder must refuse them.
bool isStrict( std::string_view value, bool isUtc )
{
    return value.size() == ( isUtc ? 13u : 15u ) && value.find_first_not_of( "0123456789" ) == value.size() - 1 && value.back() == 'Z';
}

std::string wantedTime( const ASN1_TIME *time )
{
    std::tm tm{};
    bool    strict = isStrict( { (const char *)time->data, (size_t)time->length }, time->type == V_ASN1_UTCTIME );
    return strict && ASN1_TIME_to_tm( time, &tm ) ? formatted( tm ) : "(null)";
}

// Whether an extension is there once and can be read.
bool hasExtension( const X509 *x509, int nid )
{
    int at = X509_get_ext_by_NID( x509, nid, -1 );
    if( at < 0 || X509_get_ext_by_NID( x509, nid, at ) >= 0 )
        return false;
    void *value = X509V3_EXT_d2i( X509_get_ext( x509, at ) );
    if( value )
        ASN1_item_free( (ASN1_VALUE *)value, ASN1_ITEM_ptr( X509V3_EXT_get_nid( nid )->it ) );
    return value;
}

// OpenSSL's summary has the bits of each byte in reverse order.
PB_INT wantedKeyUsage( X509 *x509 )
{
    uint32_t usage = X509_get_key_usage( x509 );
    PB_INT   flags = usage & KU_DECIPHER_ONLY ? CRY_X509_KEY_USAGE_DECIPHER_ONLY : 0;
    for( int bit = 0; bit < 8; bit++ )
        flags |= usage & KU_DIGITAL_SIGNATURE >> bit ? 1 << bit : 0;
    return flags;
}

// The summary does not tell the two kinds of server gated cryptography apart; here they are the
// older one.
PB_INT wantedExtendedKeyUsage( X509 *x509 )
{
    static constexpr std::pair<uint32_t, PB_INT> known[] = { { XKU_SSL_SERVER, CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER },
        { XKU_SSL_CLIENT, CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT }, { XKU_SMIME, CRY_X509_EXTENDED_KEY_USAGE_SMIME },
        { XKU_CODE_SIGN, CRY_X509_EXTENDED_KEY_USAGE_CODE_SIGN }, { XKU_OCSP_SIGN, CRY_X509_EXTENDED_KEY_USAGE_OCSP_SIGN },
        { XKU_TIMESTAMP, CRY_X509_EXTENDED_KEY_USAGE_TIMESTAMP }, { XKU_DVCS, CRY_X509_EXTENDED_KEY_USAGE_DVCS },
        { XKU_ANYEKU, CRY_X509_EXTENDED_KEY_USAGE_ANYEKU }, { XKU_SGC, CRY_X509_EXTENDED_KEY_USAGE_NS_SGC } };
    PB_INT                                       flags   = 0;
    for( auto [purpose, flag] : known )
        flags |= X509_get_extended_key_usage( x509 ) & purpose ? flag : 0;
    return flags;
}

struct Counts
{
    int taken      = 0;
    int refused    = 0;
    int summarised = 0;
};

// The info of a certificate against OpenSSL's functions on its own one.
void checkInfo( CRY_X509_CERTIFICATE *cert, X509 *wanted, Counts &counts )
{
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509CertificateInfo( cert ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509InfoStore( info.get() ) );
    auto              value = [&]( const char *key ) { return text( pb::adopt( pbStoreValueCstr( store.get(), key, -1 ) ) ); };
    EXPECT_EQ( value( "subject" ), printedName( X509_get_subject_name( wanted ) ) );
    EXPECT_EQ( value( "issuer" ), printedName( X509_get_issuer_name( wanted ) ) );
    EXPECT_EQ( value( "serialNumber" ), decimal( ASN1_INTEGER_to_BN( X509_get0_serialNumber( wanted ), nullptr ) ) );
    EXPECT_EQ( value( "validFrom" ), wantedTime( X509_get0_notBefore( wanted ) ) );
    EXPECT_EQ( value( "validUntil" ), wantedTime( X509_get0_notAfter( wanted ) ) );
    EXPECT_EQ( cryX509InfoHasBasicConstraints( info.get() ), hasExtension( wanted, NID_basic_constraints ) );
    EXPECT_EQ( cryX509InfoHasKeyUsage( info.get() ), hasExtension( wanted, NID_key_usage ) );
    EXPECT_EQ( cryX509InfoHasExtendedKeyUsage( info.get() ), hasExtension( wanted, NID_ext_key_usage ) );
    EXPECT_EQ( cryX509InfoHasNetscapeCertType( info.get() ), hasExtension( wanted, NID_netscape_cert_type ) );
    EXPECT_EQ( cryX509InfoHasSans( info.get() ), hasExtension( wanted, NID_subject_alt_name ) );

    // If any extension is broken, OpenSSL has no summary.
    uint32_t flags = X509_get_extension_flags( wanted );
    if( flags & EXFLAG_INVALID )
        return;
    counts.summarised++;
    pb::Ref<CRY_X509_BASIC_CONSTRAINTS> bc = pb::adopt( cryX509InfoBasicConstraints( info.get() ) );
    EXPECT_EQ( bc && cryX509BasicConstraintsCA( bc.get() ), ( flags & EXFLAG_CA ) != 0 );
    EXPECT_EQ( bc ? cryX509BasicConstraintsPathlen( bc.get() ) : -1, X509_get_pathlen( wanted ) );
    if( cryX509InfoHasKeyUsage( info.get() ) )
        EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), wantedKeyUsage( wanted ) );
    if( cryX509InfoHasExtendedKeyUsage( info.get() ) )
    {
        PB_INT purposes = cryX509InfoExtendedKeyUsage( info.get() );
        if( purposes & CRY_X509_EXTENDED_KEY_USAGE_MS_SGC )
            purposes = ( purposes & ~CRY_X509_EXTENDED_KEY_USAGE_MS_SGC ) | CRY_X509_EXTENDED_KEY_USAGE_NS_SGC;
        EXPECT_EQ( purposes, wantedExtendedKeyUsage( wanted ) );
    }
}

// All checks of one certificate, or of bytes that may not be a certificate. The same bytes are
// checked once in the process.
void check( const std::string &body, const std::string &where, Counts &counts )
{
    SCOPED_TRACE( where );
    Cert wanted = parseDer( body );
    ERR_clear_error();
    ( wanted ? counts.taken : counts.refused )++;
    static std::unordered_set<std::string> seen;
    if( !seen.insert( body ).second )
        return;

    pb::Ref<CRY_X509_CERTIFICATE> cert  = pb::adopt( cryX509CertificateTryCreateFromDer( buf( body ).get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> again = pb::adopt( cryX509CertificateTryCreateFromPem( pem( "CERTIFICATE", body ).get() ) );
    ERR_clear_error();
    ASSERT_EQ( (bool)cert, (bool)wanted );
    ASSERT_EQ( (bool)again, (bool)wanted );
    if( !wanted )
        return;

    std::string canonical = der( wanted );
    ASSERT_EQ( hex( der( cert.get() ) ), hex( canonical ) );
    ASSERT_TRUE( cryX509CertificateEquals( cert.get(), again.get() ) );
    unsigned char digest[32];
    ASSERT_EQ( EVP_Digest( canonical.data(), canonical.size(), digest, nullptr, EVP_sha256(), nullptr ), 1 );
    ASSERT_EQ( hex( bytes( pb::adopt( cryX509CertificateTryFingerprint( cert.get(), CRY_HASH_ALGORITHM_SHA2_256 ) ) ) ),
        hex( { (const char *)digest, sizeof digest } ) );

    // The decoders on this certificate, OpenSSL on its own one.
    X509 *x509 = cry___X509CertificatePeekOpensslX509( cert.get() );
    EXPECT_EQ( decodedName( X509_get_subject_name( x509 ) ), printedName( X509_get_subject_name( wanted.get() ) ) );
    EXPECT_EQ( decodedName( X509_get_issuer_name( x509 ) ), printedName( X509_get_issuer_name( wanted.get() ) ) );
    EXPECT_EQ( decodedSerial( X509_get0_serialNumber( x509 ) ), decimal( ASN1_INTEGER_to_BN( X509_get0_serialNumber( wanted.get() ), nullptr ) ) );
    EXPECT_EQ( decodedTime( X509_get0_notBefore( x509 ) ), wantedTime( X509_get0_notBefore( wanted.get() ) ) );
    EXPECT_EQ( decodedTime( X509_get0_notAfter( x509 ) ), wantedTime( X509_get0_notAfter( wanted.get() ) ) );
    ERR_clear_error();
    checkInfo( cert.get(), wanted.get(), counts );
    ERR_clear_error();
}

// Every PEM block in a text, by OpenSSL's reader. Blocks with headers are not blocks for our
// decoder.
void forEachBlock( const std::string &content, auto block )
{
    BIO           *bio    = BIO_new_mem_buf( content.data(), (int)content.size() );
    char          *label  = nullptr;
    char          *header = nullptr;
    unsigned char *data   = nullptr;
    long           length = 0;
    while( PEM_read_bio( bio, &label, &header, &data, &length ) == 1 )
    {
        if( !*header )
            block( std::string( label ), std::string( (const char *)data, (size_t)length ) );
        OPENSSL_free( label );
        OPENSSL_free( header );
        OPENSSL_free( data );
    }
    BIO_free( bio );
    ERR_clear_error();
}

// A block of any label: our verdict is that of OpenSSL's reader of certificates.
void checkBlock( const std::string &label, const std::string &body, const std::string &where, Counts &counts )
{
    SCOPED_TRACE( where );
    std::string text = pemText( label, body );
    BIO        *bio  = BIO_new_mem_buf( text.data(), (int)text.size() );
    Cert        wanted( PEM_read_bio_X509( bio, nullptr, nullptr, nullptr ), X509_free );
    BIO_free( bio );
    pb::Ref<CRY_PEM>              block = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> cert  = pb::adopt( block ? cryX509CertificateTryCreateFromPem( block.get() ) : nullptr );
    ERR_clear_error();
    ASSERT_TRUE( block );
    ASSERT_EQ( (bool)cert, (bool)wanted ) << label;
    if( wanted )
        check( body, where, counts );
    else
        counts.refused++;
}

}

TEST( CertificatesVectors, EveryFileOfThePackageIsTakenAsOpensslTakesIt )
{
    std::vector<fs::path> files = packageFiles( "python3-cryptography-vectors" );
    if( files.empty() )
        GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
    Counts whole;
    Counts blocks;
    for( const fs::path &file : files )
    {
        std::string extension = file.extension();
        if( extension != ".crt" && extension != ".cer" && extension != ".pem" && extension != ".der" )
            continue;
        std::string content = support::read( file );
        if( content.find( "-----BEGIN " ) == content.npos )
            check( content, file, whole );
        forEachBlock(
            content, [&]( const std::string &label, const std::string &body ) { checkBlock( label, body, file.string() + ", " + label, blocks ); } );
    }
    EXPECT_GT( whole.taken, 400 );
    EXPECT_GT( whole.refused, 20 );
    EXPECT_GT( blocks.taken, 80 );
    EXPECT_GT( blocks.refused, 50 );
}

TEST( CertificatesVectors, ParsedFactsOfTheCorporaAreOurs )
{
    NEED_VECTORS( folder );
    Counts counts;
    int    names = 0;
    int    lax   = 0;
    for( const char *corpus : { "boringssl", "botan", "google-ct", "mbedtls", "mbedtls-der", "openssl", "pyca", "zlint" } )
    {
        for( const auto &each : support::parseJson( support::read( *folder / "x509parse" / ( std::string( corpus ) + "-crt.json.xz" ) ) ) )
        {
            std::string                   where = std::string( corpus ) + " " + each["id"].get<std::string>();
            std::string                   body  = fromBase64( each["der_b64"] );
            const auto                   &facts = each["openssl"];
            pb::Ref<CRY_X509_CERTIFICATE> cert  = pb::adopt( cryX509CertificateTryCreateFromDer( buf( body ).get() ) );
            SCOPED_TRACE( where );
            check( body, where, counts );
            ASSERT_EQ( (bool)cert, facts["parse"].get<bool>() );
            if( !cert )
                continue;
            unsigned char digest[32];
            EVP_Digest( body.data(), body.size(), digest, nullptr, EVP_sha256(), nullptr );
            ASSERT_EQ( hex( { (const char *)digest, sizeof digest } ), each["sha256"].get<std::string>() );

            X509   *x509   = cry___X509CertificatePeekOpensslX509( cert.get() );
            BIGNUM *serial = nullptr;
            ASSERT_GT( BN_hex2bn( &serial, facts["serial"].get<std::string>().c_str() ), 0 );
            EXPECT_EQ( decodedSerial( X509_get0_serialNumber( x509 ) ), decimal( serial ) );
            for( auto [decoded, end] : { std::pair( decodedTime( X509_get0_notBefore( x509 ) ), std::string( "not_before" ) ),
                     std::pair( decodedTime( X509_get0_notAfter( x509 ) ), std::string( "not_after" ) ) } )
            {
                bool strict = isStrict( facts[end + "_raw"].get<std::string>(), facts[end + "_type"] == "UTC" );
                EXPECT_EQ( decoded, strict && !facts[end].is_null() ? facts[end].get<std::string>() : "(null)" ) << end;
                lax += !strict;
            }
            // Names in the corpus have no blanks after the separators. If nothing is escaped, this
            // is the only difference.
            for( auto [decoded, fact] : { std::pair( decodedName( X509_get_subject_name( x509 ) ), "subject_rfc2253" ),
                     std::pair( decodedName( X509_get_issuer_name( x509 ) ), "issuer_rfc2253" ) } )
            {
                std::string compact = facts[fact];
                if( compact.find_first_of( "\\\"#" ) != compact.npos )
                    continue;
                std::string wanted;
                for( char c : compact )
                    wanted += c == ',' ? ", " : c == '+' ? " + " : std::string( 1, c );
                EXPECT_EQ( decoded, wanted );
                names++;
            }
        }
    }
    EXPECT_EQ( counts.taken, 1232 );
    EXPECT_EQ( counts.refused, 200 );
    EXPECT_GT( counts.summarised, 500 );
    EXPECT_GT( names, 2000 );
    EXPECT_GE( lax, 7 );
}

TEST( CertificatesVectors, EveryCertificateOfTheChainCorporaIsTakenAsOpensslTakesIt )
{
    NEED_VECTORS( folder );
    Counts counts;
    for( const char *corpus : { "limbo/limbo", "limbo/bettertls-pathbuilding", "limbo/bettertls-nameconstraints", "paths/boringssl-chains",
             "paths/bsi", "paths/nist76", "paths/openssl-verify", "paths/pkits", "paths/x509test" } )
    {
        nlohmann::json cases = support::parseJson( support::read( *folder / ( std::string( corpus ) + ".json.xz" ) ) )["testcases"];
        for( const auto &each : cases )
        {
            std::vector<std::string> texts = each["trusted_certs"];
            for( const auto &text : each["untrusted_intermediates"] )
                texts.push_back( text );
            texts.push_back( each["peer_certificate"] );
            std::string where = each["id"];
            for( const std::string &text : texts )
            {
                static std::unordered_set<std::string> seen;
                if( !seen.insert( text ).second )
                    continue;
                int found = 0;
                forEachBlock( text, [&]( const std::string &, const std::string &body ) {
                    check( body, where, counts );
                    found++;
                } );
                EXPECT_EQ( found, 1 ) << where;
            }
        }
    }
    EXPECT_GT( counts.taken, 20000 );
    EXPECT_GE( counts.refused, 1 );
}

// The corpus has the verdict of strict RFC 5280 for each value, or the verdict of its source if the
// RFC leaves it open. time_exceptions.json lists the values for which the decoder gives another
// verdict, and why.
TEST( CertificatesVectors, TimesDecodeAsTheCorpusSaysButForTheListedExceptions )
{
    NEED_VECTORS( folder );
    nlohmann::json                        corpus     = support::parseJson( support::read( *folder / "time" / "asn1_time.json" ) );
    nlohmann::json                        exceptions = support::parseJson( support::read( CRY_SOURCE_DIR "/tests/vectors/time_exceptions.json" ) );
    std::map<std::string, nlohmann::json> listed;
    for( const auto &each : exceptions )
    {
        EXPECT_TRUE( listed.emplace( each["case"], each ).second ) << each["case"] << " is listed twice";
        EXPECT_FALSE( each["reason"].get<std::string>().empty() ) << each["case"];
    }

    for( const auto &each : corpus )
    {
        std::string id     = each["id"];
        std::string value  = unhex( each["value_hex"].get<std::string>() );
        bool        isUtc  = each["type"] == "UTC";
        std::string strict = each["strict_rfc5280"];
        bool        valid  = ( strict.starts_with( "undecided" ) ? each["upstream"] : each["strict_rfc5280"] ) == "valid";

        std::string wanted = "(null)";
        if( valid )
        {
            std::string year = isUtc ? ( value[0] < '5' ? "20" : "19" ) + value.substr( 0, 2 ) : value.substr( 0, 4 );
            std::string rest = value.substr( isUtc ? 2 : 4 );
            wanted = year + "-" + rest.substr( 0, 2 ) + "-" + rest.substr( 2, 2 ) + "T" + rest.substr( 4, 2 ) + ":" + rest.substr( 6, 2 ) + ":" +
                rest.substr( 8, 2 ) + "Z";
            if( !each["upstream_time"].is_null() )
            {
                EXPECT_EQ( wanted, each["upstream_time"].get<std::string>() ) << id;
            }
        }

        ASN1_TIME *time = ASN1_STRING_type_new( isUtc ? V_ASN1_UTCTIME : V_ASN1_GENERALIZEDTIME );
        ASSERT_EQ( ASN1_STRING_set( time, value.data(), (int)value.size() ), 1 );
        std::string actual = decodedTime( time );
        ASN1_STRING_free( time );

        auto exception = listed.find( id );
        if( exception == listed.end() )
        {
            EXPECT_EQ( actual, wanted ) << id << " " << each["type"] << " " << each["value"];
            continue;
        }
        EXPECT_EQ( exception->second["expected"], wanted ) << id;
        EXPECT_EQ( exception->second["actual"], actual ) << id;
        EXPECT_NE( actual, wanted ) << id << " is no exception any more";
        listed.erase( exception );
    }
    for( const auto &[id, entry] : listed )
        ADD_FAILURE() << id << " is listed as an exception but is no case of the corpus";
    EXPECT_EQ( corpus.size(), 119u );
}
