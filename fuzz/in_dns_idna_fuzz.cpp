// Domain names: all functions agree on what a name is, the ASCII form is plain and its own ASCII
// form, and the form with U-labels leads back to it.
#include "start.hpp"

#include <in/internal/in_dns_idna.h>

#include <algorithm>
#include <string>
#include <unictype.h>
#include <unistr.h>

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

// The Bidi rule (RFC 5893, 2), written down a second time: a label is a text of letters, one for
// the class of each character.
std::string classesOf( std::string_view label )
{
    std::string classes;
    ucs4_t      character;
    for( size_t index = 0; index < label.size(); )
    {
        index += (size_t)u8_mbtouc( &character, (const uint8_t *)label.data() + index, label.size() - index );
        std::string_view name = uc_bidi_class_name( uc_bidi_class( character ) );
        // R for AL too, 1 for EN, 2 for AN, M for NSM, O for the other classes that both directions
        // take.
        bool right = name == "R" || name == "AL";
        bool other = name == "ES" || name == "CS" || name == "ET" || name == "ON" || name == "BN";
        classes += name == "L" ? 'L' : right ? 'R' : name == "EN" ? '1' : name == "AN" ? '2' : name == "NSM" ? 'M' : other ? 'O' : '?';
    }
    return classes;
}

bool labelSatisfiesBidiRule( std::string classes )
{
    bool right = classes.starts_with( 'R' ), both = classes.find( '1' ) != classes.npos && classes.find( '2' ) != classes.npos;
    bool rightTaken = classes.find_first_not_of( "R21OM" ) == classes.npos, leftTaken = classes.find_first_not_of( "L1OM" ) == classes.npos;
    while( classes.ends_with( 'M' ) )
        classes.pop_back();
    char last = classes.empty() ? 'M' : classes.back();
    return right ? rightTaken && !both && ( last == 'R' || last == '1' || last == '2' )
                 : classes.starts_with( 'L' ) && leftTaken && ( last == 'L' || last == '1' );
}

bool satisfiesBidiRule( std::string_view readable )
{
    bool bidi = false, all = true;
    for( size_t begin = 0; begin <= readable.size(); )
    {
        size_t           end   = std::min( readable.find( '.', begin ), readable.size() );
        std::string_view label = readable.substr( begin, end - begin );
        std::string      kinds = classesOf( label );
        bidi                   = bidi || kinds.find_first_of( "R2" ) != kinds.npos;
        all                    = all && ( label == "*" || labelSatisfiesBidiRule( kinds ) );
        begin                  = end + 1;
    }
    return !bidi || all;
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
    FUZZ_CHECK( satisfiesBidiRule( view( readable ) ) );
    FUZZ_CHECK(
        equals( name, form ) && equals( form, name ) && equals( name, readable ) && equals( text( std::string( view( form ) ) + "." ), name ) );

    // As many labels as the ASCII form has, and together the same name.
    pb::Ref<PB_VECTOR> labels = pb::adopt( in___DnsIdnaLabelsTrySplit( name.get() ) ), plain = pb::adopt( in___DnsIdnaLabelsTrySplit( form.get() ) );
    FUZZ_CHECK( labels && plain && pbVectorLength( labels.get() ) == pbVectorLength( plain.get() ) );
    Text composed = pb::adopt( in___DnsIdnaLabelsCompose( labels.get() ) );
    FUZZ_CHECK( ascii( composed ) && view( ascii( composed ) ) == view( form ) );
    FUZZ_CHECK( view( pb::adopt( in___DnsIdnaLabelsCompose( plain.get() ) ) ) == view( form ) );
}

// Two names are one, if together they satisfy the Bidi rule and are not too long.
void checkJoined( const Text &a, const Text &b )
{
    std::string form = std::string( view( ascii( a ) ) ) + "." + std::string( view( ascii( b ) ) );
    if( form.size() > 253 || pb::adopt( inAddressTryCreateFromHost( text( form ).get() ) ) )
        return;
    std::string readable = std::string( view( unicode( a ) ) ) + "." + std::string( view( unicode( b ) ) );
    FUZZ_CHECK( inDnsIdnaDomainNameOk( text( form ).get() ) == satisfiesBidiRule( readable ) );
    FUZZ_CHECK( inDnsIdnaDomainNameOk( text( readable ).get() ) == satisfiesBidiRule( readable ) );
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
        {
            FUZZ_CHECK( equals( a, b ) == equals( ascii( a ), ascii( b ) ) );
            checkJoined( a, b );
        }
    }
    return 0;
}
