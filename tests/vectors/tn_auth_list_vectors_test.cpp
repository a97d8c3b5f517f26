// Telephone number authorization lists of real and made certificates of a public corpus.
#include <cry/cry_x509_certificate.h>

#include "support/certificates.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;
using nlohmann::json;

namespace
{

// The certificate of a case; a lone extension gets one.
pb::Ref<CRY_X509_CERTIFICATE> certificateOf( const json &row )
{
    if( row.at( "form" ) == "certificate" )
        return pb::adopt( cryX509CertificateTryCreateFromDer( buf( fromBase64( row.at( "der_b64" ) ) ).get() ) );
    return certificate( makeCertificate( { .subject = "CN=telephone",
        .subjectKey                                 = key( KeyKind::p256 ),
        .extensions                                 = { { "1.3.6.1.5.5.7.1.26", "DER:" + row.at( "ext_hex" ).get<std::string>() } } } ) );
}

// An entry in the form that the corpus has: the kind, the text, and the count of a range.
json formOf( CRY_X509_TN_AUTH_LIST_ENTRY *entry )
{
    switch( cryX509TNAuthListEntryType( entry ) )
    {
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE:
        return { "spc", text( pb::adopt( cryX509TNAuthListEntryServiceProviderCode( entry ) ) ) };
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE:
        return { "range", text( pb::adopt( cryX509TNAuthListEntryTelephoneNumber( entry ) ) ), cryX509TNAuthListEntryCount( entry ) };
    default:
        return { "one", text( pb::adopt( cryX509TNAuthListEntryTelephoneNumber( entry ) ) ) };
    }
}

}

TEST( TNAuthListVectors, EntriesAndRefusalsAreThoseOfTheCorpus )
{
    NEED_VECTORS( folder );
    int lists = 0, broken = 0, missing = 0;
    for( const json &row : parseJson( support::read( *folder / "tnauthlist/cases.json.xz" ) ) )
    {
        if( row.at( "form" ) == "csr" )
            continue;
        SCOPED_TRACE( row.at( "id" ).get<std::string>() );
        pb::Ref<CRY_X509_CERTIFICATE> cert = certificateOf( row );
        ASSERT_TRUE( cert );
        takeErrors();
        pb::Ref<CRY_X509_TN_AUTH_LIST> list = pb::adopt( cryX509CertificateTNAuthList( cert.get() ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
        if( row.at( "ext_hex" ).is_null() )
        {
            EXPECT_FALSE( list );
            missing++;
            continue;
        }
        const json &wanted = row.at( "pyasn1_rfc8226" );
        ASSERT_EQ( (bool)list, wanted.at( "ok" ).get<bool>() );
        if( !list )
        {
            broken++;
            continue;
        }
        json entries = json::array();
        for( PB_INT index = 0; index < cryX509TNAuthListEntriesLength( list.get() ); index++ )
            entries.push_back( formOf( pb::adopt( cryX509TNAuthListEntryAt( list.get(), index ) ).get() ) );
        EXPECT_EQ( entries, wanted.at( "entries" ) );
        lists++;
    }
    EXPECT_EQ( lists, 225 );
    EXPECT_EQ( broken, 10 );
    EXPECT_EQ( missing, 10 );
}
