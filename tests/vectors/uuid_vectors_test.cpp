// UUIDs from public corpora: texts that parse or do not, their versions and variants, and UUIDs of
// names.
#include <cry/cry_uuid.h>

#include "support/files.hpp"
#include "support/json.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>

using namespace support;
using nlohmann::json;

namespace
{

using Uuid = pb::Ref<CRY_UUID>;

Uuid parse( const std::string &input ) { return pb::adopt( cryUuidTryCreateFromString( str( input ).get() ) ); }

std::string content( const Uuid &uuid ) { return hex( bytes( pb::adopt( cryUuidToBinary( uuid.get() ) ) ) ); }

std::string canonical( const Uuid &uuid ) { return text( pb::adopt( cryUuidToStringWithFlags( uuid.get(), 0 ) ) ); }

std::vector<json> cases( const std::filesystem::path &folder, const std::string &kind )
{
    std::vector<json> list;
    for( const json &row : json::parse( support::read( folder / "uuid/uuid.json" ) ) )
    {
        if( row.at( "kind" ) == kind )
            list.push_back( row );
    }
    return list;
}

// The name of a variant in a corpus.
PB_INT variantOf( const std::string &name )
{
    static const std::map<std::string, PB_INT> names = { { "RESERVED_NCS", CRY_UUID_VARIANT_RESERVED_FOR_NCS },
        { "Reserved", CRY_UUID_VARIANT_RESERVED_FOR_NCS }, { "RFC_4122", CRY_UUID_VARIANT_STANDARD }, { "RFC4122", CRY_UUID_VARIANT_STANDARD },
        { "Microsoft", CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT }, { "RESERVED_MICROSOFT", CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT },
        { "Future", CRY_UUID_VARIANT_RESERVED_FOR_FUTURE }, { "RESERVED_FUTURE", CRY_UUID_VARIANT_RESERVED_FOR_FUTURE } };
    auto                                       found = names.find( name );
    EXPECT_NE( found, names.end() ) << name;
    return found == names.end() ? -1 : found->second;
}

}

TEST( UuidVectors, TextsParseOrDoNot )
{
    NEED_VECTORS( folder );
    int valid = 0, invalid = 0, variants = 0, versions = 0, forms = 0;
    for( const json &row : cases( *folder, "parse" ) )
    {
        std::string input = row.at( "input" );
        SCOPED_TRACE( row.at( "id" ).get<std::string>() + " " + input );
        Uuid uuid = parse( input );
        ASSERT_EQ( (bool)uuid, row.at( "valid" ).get<bool>() );
        if( !uuid )
        {
            invalid++;
            continue;
        }
        valid++;
        EXPECT_EQ( canonical( uuid ), lower( input ) );
        if( row.contains( "variant" ) )
        {
            EXPECT_EQ( cryUuidVariant( uuid.get() ), variantOf( row.at( "variant" ) ) );
            variants++;
        }
        // One corpus has a version only for the standard's variant.
        if( row.contains( "version" ) && !row.at( "version" ).is_null() )
        {
            int version = row.at( "version" );
            EXPECT_EQ( cryUuidVersion( uuid.get() ), version <= 4 ? version : -1 );
            versions++;
        }
        if( row.contains( "bytes" ) )
        {
            EXPECT_EQ( content( uuid ), std::string( row.at( "bytes" ) ) );
            EXPECT_EQ( canonical( uuid ), std::string( row.at( "canonical" ) ) );
            EXPECT_TRUE( cryUuidEquals( parse( row.at( "curly" ) ).get(), uuid.get() ) );
            EXPECT_EQ(
                text( pb::adopt( cryUuidToStringWithFlags( uuid.get(), CRY_UUID_STRING_FLAG_CURLY_BRACKET ) ) ), std::string( row.at( "curly" ) ) );
            // Separators are necessary, and the wrappings are the only prefixes.
            EXPECT_FALSE( parse( row.at( "hex" ) ) );
            EXPECT_FALSE( parse( row.at( "urn" ) ) );
            forms++;
        }
    }
    EXPECT_EQ( valid, 9 + 24 );
    EXPECT_EQ( invalid, 3 + 7 );
    EXPECT_EQ( variants, 9 + 24 );
    EXPECT_GE( versions, 24 );
    EXPECT_EQ( forms, 9 );
}

// The corpus accepts only nil, all ones, and the standard's variant with a known version. The
// library reads every text of that form, so the test compares its version and variant.
TEST( UuidVectors, TextsThatAStricterCorpusTakesAreThoseOfKnownKinds )
{
    NEED_VECTORS( folder );
    int valid = 0, otherKinds = 0, noUuids = 0;
    for( const json &row : cases( *folder, "validate" ) )
    {
        std::string input = row.at( "input" );
        SCOPED_TRACE( row.at( "id" ).get<std::string>() + " " + input );
        Uuid uuid = parse( input );
        if( !uuid )
        {
            EXPECT_FALSE( row.at( "valid" ).get<bool>() );
            EXPECT_TRUE( input.size() != 36 || input.find_first_not_of( "0123456789abcdefABCDEF-" ) != input.npos );
            noUuids++;
            continue;
        }
        EXPECT_EQ( canonical( uuid ), lower( input ) );
        std::string inside  = content( uuid );
        int         digit   = inside[12] <= '9' ? inside[12] - '0' : inside[12] - 'a' + 10;
        bool        known   = cryUuidVariant( uuid.get() ) == CRY_UUID_VARIANT_STANDARD && digit >= 1 && digit <= 8;
        bool        special = inside == std::string( 32, '0' ) || inside == std::string( 32, 'f' );
        EXPECT_EQ( known || special, row.at( "valid" ).get<bool>() );
        EXPECT_EQ( cryUuidVersion( uuid.get() ), digit <= 4 ? digit : -1 );
        if( known )
            EXPECT_EQ( row.at( "version" ).get<PB_INT>(), digit );
        ( known || special ? valid : otherKinds )++;
    }
    EXPECT_EQ( valid, 21 );
    EXPECT_EQ( noUuids, 3 );
    EXPECT_EQ( otherKinds, 165 + 18 - 3 );
}

TEST( UuidVectors, NamesGiveTheirUuids )
{
    NEED_VECTORS( folder );
    int sha1 = 0, md5 = 0;
    for( const json &row : cases( *folder, "name-based" ) )
    {
        SCOPED_TRACE( row.at( "id" ).get<std::string>() );
        // The library does not make UUIDs by MD5 (version 3).
        if( row.at( "version" ) == 3 )
        {
            md5++;
            continue;
        }
        EXPECT_EQ( row.at( "version" ).get<int>(), 5 );
        Uuid space = parse( row.at( "namespace" ) );
        ASSERT_TRUE( space );
        std::string name = row.at( "name" );
        Uuid        uuid = pb::adopt( cryUuidTryCreateNameBasedStringName( space.get(), str( name ).get() ) );
        ASSERT_TRUE( uuid );
        EXPECT_EQ( canonical( uuid ), std::string( row.at( "expected" ) ) );
        Uuid same = pb::adopt( cryUuidTryCreateNameBased( space.get(), buf( name ).get() ) );
        EXPECT_TRUE( cryUuidEquals( same.get(), uuid.get() ) );
        sha1++;
    }
    EXPECT_EQ( sha1, 7 );
    EXPECT_EQ( md5, 6 );
}
