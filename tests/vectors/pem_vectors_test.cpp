// Public PEM files and the decoders. pem_exceptions.json lists the cases in which the decoders
// differ from a corpus on purpose, with the reason.
#include <cry/cry_hash.h>
#include <cry/cry_pem.h>

#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <set>

using namespace support;
using nlohmann::json;

namespace
{

std::string describe( CRY_PEM *pem )
{
    pb::Ref<PB_BUFFER> data   = pb::adopt( cryPemData( pem ) );
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, data.get() ) );
    return text( pb::adopt( cryPemLabel( pem ) ) ) + ", " + std::to_string( pbBufferLength( data.get() ) ) + " bytes, " + hex( bytes( digest ) );
}

std::string single( const std::string &content )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( content ).get() ) );
    return pem ? describe( pem.get() ) : "refused";
}

std::string all( const std::string &content )
{
    pb::Ref<PB_VECTOR> pems = pb::adopt( cryPemVectorTryDecode( buf( content ).get() ) );
    if( !pems )
        return "refused";
    std::string blocks;
    for( PB_INT index = 0; index < pbVectorLength( pems.get() ); index++ )
        blocks += ( index ? "; " : "" ) + describe( cryPemFrom( pb___VectorPeekObjAt( pems.get(), index ) ) );
    return blocks;
}

// Reads one JSON object. A field that was not read fails the test.
class Fields
{
public:
    explicit Fields( const json &object ) : object( object ) {}
    ~Fields()
    {
        for( const auto &[name, value] : object.items() )
            EXPECT_TRUE( read.count( name ) ) << "nobody reads the field " << name;
    }
    const json &operator[]( const std::string &name )
    {
        read.insert( name );
        static const json none;
        return object.contains( name ) ? object[name] : none;
    }
    std::string string( const std::string &name ) { return ( *this )[name].get<std::string>(); }

private:
    const json           &object;
    std::set<std::string> read;
};

std::string describe( Fields block )
{
    block["headers"];
    return block.string( "label" ) + ", " + std::to_string( block["len"].get<int>() ) + " bytes, " + block.string( "sha256" );
}

// The exceptions. Each one must occur exactly once.
class Exceptions
{
public:
    Exceptions()
    {
        for( const json &row : json::parse( support::read( std::filesystem::path( CRY_SOURCE_DIR ) / "tests/vectors/pem_exceptions.json" ) ) )
        {
            Fields      fields( row );
            std::string id = fields.string( "case" );
            EXPECT_FALSE( fields.string( "reason" ).empty() ) << id;
            EXPECT_TRUE( rows.emplace( id, std::pair( fields.string( "expected" ), fields.string( "actual" ) ) ).second ) << id << " is listed twice";
        }
    }

    void check( const std::string &id, const std::string &expected, const std::string &actual )
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

    // All exceptions with this prefix occurred.
    void checkMet( const std::string &prefix )
    {
        for( const auto &[id, row] : rows )
        {
            EXPECT_TRUE( !id.starts_with( prefix ) || met.count( id ) ) << id << " is no case";
        }
    }

private:
    std::map<std::string, std::pair<std::string, std::string>> rows;
    std::set<std::string>                                      met;
};

json readJson( const std::filesystem::path &path ) { return json::parse( support::read( path ) ); }

}

TEST( PemVectors, StrictDecoderAgreesOnSingleBlocks )
{
    NEED_VECTORS( folder );
    Exceptions exceptions;
    json       cases   = readJson( *folder / "pem/cases.json" );
    int        decoded = 0;
    for( const json &row : cases )
    {
        Fields      fields( row );
        std::string id = fields.string( "id" );
        SCOPED_TRACE( id );
        Fields      strict( fields["rustcrypto_pem_rfc7468"] );
        std::string expected = strict["ok"].get<bool>()
            ? strict.string( "label" ) + ", " + std::to_string( strict["len"].get<int>() ) + " bytes, " + strict.string( "sha256" )
            : "refused";
        strict["error"];
        std::string content = support::read( *folder / "pem" / id );
        exceptions.check( "single/" + id, expected, single( content ) );
        decoded += single( content ) != "refused";

        // The lenient decoder skips text between blocks. Ours must find the same blocks or refuse
        // the text.
        std::string blocks;
        for( const json &block : fields["go_encoding_pem"] )
            blocks += ( blocks.empty() ? "" : "; " ) + describe( Fields( block ) );
        // It also accepts headers, and finds no block if ours refuses the text.
        if( blocks.empty() || fields["has_rfc1421_headers"].get<bool>() )
            blocks = "refused";
        exceptions.check( "all/" + id, blocks, all( content ) );
        for( const char *other : { "upstream_accepts", "openssl_cli_reads_as", "has_rfc1421_headers" } )
            fields[other];
    }
    EXPECT_EQ( cases.size(), 143u );
    EXPECT_GT( decoded, 90 );
    exceptions.checkMet( "single/" );
    exceptions.checkMet( "all/" );
}

TEST( PemVectors, BadBlocksAreRefused )
{
    NEED_VECTORS( folder );
    Exceptions exceptions;
    for( const json &row : readJson( *folder / "pem/go_bad.json" ) )
    {
        Fields      fields( row );
        std::string id = fields.string( "id" );
        ASSERT_FALSE( fields["upstream_accepts"].get<bool>() );
        exceptions.check( "bad/" + id, "refused", single( fields.string( "pem" ) ) );
        exceptions.check( "bad-all/" + id, "refused", all( fields.string( "pem" ) ) );
        for( const char *other : { "name", "rustcrypto_pem_rfc7468" } )
            fields[other];
    }
    exceptions.checkMet( "bad" );
}

TEST( PemVectors, BodiesAreWrappedAsOthersDo )
{
    NEED_VECTORS( folder );
    int cases = 0;
    for( const json &row : readJson( *folder / "pem/mbedtls_write.json" ) )
    {
        Fields           fields( row );
        std::string      id  = fields.string( "id" );
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
        cryPemSetLabel( pem.handle(), str( "TEST" ).get() );
        cryPemSetData( pem.handle(), buf( unhex( fields.string( "data_hex" ) ) ).get() );
        std::string lines;
        for( const std::string &line : texts( pb::adopt( cryPemEncodeToStringVector( pem.get() ) ).get() ) )
            lines += line + "\n";
        std::string expected = fields.string( "expected" ), header = fields.string( "header" );
        // The corpus begins these blocks with another word.
        ASSERT_EQ( expected.substr( 0, header.size() ), "-----START TEST-----\n" );
        ASSERT_TRUE( expected.ends_with( fields.string( "footer" ) ) );
        EXPECT_EQ( lines, "-----BEGIN TEST-----\n" + expected.substr( header.size() ) ) << id;
        fields["note"];
        cases++;
    }
    EXPECT_EQ( cases, 6 );
}
