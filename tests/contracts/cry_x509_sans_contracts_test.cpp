#include "cry/x509/names.hpp"
#include "support/standard_functions.hpp"

using namespace support;

static constexpr char sanFile[]  = "source/cry/x509/cry_x509_san.cpp";
static constexpr char sansFile[] = "source/cry/x509/cry_x509_sans.cpp";

TEST( CryX509SanContracts, StandardFunctions )
{
    San name = san( "host.example" );
    EXPECT_STANDARD_CHECKS( sanFile, cry, X509San, CRY_X509_SAN, "san", name.get() );
}

TEST( CryX509SanContracts, Creating )
{
    for( const char *text : { "", "a..b", "192.0.2.1", "::1", "a b" } )
        EXPECT_ABORT( sanFile, "inDnsIdnaDomainNameOk( idn )", cryX509SanCreateDnsName( str( text ).get() ) );
    EXPECT_ABORT( "source/in/in_dns_idna.cpp", "name", cryX509SanCreateDnsName( nullptr ) );
    EXPECT_ABORT( sanFile, "ina", cryX509SanCreateIpAddress( nullptr ) );
    EXPECT_ABORT( sanFile, "host", cryX509SanTryCreateFromHost( nullptr ) );
    EXPECT_ABORT( sanFile, "store", cryX509SanTryRestore( nullptr ) );
}

TEST( CryX509SanContracts, Reading )
{
    San name = san( "host.example" );
    EXPECT_ABORT( sanFile, "san", cryX509SanType( nullptr ) );
    EXPECT_ABORT( sanFile, "san", cryX509SanDnsName( nullptr ) );
    EXPECT_ABORT( sanFile, "san", cryX509SanIpAddress( nullptr ) );
    EXPECT_ABORT( sanFile, "san", cryX509SanStore( nullptr ) );
    EXPECT_ABORT( sanFile, "sanA", cryX509SanEqualsWildcard( nullptr, name.get(), PB_TRUE ) );
    EXPECT_ABORT( sanFile, "sanA", cryX509SanEqualsWildcard( nullptr, nullptr, PB_FALSE ) );
    EXPECT_ABORT( sanFile, "sanB", cryX509SanEqualsWildcard( name.get(), nullptr, PB_TRUE ) );
}

TEST( CryX509SansContracts, StandardFunctions )
{
    Sans sans = sansOf( { "host.example" } );
    EXPECT_STANDARD_CHECKS( sansFile, cry, X509Sans, CRY_X509_SANS, "sans", sans.get() );
}

TEST( CryX509SansContracts, Reading )
{
    Sans sans = sansOf( { "host.example" } );
    San  name = san( "host.example" );
    EXPECT_ABORT( sansFile, "source", cryX509SansCreateFrom( nullptr ) );
    EXPECT_ABORT( sansFile, "store", cryX509SansRestore( nullptr ) );
    EXPECT_ABORT( sansFile, "gn", cry___X509SansCreateFromOpensslSubjectAltNames( nullptr ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansLength( nullptr ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansAt( nullptr, 0 ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansVector( nullptr ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansStore( nullptr ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansHas( nullptr, name.get() ) );
    EXPECT_ABORT( sansFile, "sans", cryX509SansHas( nullptr, nullptr ) );
    EXPECT_ABORT( sansFile, "san", cryX509SansHas( sans.get(), nullptr ) );
    EXPECT_ABORT( sansFile, "sansA", cryX509SansHasMatch( nullptr, sans.get(), PB_TRUE ) );
    EXPECT_ABORT( sansFile, "sansA", cryX509SansHasMatch( nullptr, nullptr, PB_TRUE ) );
    EXPECT_ABORT( sansFile, "sansB", cryX509SansHasMatch( sans.get(), nullptr, PB_TRUE ) );
    for( PB_INT index : { (PB_INT)-1, (PB_INT)1, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_TRUE( abortOf( [&] { cryX509SansAt( sans.get(), index ); } ).happened ) << index;
}

TEST( CryX509SansContracts, Editing )
{
    Sans               sans = sansOf( { "host.example" } );
    San                name = san( "host.example" );
    pb::Ref<PB_VECTOR> vec = pb::adopt( cryX509SansVector( sans.get() ) ), mixed = vec;
    pbVectorAppendObj( mixed.handle(), str( "host.example" ).obj() );
    CRY_X509_SANS *none = nullptr;
    for( CRY_X509_SANS **handle : { (CRY_X509_SANS **)nullptr, &none } )
    {
        const char *check = handle ? "*sans" : "sans";
        EXPECT_ABORT( sansFile, check, cryX509SansSet( handle, nullptr ) );
        EXPECT_ABORT( sansFile, check, cryX509SansDel( handle, nullptr ) );
        EXPECT_ABORT( sansFile, check, cryX509SansInclude( handle, nullptr ) );
        EXPECT_ABORT( sansFile, check, cryX509SansClear( handle ) );
        EXPECT_ABORT( sansFile, check, cryX509SansSetVector( handle, mixed.get() ) );
    }
    EXPECT_ABORT( sansFile, "san", cryX509SansSet( sans.handle(), nullptr ) );
    EXPECT_ABORT( sansFile, "san", cryX509SansDel( sans.handle(), nullptr ) );
    EXPECT_ABORT( sansFile, "src", cryX509SansInclude( sans.handle(), nullptr ) );
    EXPECT_ABORT( sansFile, "pbVectorContainsOnly( vec, cryX509SanSort() )", cryX509SansSetVector( sans.handle(), mixed.get() ) );
    EXPECT_TRUE( abortOf( [&] { cryX509SansSetVector( sans.handle(), nullptr ); } ).happened );
    // A call that aborts has edited nothing.
    EXPECT_EQ( hostsOf( sans ), std::vector<std::string>{ "host.example" } );
}
