// Names of certificates and of hosts from a public corpus.
#include "cry/x509/names.hpp"
#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/json.hpp"

#include <gtest/gtest.h>

using namespace support;
using nlohmann::json;

TEST( SanVectors, HostsMatchTheNamesOfCertificates )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "san_exceptions.json" );
    int        matching = 0, different = 0;
    for( const json &row : json::parse( support::read( *folder / "hostmatch/hostmatch.json" ) ) )
    {
        if( row.at( "consensus" ) != "yes" )
            continue;
        Sans names    = GeneralNames().add( GEN_DNS, row.at( "presented" ).get<std::string>() ).sans();
        San  host     = san( row.at( "reference" ).get<std::string>() );
        bool expected = row.at( "upstream" ) == "match", actual = false;
        if( host )
        {
            Sans wanted = pb::adopt( cryX509SansCreate() );
            cryX509SansSet( wanted.handle(), host.get() );
            actual = cryX509SansHasMatch( names.get(), wanted.get(), PB_TRUE );
            EXPECT_EQ( (bool)cryX509SansHasMatch( wanted.get(), names.get(), PB_TRUE ), actual );
        }
        exceptions.check( row.at( "id" ), expected ? "match" : "no match", actual ? "match" : "no match" );
        ++( expected ? matching : different );
    }
    exceptions.checkMet( "host-" );
    EXPECT_EQ( matching, 29 );
    EXPECT_EQ( different, 82 );
}
