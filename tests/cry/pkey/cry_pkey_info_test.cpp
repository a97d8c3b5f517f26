#include <cry/cry_pkey_info.h>
#include <cry/internal/cry_pkey.h>
#include <cry/internal/cry_pkey_info.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/pkey/keys.hpp"

using namespace support;

namespace
{

using Info = pb::Ref<CRY_PKEY_INFO>;

// "type bits curve"; a missing value is "-".
std::string shown( const Info &info )
{
    auto field = []( PB_BOOL has, PB_INT value ) {
        EXPECT_EQ( (bool)has, value != -1 );
        return has ? std::to_string( value ) : std::string( "-" );
    };
    return field( cryPkeyInfoHasType( info.get() ), cryPkeyInfoType( info.get() ) ) + " " +
        field( cryPkeyInfoHasBits( info.get() ), cryPkeyInfoBits( info.get() ) ) + " " +
        field( cryPkeyInfoHasEcNamedCurve( info.get() ), cryPkeyInfoEcNamedCurve( info.get() ) );
}

// OpenSSL's queue has one error before the call, and must have only this error after it.
std::string infoOf( EVP_PKEY *pkey )
{
    takeErrors();
    raiseError();
    std::string out = shown( pb::adopt( cry___PkeyInfoCreateFromOpensslEvpPkey( pkey ) ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << out;
    return out;
}

struct Field
{
    void ( *set )( CRY_PKEY_INFO **, PB_INT );
    void ( *del )( CRY_PKEY_INFO ** );
    PB_INT ( *get )( CRY_PKEY_INFO * );
    PB_BOOL ( *has )( CRY_PKEY_INFO * );
    std::vector<PB_INT> values;
};

const Field fields[] = {
    { cryPkeyInfoSetType, cryPkeyInfoDelType, cryPkeyInfoType, cryPkeyInfoHasType, { 0, 1 } },
    { cryPkeyInfoSetBits, cryPkeyInfoDelBits, cryPkeyInfoBits, cryPkeyInfoHasBits, { 0, 1, 256, PB_INT_MAX } },
    { cryPkeyInfoSetEcNamedCurve, cryPkeyInfoDelEcNamedCurve, cryPkeyInfoEcNamedCurve, cryPkeyInfoHasEcNamedCurve, { 0, 11, 81 } },
};

}

TEST( CryPkeyInfo, HasNothingAtFirst ) { EXPECT_EQ( shown( pb::adopt( cryPkeyInfoCreate() ) ), "- - -" ); }

TEST( CryPkeyInfo, EachFieldIsSetAndDeletedAlone )
{
    for( const Field &field : fields )
    {
        Info info = pb::adopt( cryPkeyInfoCreate() );
        for( PB_INT value : field.values )
        {
            CRY_PKEY_INFO *before = info.get();
            field.set( info.handle(), value );
            EXPECT_EQ( info.get(), before );
            EXPECT_EQ( field.get( info.get() ), value );
            EXPECT_TRUE( field.has( info.get() ) ) << value;
            for( const Field &other : fields )
            {
                if( &other != &field )
                    EXPECT_FALSE( other.has( info.get() ) );
            }
        }
        field.del( info.handle() );
        EXPECT_EQ( shown( info ), "- - -" );
        field.del( info.handle() );
        EXPECT_EQ( field.get( info.get() ), -1 );
    }
}

TEST( CryPkeyInfo, DeletingOneLeavesTheOthers )
{
    Info info = pb::adopt( cryPkeyInfoCreate() );
    cryPkeyInfoSetType( info.handle(), CRY_PKEY_TYPE_EC );
    cryPkeyInfoSetBits( info.handle(), 0 );
    cryPkeyInfoSetEcNamedCurve( info.handle(), CRY_PKEY_EC_NAMED_CURVE_SM2 );
    EXPECT_EQ( shown( info ), "1 0 81" );
    const char *without[] = { "- 0 81", "1 - 81", "1 0 -" };
    for( size_t index = 0; index < 3; index++ )
    {
        Info copy = pb::adopt( cryPkeyInfoCreateFrom( info.get() ) );
        EXPECT_EQ( shown( copy ), "1 0 81" );
        fields[index].del( copy.handle() );
        EXPECT_EQ( shown( copy ), without[index] );
    }
    EXPECT_EQ( shown( info ), "1 0 81" );
}

TEST( CryPkeyInfo, AnotherHolderSeesNoChange )
{
    for( const Field &field : fields )
    {
        Info info = pb::adopt( cryPkeyInfoCreate() );
        cryPkeyInfoSetType( info.handle(), CRY_PKEY_TYPE_RSA );
        cryPkeyInfoSetBits( info.handle(), 2048 );
        cryPkeyInfoSetEcNamedCurve( info.handle(), CRY_PKEY_EC_NAMED_CURVE_SECP384R1 );
        Info holder = info;
        field.set( info.handle(), 1 );
        EXPECT_NE( info.get(), holder.get() );
        EXPECT_EQ( field.get( info.get() ), 1 );
        EXPECT_EQ( shown( holder ), "0 2048 11" );
        EXPECT_FALSE( pbObjIsShared( info.obj() ) );
        EXPECT_FALSE( pbObjIsShared( holder.obj() ) );

        holder = info;
        field.del( info.handle() );
        EXPECT_NE( info.get(), holder.get() );
        EXPECT_FALSE( field.has( info.get() ) );
        EXPECT_EQ( field.get( holder.get() ), 1 );
        for( const Field &other : fields )
        {
            if( &other != &field )
                EXPECT_EQ( other.get( info.get() ), other.get( holder.get() ) );
        }
    }
}

TEST( CryPkeyInfo, DescribesRsaKeys )
{
    EXPECT_EQ( infoOf( key( KeyKind::rsa ).get() ), "0 2048 -" );
    Pkey large( EVP_RSA_gen( 3072 ), EVP_PKEY_free ), odd( EVP_RSA_gen( 1031 ), EVP_PKEY_free );
    EXPECT_EQ( infoOf( large.get() ), "0 3072 -" );
    EXPECT_EQ( infoOf( odd.get() ), "0 1031 -" );
    // RSA keys for PSS only are of another type.
    EXPECT_EQ( infoOf( key( KeyKind::rsaPss ).get() ), "- 2048 -" );
}

TEST( CryPkeyInfo, DescribesKeysOnNamedCurves )
{
    EXPECT_EQ( infoOf( key( KeyKind::p384 ).get() ), "1 384 11" );
    EXPECT_EQ( infoOf( key( KeyKind::p256 ).get() ), "1 256 19" );
    EXPECT_EQ( infoOf( newEcKey( "secp521r1" ).get() ), "1 521 12" );
    EXPECT_EQ( infoOf( newEcKey( "sect163k1" ).get() ), "1 163 24" );
    EXPECT_EQ( infoOf( newEcKey( "brainpoolP512t1" ).get() ), "1 512 80" );
}

TEST( CryPkeyInfo, TheBitsOfAnEcKeyAreThoseOfTheOrder )
{
    // The fields have 163 and 176 bits.
    EXPECT_EQ( infoOf( newEcKey( "sect163r1" ).get() ), "1 162 25" );
    EXPECT_EQ( infoOf( newEcKey( "c2pnb176v1" ).get() ), "1 161 41" );
}

TEST( CryPkeyInfo, EveryCurveIsNamed )
{
    for( PB_INT curve = 0; curve <= CRY_PKEY_EC_NAMED_CURVE_SM2; curve++ )
    {
        EVP_PKEY_CTX *ctx   = EVP_PKEY_CTX_new_from_name( nullptr, "EC", nullptr );
        EVP_PKEY     *group = nullptr;
        std::string   name  = OBJ_nid2sn( cry___PkeyEcNamedCurveToOpensslNid( curve ) );
        ASSERT_EQ( EVP_PKEY_paramgen_init( ctx ), 1 );
        ASSERT_EQ( EVP_PKEY_CTX_set_group_name( ctx, name.c_str() ), 1 ) << name;
        ASSERT_EQ( EVP_PKEY_paramgen( ctx, &group ), 1 ) << name;
        EVP_PKEY_CTX_free( ctx );
        EXPECT_EQ( infoOf( group ), "1 " + std::to_string( EVP_PKEY_get_bits( group ) ) + " " + std::to_string( curve ) ) << name;
        EVP_PKEY_free( group );
    }
}

TEST( CryPkeyInfo, DescribesKeysWithExplicitParameters )
{
    // OpenSSL recognises the explicit parameters of a named curve, but no others.
    EXPECT_EQ( infoOf( newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ).get() ), "1 256 19" );
    Pkey read = readBy( PEM_read_bio_PUBKEY, spkiText( newEcKey( "P-384", OSSL_PKEY_EC_ENCODING_EXPLICIT ).get() ) );
    EXPECT_EQ( infoOf( read.get() ), "1 384 11" );
    EXPECT_EQ( infoOf( newUnnamedCurveKey().get() ), "1 256 -" );
}

TEST( CryPkeyInfo, DescribesAnSm2Key )
{
    // OpenSSL knows the base type of a key that was generated, but not of a key that was read.
    Pkey sm2 = newSm2Key();
    EXPECT_EQ( infoOf( sm2.get() ), "1 256 81" );
    Pkey read = readBy( PEM_read_bio_PrivateKey, pkcs8Text( sm2.get() ) );
    EXPECT_TRUE( EVP_PKEY_is_a( read.get(), "SM2" ) );
    ASSERT_EQ( EVP_PKEY_get_base_id( sm2.get() ), EVP_PKEY_EC );
    ASSERT_EQ( EVP_PKEY_get_base_id( read.get() ), EVP_PKEY_NONE );
    EXPECT_EQ( infoOf( read.get() ), "- 256 81" );
    EXPECT_EQ( infoOf( newEcKey( "SM2" ).get() ), "1 256 81" );
}

TEST( CryPkeyInfo, OtherKeysHaveNoTypeAndNoCurve )
{
    EXPECT_EQ( infoOf( key( KeyKind::ed25519 ).get() ), "- 256 -" );
    EXPECT_EQ( infoOf( newKey( "ED448" ).get() ), "- 456 -" );
    EXPECT_EQ( infoOf( newKey( "X25519" ).get() ), "- 253 -" );
    // DH keys have a group that is not a curve.
    EVP_PKEY_CTX *ctx = EVP_PKEY_CTX_new_from_name( nullptr, "DH", nullptr );
    EVP_PKEY     *dh  = nullptr;
    ASSERT_EQ( EVP_PKEY_keygen_init( ctx ), 1 );
    ASSERT_EQ( EVP_PKEY_CTX_set_group_name( ctx, "ffdhe2048" ), 1 );
    ASSERT_EQ( EVP_PKEY_generate( ctx, &dh ), 1 );
    EVP_PKEY_CTX_free( ctx );
    EXPECT_EQ( infoOf( dh ), "- 2048 -" );
    EVP_PKEY_free( dh );
}

TEST( CryPkeyInfo, AKeyThatHoldsNothingHasNoBits )
{
    Pkey empty( EVP_PKEY_new(), EVP_PKEY_free );
    takeErrors();
    EXPECT_EQ( shown( pb::adopt( cry___PkeyInfoCreateFromOpensslEvpPkey( empty.get() ) ) ), "- - -" );
    takeErrors();
}

TEST( CryPkeyInfo, KeyObjectsTellTheirs )
{
    struct
    {
        Pkey        pkey;
        const char *wanted;
        const char *wantedOfRead = wanted;
    } keys[] = { { key( KeyKind::rsa ), "0 2048 -" }, { key( KeyKind::rsaPss ), "- 2048 -" }, { key( KeyKind::p256 ), "1 256 19" },
        { key( KeyKind::p384 ), "1 384 11" }, { key( KeyKind::ed25519 ), "- 256 -" }, { newSm2Key(), "1 256 81", "- 256 81" },
        { newUnnamedCurveKey(), "1 256 -" } };
    for( const auto &each : keys )
    {
        pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( each.pkey.get() ) );
        pb::Ref<CRY_PKEY_PUBLIC>  pub  = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( each.pkey.get() ) );
        ASSERT_TRUE( priv && pub ) << each.wanted;
        // The keys are also read from their texts, in the fast way if there is one.
        pb::Ref<CRY_PEM>          privPem = pb::adopt( cryPkeyPrivatePem( priv.get() ) ), pubPem = pb::adopt( cryPkeyPublicPem( pub.get() ) );
        pb::Ref<CRY_PKEY_PRIVATE> privRead = pb::adopt( cryPkeyPrivateTryCreateFromPem( privPem.get() ) );
        pb::Ref<CRY_PKEY_PUBLIC>  pubRead  = pb::adopt( cryPkeyPublicTryCreateFromPem( pubPem.get() ) );
        ASSERT_TRUE( privRead && pubRead ) << each.wanted;
        EXPECT_EQ( shown( pb::adopt( cryPkeyPrivateInfo( priv.get() ) ) ), each.wanted );
        EXPECT_EQ( shown( pb::adopt( cryPkeyPublicInfo( pub.get() ) ) ), each.wanted );
        EXPECT_EQ( shown( pb::adopt( cryPkeyPrivateInfo( privRead.get() ) ) ), each.wantedOfRead );
        EXPECT_EQ( shown( pb::adopt( cryPkeyPublicInfo( pubRead.get() ) ) ), each.wantedOfRead );
        Info first = pb::adopt( cryPkeyPublicInfo( pub.get() ) ), second = pb::adopt( cryPkeyPublicInfo( pub.get() ) );
        EXPECT_NE( first.get(), second.get() );
    }
}

TEST( CryPkeyInfo, IsEqualOnlyToItself )
{
    Info first = pb::adopt( cryPkeyInfoCreate() ), copy = pb::adopt( cryPkeyInfoCreateFrom( first.get() ) );
    EXPECT_TRUE( cryPkeyInfoEquals( first.get(), first.get() ) );
    EXPECT_FALSE( cryPkeyInfoEquals( first.get(), copy.get() ) );
    EXPECT_NE( cryPkeyInfoCompare( first.get(), copy.get() ), 0 );
    EXPECT_EQ( cryPkeyInfoCompare( first.get(), copy.get() ) < 0, cryPkeyInfoCompare( copy.get(), first.get() ) > 0 );
    EXPECT_STREQ( pbSortName( cryPkeyInfoSort() ), "CRY_PKEY_INFO" );
    EXPECT_EQ( cryPkeyInfoFrom( cryPkeyInfoObj( first.get() ) ), first.get() );
    EXPECT_TRUE( text( pb::adopt( cryPkeyInfoToString( first.get() ) ) ).starts_with( "CRY_PKEY_INFO(0x" ) );
    Info second = pb::adopt( cryPkeyInfoRetain( first.get() ) );
    EXPECT_TRUE( pbObjIsShared( first.obj() ) );
    cryPkeyInfoRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( first.obj() ) );
}
