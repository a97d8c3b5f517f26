// CRLs from public corpora, compared with the facts that the corpora record.
#include <bn/internal/bn_int.h>
#include <cry/cry_x509_crl.h>
#include <pb/each.hpp>

#include "cry/x509/crls.hpp"
#include "support/files.hpp"
#include "support/json.hpp"

#include <algorithm>
#include <set>

using namespace support;
namespace fs = std::filesystem;

namespace
{

struct Counts
{
    int taken, refused, serials, names;
};

std::string timeText( pb::Ref<PB_TIME> time ) { return time ? text( pb::adopt( pbTimeToString( time.get() ) ) ) : ""; }

// The library takes no times without seconds or with an offset; OpenSSL does.
void expectTime( pb::Ref<PB_TIME> ours, const nlohmann::json &facts, const std::string &which, const std::string &name )
{
    bool there = facts.contains( which ) && facts.at( which ).is_string();
    if( !ours && there )
    {
        std::string raw = facts.at( which + "_raw" );
        EXPECT_NE( raw.size(), facts.at( which + "_type" ) == "UTC" ? 13u : 15u ) << name << ": " << raw;
        return;
    }
    EXPECT_EQ( timeText( ours ), there ? facts.at( which ).get<std::string>() : "" ) << name;
}

// The issuer, if it is written without escapes and quotes.
void expectIssuer( const Crl &crl, const nlohmann::json &facts, const std::string &name, Counts &counts )
{
    std::string theirs = facts.at( "issuer_rfc2253" ), ours = text( pb::adopt( cryX509CrlIssuer( crl.get() ) ) );
    if( theirs.find_first_of( "\\\"#" ) != theirs.npos )
        return;
    for( size_t at = ours.find( ", " ); at != ours.npos; at = ours.find( ", ", at ) )
        ours.erase( at + 1, 1 );
    EXPECT_EQ( ours, theirs ) << name;
    counts.names++;
}

std::string decimal( const std::string &hexadecimal )
{
    BIGNUM *number = nullptr;
    EXPECT_GT( BN_hex2bn( &number, hexadecimal.c_str() ), 0 );
    return text( pb::adopt( bnIntToString( pb::adopt( bn___IntCreateFromBignumUse( number ) ).get() ) ) );
}

void expectSerials( const Crl &crl, const nlohmann::json &facts, const std::string &name, Counts &counts )
{
    std::set<std::string> theirs, ours;
    for( const nlohmann::json &each : facts.at( "revoked" ) )
        theirs.insert( decimal( each ) );
    pb::Ref<PB_DICT>   dict = pb::adopt( cryX509CrlRevokedSerials( crl.get() ) );
    pb::Ref<PB_VECTOR> keys = pb::adopt( pbDictKeysVector( dict.get() ) );
    for( BN_INT *serial : pb::each<BN_INT>( keys.get() ) )
    {
        ours.insert( text( pb::adopt( bnIntToString( serial ) ) ) );
        EXPECT_TRUE( cryX509CrlRevokedBySerial( crl.get(), serial ) ) << name;
    }
    // Of a long list only the first entries are recorded.
    if( facts.at( "revoked" ).size() == facts.at( "revoked_count" ).get<size_t>() )
        EXPECT_EQ( ours, theirs ) << name;
    else
        EXPECT_TRUE( std::includes( ours.begin(), ours.end(), theirs.begin(), theirs.end() ) ) << name;
    counts.serials += (int)ours.size();
}

}

TEST( CrlVectors, ListsOfManyToolsAreAsRecorded )
{
    NEED_VECTORS( folder );
    Counts counts = {};
    for( const fs::path &path : filesBelow( *folder / "x509parse" ) )
    {
        if( path.filename().string().find( "-crl.json" ) == std::string::npos )
            continue;
        for( const nlohmann::json &row : parseJson( read( path ) ) )
        {
            std::string           name = row.at( "id" ), body = fromBase64( row.at( "der_b64" ) );
            const nlohmann::json &facts = row.at( "openssl" );
            Crl                   crl   = pb::adopt( cryX509CrlTryCreateFromPem( pem( "X509 CRL", body ).get() ) );
            ERR_clear_error();
            EXPECT_EQ( (bool)crl, facts.at( "parse" ) == true ) << name;
            ( crl ? counts.taken : counts.refused )++;
            if( !crl || facts.at( "parse" ) != true )
                continue;
            expectIssuer( crl, facts, name, counts );
            expectTime( pb::adopt( cryX509CrlLastUpdate( crl.get() ) ), facts, "this_update", name );
            expectTime( pb::adopt( cryX509CrlNextUpdate( crl.get() ) ), facts, "next_update", name );
            expectSerials( crl, facts, name, counts );
        }
    }
    EXPECT_GE( counts.taken, 300 );
    EXPECT_GE( counts.refused, 20 );
    EXPECT_GE( counts.names, 250 );
    EXPECT_GE( counts.serials, 100 );
}
