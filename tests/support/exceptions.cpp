#include "support/exceptions.hpp"

#include "support/files.hpp"
#include "support/json.hpp"

#include <gtest/gtest.h>

using namespace support;

Exceptions::Exceptions( const std::string &name )
{
    for( const nlohmann::json &row : support::parseJson( support::read( std::filesystem::path( CRY_SOURCE_DIR ) / "tests/vectors" / name ) ) )
    {
        std::string id = row.at( "case" );
        EXPECT_EQ( row.size(), 4u ) << id;
        EXPECT_FALSE( row.at( "reason" ).get<std::string>().empty() ) << id;
        EXPECT_TRUE( rows.emplace( id, std::pair( row.at( "expected" ), row.at( "actual" ) ) ).second ) << id << " is listed twice";
    }
}

void Exceptions::check( const std::string &id, const std::string &expected, const std::string &actual )
{
    auto found = rows.find( id );
    if( found == rows.end() )
    {
        EXPECT_EQ( actual, expected ) << id;
        return;
    }
    EXPECT_NE( actual, expected ) << id << " is listed as an exception, but is none";
    EXPECT_EQ( expected, found->second.first ) << id;
    EXPECT_EQ( actual, found->second.second ) << id;
    met.insert( id );
}

void Exceptions::checkMet( const std::string &prefix ) const
{
    for( const auto &[id, row] : rows )
        EXPECT_TRUE( !id.starts_with( prefix ) || met.count( id ) ) << id << " is no case";
}
