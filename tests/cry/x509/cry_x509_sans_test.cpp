#include "cry/x509/names.hpp"
#include "support/certificates.hpp"

#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>

using namespace support;

namespace
{

using Hosts = std::vector<std::string>;

double secondsOf( auto work )
{
    auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>( std::chrono::steady_clock::now() - start ).count();
}

// If each name were compared with each other one, it would take much longer, even without a
// sanitizer.
constexpr double soon = 10;

// The definition of a match.
bool hasMatchOneByOne( const Sans &sansA, const Sans &sansB, PB_BOOL wildcard )
{
    for( PB_INT a = 0; a < cryX509SansLength( sansA.get() ); a++ )
    {
        San sanA = pb::adopt( cryX509SansAt( sansA.get(), a ) );
        for( PB_INT b = 0; b < cryX509SansLength( sansB.get() ); b++ )
        {
            if( cryX509SanEqualsWildcard( sanA.get(), pb::adopt( cryX509SansAt( sansB.get(), b ) ).get(), wildcard ) )
                return true;
        }
    }
    return false;
}

bool hasMatch( const Hosts &a, const Hosts &b, PB_BOOL wildcard = PB_TRUE )
{
    return cryX509SansHasMatch( sansOf( a ).get(), sansOf( b ).get(), wildcard );
}

struct Edit
{
    const char *name;
    void ( *apply )( CRY_X509_SANS **sans );
    Hosts result; // of an edit of b.example, d.example
};

const Edit edits[] = {
    { "set", []( CRY_X509_SANS **sans ) { cryX509SansSet( sans, san( "c.example" ).get() ); }, { "b.example", "c.example", "d.example" } },
    { "set an equal one", []( CRY_X509_SANS **sans ) { cryX509SansSet( sans, san( "d.example" ).get() ); }, { "b.example", "d.example" } },
    { "set another case", []( CRY_X509_SANS **sans ) { cryX509SansSet( sans, san( "D.example" ).get() ); },
        { "D.example", "b.example", "d.example" } },
    { "delete", []( CRY_X509_SANS **sans ) { cryX509SansDel( sans, san( "b.example" ).get() ); }, { "d.example" } },
    { "delete none", []( CRY_X509_SANS **sans ) { cryX509SansDel( sans, san( "B.example" ).get() ); }, { "b.example", "d.example" } },
    { "include",
        []( CRY_X509_SANS **sans ) {
            cryX509SansInclude( sans, sansOf( { "::1", "d.example", "a.example" } ).get() );
        },
        { "a.example", "b.example", "d.example", "::1" } },
    { "include itself", []( CRY_X509_SANS **sans ) { cryX509SansInclude( sans, *sans ); }, { "b.example", "d.example" } },
    { "include none", []( CRY_X509_SANS **sans ) { cryX509SansInclude( sans, sansOf( {} ).get() ); }, { "b.example", "d.example" } },
    { "clear", []( CRY_X509_SANS **sans ) { cryX509SansClear( sans ); }, {} },
    { "set all",
        []( CRY_X509_SANS **sans ) {
            pb::Ref<PB_VECTOR> vec     = pb::adopt( pbVectorCreate() );
            for( const char *host : { "192.0.2.1", "z.example", "a.example", "z.example" } )
                pbVectorAppendObj( vec.handle(), san( host ).obj() );
            cryX509SansSetVector( sans, vec.get() );
        },
        { "a.example", "z.example", "192.0.2.1" } },
    { "set its own",
        []( CRY_X509_SANS **sans ) {
            pb::Ref<PB_VECTOR> vec     = pb::adopt( cryX509SansVector( *sans ) );
            cryX509SansSetVector( sans, vec.get() );
        },
        { "b.example", "d.example" } },
};

Sans edited() { return sansOf( { "d.example", "b.example" } ); }

}

TEST( CryX509Sans, AreEmptyAtFirst )
{
    Sans sans = pb::adopt( cryX509SansCreate() );
    EXPECT_EQ( cryX509SansLength( sans.get() ), 0 );
    EXPECT_EQ( pbVectorLength( pb::adopt( cryX509SansVector( sans.get() ) ).get() ), 0 );
    EXPECT_FALSE( cryX509SansHas( sans.get(), san( "a.example" ).get() ) );
}

TEST( CryX509Sans, EditsGiveTheirResult )
{
    for( const Edit &edit : edits )
    {
        Sans           sans   = edited();
        CRY_X509_SANS *before = sans.get();
        // What was asked before an edit must not answer after it.
        EXPECT_EQ( hostsOf( sans ).size(), 2u );
        edit.apply( sans.handle() );
        EXPECT_EQ( hostsOf( sans ), edit.result ) << edit.name;
        EXPECT_EQ( sans.get(), before ) << edit.name << ": nobody else holds it, so it is not copied";
        pb::Ref<PB_VECTOR> vec = pb::adopt( cryX509SansVector( sans.get() ) );
        ASSERT_EQ( pbVectorLength( vec.get() ), (PB_INT)edit.result.size() );
        for( size_t index = 0; index < edit.result.size(); index++ )
            EXPECT_EQ( pb___VectorPeekObjAt( vec.get(), (PB_INT)index ), pb::adopt( cryX509SansAt( sans.get(), (PB_INT)index ) ).obj() );
    }
}

TEST( CryX509Sans, EditsOfASharedSetAreSeenByNobodyElse )
{
    for( const Edit &edit : edits )
    {
        Sans               sans = edited(), other = sans, copy = pb::adopt( cryX509SansCreateFrom( sans.get() ) );
        pb::Ref<PB_VECTOR> out = pb::adopt( cryX509SansVector( sans.get() ) );
        edit.apply( sans.handle() );
        EXPECT_EQ( hostsOf( sans ), edit.result ) << edit.name;
        EXPECT_EQ( hostsOf( other ), hostsOf( edited() ) ) << edit.name;
        EXPECT_EQ( hostsOf( copy ), hostsOf( edited() ) ) << edit.name;
        EXPECT_EQ( pbVectorLength( out.get() ), 2 ) << edit.name;
        EXPECT_NE( sans.get(), other.get() ) << edit.name;
        EXPECT_FALSE( pbObjIsShared( other.obj() ) ) << edit.name;
        edit.apply( copy.handle() );
        EXPECT_EQ( hostsOf( copy ), edit.result ) << edit.name;
        EXPECT_EQ( hostsOf( other ), hostsOf( edited() ) ) << edit.name;
    }
}

TEST( CryX509Sans, AVectorHandedOutIsItsOwnersToEdit )
{
    Sans               sans = edited();
    pb::Ref<PB_VECTOR> vec  = pb::adopt( cryX509SansVector( sans.get() ) );
    pbVectorClear( vec.handle() );
    EXPECT_EQ( hostsOf( sans ), hostsOf( edited() ) );
}

TEST( CryX509Sans, AnEqualNameReplacesTheOneThatIsThere )
{
    Sans sans = edited();
    San  name = san( "d.example" );
    cryX509SansSet( sans.handle(), name.get() );
    EXPECT_EQ( pb::adopt( cryX509SansAt( sans.get(), 1 ) ).get(), name.get() );
    EXPECT_TRUE( cryX509SansHas( sans.get(), san( "d.example" ).get() ) );
    EXPECT_FALSE( cryX509SansHas( sans.get(), san( "D.example" ).get() ) );
    EXPECT_FALSE( cryX509SansHas( sans.get(), san( "d.example." ).get() ) );
}

TEST( CryX509Sans, AreOrderedByTheirNamesThenByLength )
{
    const Hosts ordered[] = { {}, { "A.example" }, { "a.example" }, { "a.example", "b.example" }, { "a.example", "::1" }, { "b.example" },
        { "::1" } };
    for( size_t a = 0; a < std::size( ordered ); a++ )
    {
        for( size_t b = 0; b < std::size( ordered ); b++ )
        {
            PB_INT order = cryX509SansCompare( sansOf( ordered[a] ).get(), sansOf( ordered[b] ).get() );
            EXPECT_EQ( order < 0, a < b ) << a << ", " << b;
            EXPECT_EQ( order > 0, a > b ) << a << ", " << b;
        }
    }
}

TEST( CryX509Sans, ComeBackFromTheirStoreInOrder )
{
    Sans              sans  = sansOf( { "::1", "b\u00fccher.example", "*.example.com", "A.example", "192.0.2.1" } );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509SansStore( sans.get() ) );
    EXPECT_EQ( pbStoreLength( store.get() ), 5 );
    EXPECT_FALSE( pb::adopt( pbStoreKeyAt( store.get(), 0 ) ) );
    Sans again = pb::adopt( cryX509SansRestore( store.get() ) );
    EXPECT_TRUE( cryX509SansEquals( again.get(), sans.get() ) );
    EXPECT_EQ( hostsOf( again ), hostsOf( sans ) );
    EXPECT_EQ( pbStoreLength( pb::adopt( cryX509SansStore( sansOf( {} ).get() ) ).get() ), 0 );
}

TEST( CryX509Sans, EntriesThatDoNotRestoreAreSkipped )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() ), empty = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STORE> good = pb::adopt( cryX509SanStore( san( "b.example" ).get() ) );
    pbStoreAppendValue( store.handle(), str( "a.example" ).get() );
    pbStoreAppendStore( store.handle(), good.get() );
    pbStoreAppendIntValue( store.handle(), 7 );
    pbStoreAppendStore( store.handle(), empty.get() );
    pbStoreAppendStore( store.handle(), good.get() );
    pbStoreAppendStore( store.handle(), pb::adopt( cryX509SanStore( san( "a.example" ).get() ) ).get() );
    EXPECT_EQ( hostsOf( pb::adopt( cryX509SansRestore( store.get() ) ) ), ( Hosts{ "a.example", "b.example" } ) );
    EXPECT_EQ( hostsOf( pb::adopt( cryX509SansRestore( empty.get() ) ) ), Hosts{} );

    // The keys of a keyed store do not matter.
    pbStoreSetStoreCstr( empty.handle(), "x", -1, good.get() );
    EXPECT_EQ( hostsOf( pb::adopt( cryX509SansRestore( empty.get() ) ) ), Hosts{ "b.example" } );
}

TEST( CryX509Sans, MatchIfOneNameOfEachMatches )
{
    EXPECT_FALSE( hasMatch( {}, {} ) );
    EXPECT_FALSE( hasMatch( {}, { "a.example" } ) );
    EXPECT_FALSE( hasMatch( { "a.example" }, {} ) );
    EXPECT_TRUE( hasMatch( { "z.example", "a.example", "::1" }, { "b.example", "A.EXAMPLE." } ) );
    EXPECT_TRUE( hasMatch( { "z.example", "::1" }, { "b.example", "0::1" }, PB_FALSE ) );
    EXPECT_FALSE( hasMatch( { "z.example", "::1" }, { "b.example", "::2" } ) );
    for( bool exchanged : { false, true } )
    {
        Hosts wild = { "*.example.com", "x.example" }, hosts = { "a.b", "host.example.com", "c.d" };
        if( exchanged )
            std::swap( wild, hosts );
        EXPECT_TRUE( hasMatch( wild, hosts, PB_TRUE ) );
        EXPECT_FALSE( hasMatch( wild, hosts, PB_FALSE ) );
    }
}

TEST( CryX509Sans, MatchExactlyIfTheNamesDoOneByOne )
{
    static const char *const labels[]    = { "a", "A", "b", "*", "*", "h*", "_x", "b\u00fc", "B\u00dc", "xn--b-xga", "stra\u00dfe", "strasse",
           "xn--strae-oqa", "\u03c2", "\u03c3", "1", "2", "1", "2", "01", "\uff11", "\u05d0" };
    static const char *const stops[]     = { ".", ".", ".", ".", ".", ".", "\u3002", "\uff0e" };
    static const char *const addresses[] = { "1.1.2.2", "::1", "::2", "::ffff:1.1.2.2" };

    std::mt19937 random( 7 );
    auto         below  = [&random]( size_t limit ) { return (size_t)( random() % limit ); };
    auto         anySan = [&]() -> San {
        if( below( 12 ) == 0 )
            return san( addresses[below( std::size( addresses ) )] );
        std::string host;
        // Names of four to five numbers are as frequent as short names.
        size_t length  = below( 3 ) ? 1 + below( 3 ) : 5;
        bool   numbers = below( 2 );
        for( size_t index = 0; index < length; index++ )
        {
            bool number = numbers && index > 0;
            host += index ? stops[below( std::size( stops ) )] : "";
            host += number ? ( below( 2 ) ? "1" : "2" ) : labels[below( std::size( labels ) )];
        }
        return san( host + ( below( 4 ) ? "" : "." ) );
    };
    auto anySans = [&] {
        Sans sans = pb::adopt( cryX509SansCreate() );
        for( size_t count = below( 5 ); count > 0; count-- )
        {
            if( San name = anySan() )
                cryX509SansSet( sans.handle(), name.get() );
        }
        return sans;
    };

    size_t matches[2] = {}, misses[2] = {};
    for( int round = 0; round < 20000; round++ )
    {
        Sans a = anySans(), b = anySans();
        for( PB_BOOL wildcard : { PB_FALSE, PB_TRUE } )
        {
            bool expected = hasMatchOneByOne( a, b, wildcard );
            ++( expected ? matches : misses )[wildcard];
            ASSERT_EQ( (bool)cryX509SansHasMatch( a.get(), b.get(), wildcard ), expected )
                << testing::PrintToString( hostsOf( a ) ) << testing::PrintToString( hostsOf( b ) ) << wildcard;
        }
    }
    // Both answers are frequent, and wildcards add matches.
    EXPECT_GT( matches[PB_FALSE], 300u );
    EXPECT_GT( matches[PB_TRUE], matches[PB_FALSE] + 300u );
    EXPECT_GT( misses[PB_TRUE], 1000u );
}

TEST( CryX509Sans, TenThousandNamesMatchTenThousandSoon )
{
    for( std::string_view prefix : { "", "*." } )
    {
        Sans a = pb::adopt( cryX509SansCreate() ), b = pb::adopt( cryX509SansCreate() );
        for( int number = 0; number < 10000; number++ )
        {
            std::string name = std::to_string( number ) + ".example.com";
            cryX509SansSet( a.handle(), san( std::string( prefix ) + "a" + name ).get() );
            cryX509SansSet( b.handle(), san( "x.b" + name ).get() );
        }
        double seconds = secondsOf( [&] {
            for( PB_BOOL wildcard : { PB_FALSE, PB_TRUE } )
                EXPECT_FALSE( cryX509SansHasMatch( a.get(), b.get(), wildcard ) );
        } );
        EXPECT_LT( seconds, soon );
        RecordProperty( "seconds", std::to_string( seconds ) );
        cryX509SansSet( b.handle(), san( "y.a9999.example.com" ).get() );
        EXPECT_EQ( (bool)cryX509SansHasMatch( a.get(), b.get(), PB_TRUE ), !prefix.empty() );
    }
}

TEST( CryX509Sans, ManyThreadsMatchTheSameSets )
{
    Sans             a = sansOf( { "*.example.com", "b\u00fccher.example", "::1" } ), b = sansOf( { "www.example.com" } ), c = sansOf( { "::2" } );
    std::atomic<int> right = 0;
    std::vector<std::jthread> threads;
    for( int thread = 0; thread < 4; thread++ )
        threads.emplace_back( [&] {
            right += cryX509SansHasMatch( a.get(), b.get(), PB_TRUE ) && !cryX509SansHasMatch( a.get(), c.get(), PB_TRUE ) &&
                pbVectorLength( pb::adopt( cryX509SansVector( a.get() ) ).get() ) == 3;
        } );
    threads.clear();
    EXPECT_EQ( right, 4 );
}

// Names of certificates.

TEST( CryX509Sans, ACertificatesNamesAreUnicodeWithFoldedCase )
{
    struct
    {
        std::string name;
        Hosts       kept;
    } const cases[] = {
        { "Host.EXAMPLE.com", { "host.example.com" } },
        { "host.example.com.", { "host.example.com" } },
        { "*.Example.com", { "*.example.com" } },
        { "xn--bcher-kva.EXAMPLE", { "b\u00fccher.example" } },
        { "XN--BCHER-KVA.example", { "b\u00fccher.example" } },
        // Folding would give other domains.
        { "xn--strae-oqa.example", { "stra\u00dfe.example" } },
        { "xn--nxasmm1c.example", { "\u03b2\u03cc\u03bb\u03bf\u03c2.example" } },
        { "xn--nxasmq6b.example", { "\u03b2\u03cc\u03bb\u03bf\u03c3.example" } },
        // The bytes of an IA5 string above 127 are read as ISO 8859-1.
        { "B\xfc"
          "cher.example",
            { "b\u00fccher.example" } },
        { std::string( 63, 'A' ) + ".example", { std::string( 63, 'a' ) + ".example" } },
        { "_srv.example", { "_srv.example" } },
        // No domain names.
        { "", {} },
        { "a..example", {} },
        { "192.0.2.1", {} },
        { "-a.example", {} },
        { "a b.example", {} },
        { std::string( 64, 'a' ) + ".example", {} },
        { std::string( "good.example\0.evil.example", 26 ), {} },
        { "xn--a.example", {} },
    };
    for( const auto &each : cases )
    {
        Sans sans = GeneralNames().add( GEN_DNS, each.name ).sans();
        EXPECT_EQ( hostsOf( sans ), each.kept ) << each.name;
        // A certificate matches its own name, in each form.
        if( !each.kept.empty() && each.name.find( '\xfc' ) == each.name.npos )
        {
            EXPECT_TRUE( cryX509SansHasMatch( sans.get(), sansOf( { each.name } ).get(), PB_FALSE ) ) << each.name;
            EXPECT_TRUE( cryX509SansHasMatch( sansOf( each.kept ).get(), sans.get(), PB_FALSE ) ) << each.name;
        }
    }
}

TEST( CryX509Sans, ACertificateIsNotForTheNameThatFoldingWouldGive )
{
    auto isFor = []( const char *certificate, const char *host ) {
        return (bool)cryX509SansHasMatch( GeneralNames().add( GEN_DNS, certificate ).sans().get(), sansOf( { host } ).get(), PB_TRUE );
    };
    EXPECT_TRUE( isFor( "xn--strae-oqa.example", "Stra\u00dfe.example" ) );
    EXPECT_TRUE( isFor( "xn--strae-oqa.example", "XN--STRAE-OQA.example." ) );
    EXPECT_FALSE( isFor( "xn--strae-oqa.example", "strasse.example" ) );
    EXPECT_FALSE( isFor( "strasse.example", "stra\u00dfe.example" ) );
    EXPECT_TRUE( isFor( "*.xn--strae-oqa.example", "www.stra\u00dfe.example" ) );
    EXPECT_FALSE( isFor( "*.xn--strae-oqa.example", "www.strasse.example" ) );
    EXPECT_FALSE( isFor( "*.strasse.example", "www.stra\u00dfe.example" ) );
    EXPECT_TRUE( isFor( "xn--nxasmm1c.example", "\u03b2\u03cc\u03bb\u03bf\u03c2.example" ) );
    EXPECT_FALSE( isFor( "xn--nxasmm1c.example", "\u03b2\u03cc\u03bb\u03bf\u03c3.example" ) );
    EXPECT_FALSE( isFor( "xn--nxasmq6b.example", "\u03b2\u03cc\u03bb\u03bf\u03c2.example" ) );
    EXPECT_TRUE( isFor( "xn--nxasmq6b.example", "\u0392\u038c\u039b\u039f\u03a3.example" ) );
}

TEST( CryX509Sans, ACertificatesAddressesHaveFourOrSixteenBytes )
{
    GeneralNames names;
    for( size_t length : { 0, 1, 3, 4, 5, 8, 15, 16, 17, 32 } )
        names.add( GEN_IPADD, std::string( "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1tail............", 32 ).substr( 0, length ) );
    EXPECT_EQ( hostsOf( names.sans() ), ( Hosts{ "32.1.13.184", "2001:db8::1" } ) );
}

TEST( CryX509Sans, OtherKindsOfGeneralNamesAreIgnored )
{
    GeneralNames names;
    names.add( GEN_EMAIL, "a@b.example" ).add( GEN_URI, "https://c.example" ).push( nullptr ).add( GEN_DNS, "host.example" );
    names.add( GEN_RID, OBJ_txt2obj( "1.2.3.4", 1 ) ).add( GEN_DIRNAME, X509_NAME_new() ).add( GEN_DNS, "HOST.example" ).add( GEN_IPADD, "\1\2\3\4" );
    // Names without a value.
    names.add( GEN_DNS, nullptr ).add( GEN_IPADD, nullptr );
    // Text of another type, which cannot be decoded.
    ASN1_STRING *odd = ASN1_STRING_type_new( V_ASN1_BMPSTRING );
    ASN1_STRING_set( odd, "abc", 3 );
    names.add( GEN_DNS, odd );
    raiseError();
    EXPECT_EQ( hostsOf( names.sans() ), ( Hosts{ "host.example", "1.2.3.4" } ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    EXPECT_EQ( hostsOf( GeneralNames().sans() ), Hosts{} );
}

TEST( CryX509Sans, ManyNamesOfACertificateAreReadSoon )
{
    // The names descend, so that a list that is kept in order by insertion would be slow.
    GeneralNames names;
    int          count = 100000;
    for( int number = count; number > 0; number-- )
        names.add( GEN_DNS, "host-" + std::to_string( number ) + ".example.com" );
    Sans   sans;
    double seconds = secondsOf( [&] { sans = names.sans(); } );
    EXPECT_EQ( cryX509SansLength( sans.get() ), count );
    EXPECT_LT( seconds, soon );
    RecordProperty( "seconds", std::to_string( seconds ) );
    seconds = secondsOf( [&] {
        for( PB_INT index = 0; index < count; index++ )
            pb::adopt( cryX509SansAt( sans.get(), index ) );
    } );
    EXPECT_LT( seconds, soon );
}
