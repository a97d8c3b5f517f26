// Domain names: all functions agree on what a name is, the ASCII form is plain and its own ASCII form, and the form with U-labels leads back to it.
#include "start.hpp"

#include <in/internal/in_dns_idna.h>

#include <string>

using namespace fuzz;

namespace
{

using Text = pb::Ref<PB_STRING>;

Text ascii( const Text &name ) { return pb::adopt( inDnsIdnaDomainNameToAscii( name.get() ) ); }
Text unicode( const Text &name ) { return pb::adopt( inDnsIdnaDomainNameToUnicode( name.get() ) ); }
bool equals( const Text &a, const Text &b ) { return inDnsIdnaDomainNameEquals( a.get(), b.get() ); }

Text text( std::string_view bytes ) { return pb::adopt( pbStringCreateFromCstr( bytes.data(), (PB_INT)bytes.size() ) ); }

void checkPlain( std::string_view form )
{
    FUZZ_CHECK( !form.empty() && form.size() <= 253 );
    size_t length = 0;
    for( char c : form )
    {
        bool letter = ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= '0' && c <= '9' );
        FUZZ_CHECK( letter || c == '-' || c == '_' || c == '*' || c == '.' );
        FUZZ_CHECK( c != '.' || length );
        length = c == '.' ? 0 : length + 1;
        FUZZ_CHECK( length <= 63 );
    }
    FUZZ_CHECK( length );
    FUZZ_CHECK( !pb::adopt( inAddressTryCreateFromHost( text( form ).get() ) ) );
}

void checkName( const Text &name )
{
    Text form = ascii( name ), readable = unicode( name );
    FUZZ_CHECK( form && readable );
    checkPlain( view( form ) );
    FUZZ_CHECK( view( ascii( form ) ) == view( form ) );
    FUZZ_CHECK( ascii( readable ) && view( ascii( readable ) ) == view( form ) );
    FUZZ_CHECK( view( unicode( form ) ) == view( readable ) );
    FUZZ_CHECK( view( unicode( readable ) ) == view( readable ) );
    FUZZ_CHECK(
        equals( name, form ) && equals( form, name ) && equals( name, readable ) && equals( text( std::string( view( form ) ) + "." ), name ) );

    // As many labels as the ASCII form has, and together the same name.
    pb::Ref<PB_VECTOR> labels = pb::adopt( in___DnsIdnaLabelsTrySplit( name.get() ) ), plain = pb::adopt( in___DnsIdnaLabelsTrySplit( form.get() ) );
    FUZZ_CHECK( labels && plain && pbVectorLength( labels.get() ) == pbVectorLength( plain.get() ) );
    Text composed = pb::adopt( in___DnsIdnaLabelsCompose( labels.get() ) );
    FUZZ_CHECK( ascii( composed ) && view( ascii( composed ) ) == view( form ) );
    FUZZ_CHECK( view( pb::adopt( in___DnsIdnaLabelsCompose( plain.get() ) ) ) == view( form ) );
}

void check( const Text &name )
{
    bool ok = inDnsIdnaDomainNameOk( name.get() );
    FUZZ_CHECK( ok == !pb::adopt( in___DnsIdnaDomainNameProblem( name.get() ) ) );
    FUZZ_CHECK( equals( name, name ) );
    if( ok )
        return checkName( name );
    FUZZ_CHECK( !ascii( name ) && !unicode( name ) && !pb::adopt( in___DnsIdnaLabelsTrySplit( name.get() ) ) );
    Text other = text( std::string( view( name ) ) + "." );
    FUZZ_CHECK( !equals( name, other ) && !equals( other, name ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string input( (const char *)bytes, size );
    check( text( input ) );
    // The same labels where one that is not ASCII stands before them.
    check( text( "\u00FC." + input ) );
    // Two names.
    size_t middle = input.find( '\n' );
    if( middle != input.npos )
    {
        Text a = text( input.substr( 0, middle ) ), b = text( input.substr( middle + 1 ) );
        FUZZ_CHECK( equals( a, b ) == equals( b, a ) );
        if( !inDnsIdnaDomainNameOk( a.get() ) || !inDnsIdnaDomainNameOk( b.get() ) )
            FUZZ_CHECK( equals( a, b ) == ( view( a ) == view( b ) ) );
        else
            FUZZ_CHECK( equals( a, b ) == equals( ascii( a ), ascii( b ) ) );
    }
    return 0;
}
