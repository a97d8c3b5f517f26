// Public and private keys from public corpora, compared with plain OpenSSL, with the fast paths on
// and off.
#include <cry/internal/cry_pkey.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/pkey/keys.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/key_decoding.hpp"

#include <set>

using namespace support;

namespace
{

struct Verdicts
{
    int publicKeys = 0, privateKeys = 0, none = 0;
};

// Reads a text as a public and as a private key, and checks the objects that are made from the
// private key.
void expectAsOpenssl( const std::string &source, const std::string &name, Verdicts &verdicts )
{
    pb::Ref<CRY_PEM> block = pb::adopt( cryPemTryDecode( buf( source ).get() ) );
    if( !block )
        FAIL() << name;
    std::vector<unsigned long> publicErrors, privateErrors;
    std::string                asPublic  = publicByOpenssl( source, publicErrors );
    std::string                asPrivate = privateByOpenssl( source, privateErrors );
    if( !asPublic.empty() )
        publicErrors.clear();
    if( !asPrivate.empty() )
        privateErrors.clear();
    for( bool fast : { false, true } )
    {
        KeyDecoding              used( fast );
        pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cryPkeyPublicTryCreateFromPem( block.get() ) );
        EXPECT_EQ( takeErrors(), publicErrors ) << name << ", fast " << fast;
        EXPECT_EQ( pub ? textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ) : "", asPublic ) << name << ", fast " << fast;

        pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( block.get() ) );
        EXPECT_EQ( takeErrors(), privateErrors ) << name << ", fast " << fast;
        EXPECT_EQ( priv ? textOf( pb::adopt( cryPkeyPrivatePem( priv.get() ) ).get() ) : "", asPrivate ) << name << ", fast " << fast;
        if( !priv )
            continue;
        // A text that OpenSSL wrote may fail to load, for example the text of a key of 0.
        std::vector<unsigned long> derivedErrors;
        std::string                half    = publicByOpenssl( spkiText( readBy( PEM_read_bio_PrivateKey, source ).get() ), derivedErrors );
        pb::Ref<CRY_PKEY_PUBLIC>   derived = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
        EXPECT_EQ( derived ? textOf( pb::adopt( cryPkeyPublicPem( derived.get() ) ).get() ) : "", half ) << name << ", fast " << fast;
        takeErrors();
    }
    verdicts.publicKeys += !asPublic.empty();
    verdicts.privateKeys += !asPrivate.empty();
    verdicts.none += asPublic.empty() && asPrivate.empty();
}

}

TEST( KeysVectors, KeysOnAllCurvesAreAsOpensslReadsThem )
{
    NEED_VECTORS( folder );
    nlohmann::json        keys = support::parseJson( support::read( *folder / "keys" / "evp_keys.json.xz" ) );
    Verdicts              verdicts;
    std::set<std::string> curves;
    for( const auto &each : keys )
    {
        int before = verdicts.publicKeys + verdicts.privateKeys;
        expectAsOpenssl( each["pem"], each["id"], verdicts );
        EXPECT_EQ( verdicts.publicKeys + verdicts.privateKeys > before, each["openssl_loads"] == true ) << each["id"];
        if( each["curve"].is_string() )
            curves.insert( each["curve"] );
    }
    EXPECT_EQ( verdicts.publicKeys + verdicts.privateKeys + verdicts.none, (int)keys.size() );
    EXPECT_GT( verdicts.publicKeys, 200 );
    EXPECT_GT( verdicts.privateKeys, 200 );
    EXPECT_GE( curves.size(), 55u );
}

TEST( KeysVectors, TheInfoOfAKeyNamesItsCurveAndSize )
{
    NEED_VECTORS( folder );
    nlohmann::json keys = support::parseJson( support::read( *folder / "keys" / "evp_keys.json.xz" ) );
    int            seen = 0;
    for( const auto &each : keys )
    {
        if( each["openssl_loads"] != true || !each["curve"].is_string() )
            continue;
        pb::Ref<CRY_PEM>          block = pb::adopt( cryPemTryDecode( buf( std::string( each["pem"] ) ).get() ) );
        pb::Ref<CRY_PKEY_PUBLIC>  pub   = pb::adopt( cryPkeyPublicTryCreateFromPem( block.get() ) );
        pb::Ref<CRY_PKEY_PRIVATE> priv  = pub ? pb::Ref<CRY_PKEY_PRIVATE>() : pb::adopt( cryPkeyPrivateTryCreateFromPem( block.get() ) );
        takeErrors();
        ASSERT_TRUE( pub || priv ) << each["id"];
        pb::Ref<CRY_PKEY_INFO> info = pb::adopt( pub ? cryPkeyPublicInfo( pub.get() ) : cryPkeyPrivateInfo( priv.get() ) );
        EXPECT_EQ( cryPkeyInfoBits( info.get() ), each["bits"].get<PB_INT>() ) << each["id"];
        PB_INT curve = cry___PkeyEcNamedCurveFromOpensslSn( str( std::string( each["curve"] ) ).get() );
        EXPECT_EQ( cryPkeyInfoEcNamedCurve( info.get() ), curve ) << each["id"];
        seen += curve >= 0;
    }
    EXPECT_GT( seen, 300 );
}

TEST( KeysVectors, BrokenKeysAndParametersAreAsOpensslReadsThem )
{
    NEED_VECTORS( folder );
    Verdicts verdicts;
    int      files = 0;
    for( const char *part : { "pkey_check", "ecparam" } )
    {
        for( const std::filesystem::path &path : filesBelow( *folder / "keys" / part ) )
        {
            if( path.extension() != ".pem" )
                continue;
            expectAsOpenssl( support::read( path ), path.filename(), verdicts );
            files++;
        }
    }
    expectAsOpenssl( support::read( *folder / "keys" / "testec-sm2.pem" ), "testec-sm2.pem", verdicts );
    EXPECT_GT( files, 90 );
    // Parameters alone are not a key. Some of the broken keys load.
    EXPECT_GT( verdicts.none, 85 );
    EXPECT_GT( verdicts.publicKeys + verdicts.privateKeys, 2 );
}
