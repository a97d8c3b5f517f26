// The text of addresses: what is read is written and reads back as the same address, in brackets
// too, and so do the addresses of any bytes.
#include "start.hpp"

#include <string>

using namespace fuzz;

namespace
{

using Address = pb::Ref<IN_ADDRESS>;

pb::Ref<PB_STRING> text( std::string_view bytes ) { return pb::adopt( pbStringCreateFromCstr( bytes.data(), (PB_INT)bytes.size() ) ); }

Address parse( std::string_view bytes ) { return pb::adopt( inAddressTryCreateFromString( text( bytes ).get() ) ); }
Address parseHost( std::string_view bytes ) { return pb::adopt( inAddressTryCreateFromHost( text( bytes ).get() ) ); }

void check( const Address &ina )
{
    pb::Ref<PB_STRING> written = pb::adopt( inAddressToString( ina.get() ) );
    std::string        form( view( written ) );
    FUZZ_CHECK( inAddressEquals( parse( form ).get(), ina.get() ) );
    FUZZ_CHECK( inAddressEquals( parseHost( form ).get(), ina.get() ) );
    Address inBrackets = parseHost( "[" + form + "]" );
    FUZZ_CHECK( inAddressIsV6( ina.get() ) ? inAddressEquals( inBrackets.get(), ina.get() ) : !inBrackets );
    FUZZ_CHECK( form.find_first_not_of( inAddressIsV6( ina.get() ) ? "0123456789abcdef:." : "0123456789." ) == form.npos );
    FUZZ_CHECK( !inDnsIdnaDomainNameOk( written.get() ) );

    pb::Ref<PB_BUFFER> binary = pb::adopt( inAddressToBinary( ina.get() ) );
    const PB_BYTE     *bytes  = pbBufferBytes( binary.get() );
    FUZZ_CHECK( pbBufferLength( binary.get() ) == ( inAddressIsV6( ina.get() ) ? 16 : 4 ) );
    Address again = pb::adopt( inAddressIsV6( ina.get() ) ? inAddressCreateV6( bytes ) : inAddressCreateV4( bytes ) );
    FUZZ_CHECK( inAddressEquals( again.get(), ina.get() ) && inAddressCompare( again.get(), ina.get() ) == 0 );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string input( (const char *)bytes, size );
    Address     ina = parse( input ), host = parseHost( input );
    FUZZ_CHECK( !ina || inAddressEquals( host.get(), ina.get() ) );
    FUZZ_CHECK( ina || !host || ( input.front() == '[' && input.back() == ']' && inAddressIsV6( host.get() ) ) );
    if( host )
        check( host );
    // Nothing stands around an address.
    for( const char *blank : { " ", "\n", "%1", "]" } )
        FUZZ_CHECK( !parse( input + blank ) );

    if( size >= 4 )
        check( pb::adopt( inAddressCreateV4( bytes ) ) );
    if( size >= 16 )
    {
        check( pb::adopt( inAddressCreateV6( bytes ) ) );
        Address first = pb::adopt( inAddressCreateV6( bytes ) ), second = pb::adopt( inAddressCreateV6( bytes + size - 16 ) );
        PB_INT  order = inAddressCompare( first.get(), second.get() );
        FUZZ_CHECK( order == -inAddressCompare( second.get(), first.get() ) );
        FUZZ_CHECK( ( order == 0 ) == ( std::string_view( (const char *)bytes, 16 ) == std::string_view( (const char *)bytes + size - 16, 16 ) ) );
    }
    return 0;
}
