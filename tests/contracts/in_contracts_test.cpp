#include <in/in.h>
#include <in/internal/in_dns_idna.h>

#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char addressFile[] = "source/in/in_address.cpp";
static constexpr char nameFile[]    = "source/in/in_dns_idna.cpp";

TEST( InContracts, StandardFunctionsOfAddresses )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( str( "2001:db8::1" ).get() ) );
    EXPECT_STANDARD_CHECKS( addressFile, in, Address, IN_ADDRESS, "ina", ina.get() );
}

TEST( InContracts, Addresses )
{
    EXPECT_ABORT( addressFile, "bytes", inAddressCreateV4( nullptr ) );
    EXPECT_ABORT( addressFile, "bytes", inAddressCreateV6( nullptr ) );
    EXPECT_ABORT( addressFile, "str", inAddressTryCreateFromString( nullptr ) );
    EXPECT_ABORT( addressFile, "host", inAddressTryCreateFromHost( nullptr ) );
    EXPECT_ABORT( addressFile, "ina", inAddressIsV4( nullptr ) );
    EXPECT_ABORT( addressFile, "ina", inAddressIsV6( nullptr ) );
    EXPECT_ABORT( addressFile, "ina", inAddressToBinary( nullptr ) );
}

TEST( InContracts, Names )
{
    pb::Ref<PB_STRING> name = str( "example.com" );
    EXPECT_ABORT( nameFile, "name", inDnsIdnaDomainNameOk( nullptr ) );
    EXPECT_ABORT( nameFile, "name", inDnsIdnaDomainNameToAscii( nullptr ) );
    EXPECT_ABORT( nameFile, "name", inDnsIdnaDomainNameToUnicode( nullptr ) );
    EXPECT_ABORT( nameFile, "name", in___DnsIdnaDomainNameProblem( nullptr ) );
    EXPECT_ABORT( nameFile, "nameA", inDnsIdnaDomainNameEquals( nullptr, name.get() ) );
    EXPECT_ABORT( nameFile, "nameA", inDnsIdnaDomainNameEquals( nullptr, nullptr ) );
    EXPECT_ABORT( nameFile, "nameB", inDnsIdnaDomainNameEquals( name.get(), nullptr ) );
}

TEST( InContracts, Labels )
{
    pb::Ref<PB_VECTOR> mixed = vec( { "www", "example" } );
    pbVectorAppendObj( mixed.handle(), buf( "com" ).obj() );
    EXPECT_ABORT( nameFile, "name", in___DnsIdnaLabelsTrySplit( nullptr ) );
    EXPECT_ABORT( nameFile, "labels", in___DnsIdnaLabelsCompose( nullptr ) );
    EXPECT_ABORT( nameFile, "pbVectorContainsOnly( labels, pbStringSort() )", in___DnsIdnaLabelsCompose( mixed.get() ) );
}

TEST( InContracts, ExhaustedMemory )
{
    pb::Ref<PB_STRING> name = str( "a-label-that-is-long.b\u00FCcher.another-label-that-is-long.b\u00FCcher.example" );
    EXPECT_GE( expectAbortWhereverMemoryEnds( [&] { pb::adopt( inDnsIdnaDomainNameToAscii( name.get() ) ); } ), 6u );
    EXPECT_GE( expectAbortWhereverMemoryEnds( [&] { pb::adopt( inDnsIdnaDomainNameToUnicode( name.get() ) ); } ), 6u );
}
