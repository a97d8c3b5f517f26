#include "cry/x509/names.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

const std::string longLabel( 63, 'a' );
const std::string longRest = longLabel + "." + longLabel + "." + std::string( 61, 'b' ); // 189 characters
const std::string longName = longLabel + "." + longRest;                                 // 253 characters

enum Match
{
    never,
    asWildcard, // only if wildcards count
    always
};

struct HostPair
{
    std::string a, b;
    Match       match;
};

const HostPair hostPairs[] = {
    // Spellings of one name.
    { "example.com", "example.com", always },
    { "example.com", "EXAMPLE.Com", always },
    { "example.com", "example.com.", always },
    { "example.com", "example\u3002com", always },
    { "example.com", "example.org", never },
    { "example.com", "www.example.com", never },
    { "localhost", "LOCALHOST.", always },
    { "b\u00fccher.example", "xn--bcher-kva.example", always },
    { "b\u00fccher.example", "B\u00dcCHER.Example.", always },
    { "xn--bcher-kva.example", "XN--BCHER-KVA.EXAMPLE.", always },
    { "b\u00fccher.example", "bu\u0308cher.example", always },
    { "b\u00fccher.example", "bucher.example", never },
    { "_dmarc.example.com", "_DMARC.example.com", always },
    { longName, longName + ".", always },
    // Sharp s and the final sigma are letters of their own.
    { "stra\u00dfe.example", "strasse.example", never },
    { "stra\u00dfe.example", "xn--strae-oqa.example", always },
    { "strasse.example", "xn--strae-oqa.example", never },
    { "\u03b2\u03cc\u03bb\u03bf\u03c2.example", "\u03b2\u03cc\u03bb\u03bf\u03c3.example", never },
    { "\u03b2\u03cc\u03bb\u03bf\u03c2.example", "xn--nxasmm1c.example", always },
    { "\u03b2\u03cc\u03bb\u03bf\u03c3.example", "xn--nxasmq6b.example", always },
    { "\u0392\u038c\u039b\u039f\u03a3.example", "xn--nxasmq6b.example", always },
    // A wildcard stands for one whole label at the left.
    { "*.example.com", "*.example.com", always },
    { "*.example.com", "*.EXAMPLE.com.", always },
    { "*.example.com", "host.example.com", asWildcard },
    { "*.example.com", "HOST.Example.COM.", asWildcard },
    { "*.example.com.", "host.example.com", asWildcard },
    { "*.example.com", "_tcp.example.com", asWildcard },
    { "*.example.com", "h*.example.com", asWildcard },
    { "*.example.com", "b\u00fccher.example.com", asWildcard },
    { "*.example.com", "xn--bcher-kva.example.com", asWildcard },
    { "*.b\u00fccher.example", "www.xn--bcher-kva.example", asWildcard },
    { "*.XN--BCHER-KVA.example", "www.B\u00dcCHER.example.", asWildcard },
    { "*.stra\u00dfe.example", "www.xn--strae-oqa.example", asWildcard },
    { "*.stra\u00dfe.example", "www.strasse.example", never },
    { "*.example.com", longLabel + ".example.com", asWildcard },
    { "*." + longRest, longName, asWildcard },
    { "*.com", "example.com", asWildcard },
    { "*.\u05d0\u05d1", "\u05d2.\u05d0\u05d1", asWildcard },
    { "*.example.com", "example.com", never },
    { "*.example.com", "a.b.example.com", never },
    { "*.example.com", "*.b.example.com", never },
    { "*.*.example.com", "a.*.example.com", asWildcard },
    { "*.*.example.com", "a.b.example.com", never },
    { "h*.example.com", "host.example.com", never },
    { "h*.example.com", "H*.example.com", always },
    { "a.*.com", "a.b.com", never },
    // Names of one label have no label that a wildcard stands for.
    { "*.example.com", "localhost", never },
    { "*.example.com", "*.", never },
    { "*.", "localhost", never },
    { "*", "localhost", never },
    { "*", "*.", always },
    // An asterisk and another full stop than the ASCII one make no wildcard.
    { "*\u3002example.com", "host.example.com", never },
    { "*\u3002example.com", "*.example.com", always },
    // An IPv4 address after the first label is no domain name and is compared as it is written.
    { "*.192.0.2.1", "host.192.0.2.1", asWildcard },
    { "*.192.0.2.1", "host.192.0.2.1.", asWildcard },
    { "*.192.0.2.1.", "host.192.0.2.1", never },
    { "*.192.0.2.1", "host.192.0.2.2", never },
    { "*.192.0.2.1", "host\u3002\uff11\uff19\uff12.0.2.1", never },
    { "*.192.0.2.01", "host.192.0.2.01.", asWildcard },
    // Addresses.
    { "192.0.2.1", "192.0.2.1", always },
    { "192.0.2.1", "192.0.2.2", never },
    { "192.0.2.1", "::ffff:192.0.2.1", never },
    { "2001:db8::1", "[2001:0DB8:0:0:0:0:0:1]", always },
    { "::", "0:0:0:0:0:0:0.0.0.0", always },
    { "::1", "::2", never },
    { "192.0.2.1", "*.0.2.1", never },
    { "192.0.2.1", "host.192.0.2.1", never },
};

const std::string notHosts[] = { "", ".", "..", "a..b", ".a", "-a.example", "a-.example", "a b", "*example.com/", "256.1.1.1 ", "http://a", "a:443",
    "xn--", "xn--a", "[192.0.2.1", std::string( 64, 'a' ), "a" + longName, std::string( "a.example\0.b", 12 ) };

San restored( const std::vector<std::pair<const char *, std::string>> &entries )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    for( const auto &[key, value] : entries )
        pbStoreSetValueCstr( store.handle(), key, -1, str( value ).get() );
    return pb::adopt( cryX509SanTryRestore( store.get() ) );
}

}

TEST( CryX509San, HostPairsMatchInBothOrders )
{
    for( const HostPair &pair : hostPairs )
    {
        San a = san( pair.a ), b = san( pair.b );
        ASSERT_TRUE( a ) << pair.a;
        ASSERT_TRUE( b ) << pair.b;
        for( PB_BOOL wildcard : { PB_FALSE, PB_TRUE } )
        {
            bool expected = wildcard ? pair.match != never : pair.match == always;
            EXPECT_EQ( (bool)cryX509SanEqualsWildcard( a.get(), b.get(), wildcard ), expected ) << pair.a << ", " << pair.b << ", " << wildcard;
            EXPECT_EQ( (bool)cryX509SanEqualsWildcard( b.get(), a.get(), wildcard ), expected ) << pair.b << ", " << pair.a << ", " << wildcard;
            // The set finds the same without a comparison.
            EXPECT_EQ( (bool)cryX509SansHasMatch( sansOf( { pair.a } ).get(), sansOf( { pair.b } ).get(), wildcard ), expected )
                << pair.a << ", " << pair.b << ", " << wildcard;
        }
    }
}

TEST( CryX509San, AHostIsAnAddressOrADomainName )
{
    struct
    {
        const char *host;
        PB_INT      type;
        const char *text;
    } const cases[] = {
        { "192.0.2.1", CRY_X509_SAN_TYPE_IP_ADDRESS, "192.0.2.1" },
        { "::1", CRY_X509_SAN_TYPE_IP_ADDRESS, "::1" },
        { "[2001:DB8:0::1]", CRY_X509_SAN_TYPE_IP_ADDRESS, "2001:db8::1" },
        { "Host.EXAMPLE.com.", CRY_X509_SAN_TYPE_DNS_NAME, "Host.EXAMPLE.com." },
        { "B\u00fccher.example", CRY_X509_SAN_TYPE_DNS_NAME, "B\u00fccher.example" },
        { "XN--bcher-kva.example", CRY_X509_SAN_TYPE_DNS_NAME, "XN--bcher-kva.example" },
        { "*.example.com", CRY_X509_SAN_TYPE_DNS_NAME, "*.example.com" },
        { "192.0.2.1.5", CRY_X509_SAN_TYPE_DNS_NAME, "192.0.2.1.5" },
    };
    for( const auto &each : cases )
    {
        San name = san( each.host );
        ASSERT_TRUE( name ) << each.host;
        EXPECT_EQ( cryX509SanType( name.get() ), each.type ) << each.host;
        EXPECT_EQ( hostOf( name.get() ), each.text );
        EXPECT_EQ( (bool)pb::adopt( cryX509SanDnsName( name.get() ) ), each.type == CRY_X509_SAN_TYPE_DNS_NAME );
        EXPECT_EQ( (bool)pb::adopt( cryX509SanIpAddress( name.get() ) ), each.type == CRY_X509_SAN_TYPE_IP_ADDRESS );
    }
    for( const std::string &host : notHosts )
        EXPECT_FALSE( san( host ) ) << host;
    EXPECT_TRUE( san( longName ) );
}

TEST( CryX509San, KeepsTheObjectThatItIsMadeOf )
{
    pb::Ref<PB_STRING> name = str( "Host.example" );
    EXPECT_EQ( pb::adopt( cryX509SanDnsName( pb::adopt( cryX509SanCreateDnsName( name.get() ) ).get() ) ).get(), name.get() );
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( str( "::1" ).get() ) );
    EXPECT_EQ( pb::adopt( cryX509SanIpAddress( pb::adopt( cryX509SanCreateIpAddress( ina.get() ) ).get() ) ).get(), ina.get() );
}

TEST( CryX509San, AnEditOfTheStringDoesNotChangeTheName )
{
    pb::Ref<PB_STRING> name = str( "host.example" );
    San                made = pb::adopt( cryX509SanCreateDnsName( name.get() ) );
    pbStringAppendCstr( name.handle(), ".com", -1 );
    EXPECT_EQ( hostOf( made.get() ), "host.example" );
}

TEST( CryX509San, DnsNamesComeBeforeAddressesAndAreOrderedAsStrings )
{
    const char *ordered[] = { "*.example", "A.example", "a.example", "b.example", "b\u00fccher.example", "9.0.0.1", "10.0.0.1", "::1" };
    for( size_t a = 0; a < std::size( ordered ); a++ )
    {
        for( size_t b = 0; b < std::size( ordered ); b++ )
        {
            PB_INT order = cryX509SanCompare( san( ordered[a] ).get(), san( ordered[b] ).get() );
            EXPECT_EQ( order < 0, a < b ) << ordered[a] << ", " << ordered[b];
            EXPECT_EQ( order > 0, a > b ) << ordered[a] << ", " << ordered[b];
            EXPECT_EQ( (bool)cryX509SanEquals( san( ordered[a] ).get(), san( ordered[b] ).get() ), a == b );
        }
    }
}

TEST( CryX509San, ComesBackFromItsStore )
{
    for( const char *host : { "Host.example.", "*.b\u00fccher.example", "192.0.2.1", "2001:db8::1" } )
    {
        San               name  = san( host );
        pb::Ref<PB_STORE> store = pb::adopt( cryX509SanStore( name.get() ) );
        EXPECT_EQ( pbStoreLength( store.get() ), 2 );
        San again = pb::adopt( cryX509SanTryRestore( store.get() ) );
        ASSERT_TRUE( again ) << host;
        EXPECT_TRUE( cryX509SanEquals( again.get(), name.get() ) ) << host;
    }
    pb::Ref<PB_STORE> dns = pb::adopt( cryX509SanStore( san( "Host.example" ).get() ) );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( dns.get(), "type", -1 ) ) ), "CRY_X509_SAN_TYPE_DNS_NAME" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( dns.get(), "dnsName", -1 ) ) ), "Host.example" );
    pb::Ref<PB_STORE> ip = pb::adopt( cryX509SanStore( san( "[::0001]" ).get() ) );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( ip.get(), "type", -1 ) ) ), "CRY_X509_SAN_TYPE_IP_ADDRESS" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( ip.get(), "ipAddress", -1 ) ) ), "::1" );
}

TEST( CryX509San, StoresWithoutAGoodValueDoNotRestore )
{
    static constexpr char dns[] = "CRY_X509_SAN_TYPE_DNS_NAME", ip[] = "CRY_X509_SAN_TYPE_IP_ADDRESS";
    EXPECT_TRUE( restored( { { "type", dns }, { "dnsName", "a.example" }, { "ipAddress", "junk" }, { "other", "x" } } ) );
    EXPECT_TRUE( restored( { { "type", ip }, { "ipAddress", "::1" }, { "dnsName", "a..b" } } ) );
    EXPECT_FALSE( restored( {} ) );
    EXPECT_FALSE( restored( { { "dnsName", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", "" }, { "dnsName", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", "cry_x509_san_type_dns_name" }, { "dnsName", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", "0" }, { "dnsName", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", dns } } ) );
    EXPECT_FALSE( restored( { { "type", dns }, { "ipAddress", "::1" } } ) );
    EXPECT_FALSE( restored( { { "type", dns }, { "dnsName", "a..b" } } ) );
    EXPECT_FALSE( restored( { { "type", dns }, { "dnsName", "192.0.2.1" } } ) );
    EXPECT_FALSE( restored( { { "type", ip } } ) );
    EXPECT_FALSE( restored( { { "type", ip }, { "dnsName", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", ip }, { "ipAddress", "a.example" } } ) );
    EXPECT_FALSE( restored( { { "type", ip }, { "ipAddress", "[::1]" } } ) );
    // Entries of other types count as missing.
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetIntValueCstr( store.handle(), "type", -1, 0 );
    pbStoreSetValueCstr( store.handle(), "dnsName", -1, str( "a.example" ).get() );
    EXPECT_FALSE( pb::adopt( cryX509SanTryRestore( store.get() ) ) );
    EXPECT_FALSE( pb::adopt( cryX509SanTryRestore( pb::adopt( pbStoreCreateArray() ).get() ) ) );
}
