#include "options/value.hpp"

#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <ctime>
#include <in/internal/in_dns_idna.h>

PB_INT tool::number( const std::string &text, const std::string &what, PB_INT least, PB_INT most )
{
    bool known = !text.empty() && text.size() <= 18 && text.find_first_not_of( "0123456789" ) == text.npos && ( text.size() == 1 || text[0] != '0' );
    PB_INT value = known ? std::stoll( text ) : 0;
    if( !known || value < least || value > most )
        throw InputError( what + ": " + shown( text ) + " is not a number from " + std::to_string( least ) + " to " + std::to_string( most ) );
    return value;
}

pb::Ref<PB_STRING> tool::utf8Value( const std::string &text, const std::string &option )
{
    pb::Ref<PB_STRING> str = pb::adopt( pbStringTryCreateFromCstr( text.data(), (PB_INT)text.size() ) );
    if( !str || text.find( '\0' ) != text.npos )
        throw InputError( option + ": " + shown( text ) + " is not text in UTF-8" );
    return str;
}

void tool::checkDomainName( PB_STRING *name, const std::string &option, const std::string &more )
{
    if( PB_STRING *problem = in___DnsIdnaDomainNameProblem( name ) )
        throw InputError( option + ": " + shown( take( pbStringRetain( name ) ) ) + " is not a domain name: " + take( problem ) + more );
}

pb::Ref<PB_TIME> tool::timeValue( const std::optional<std::string> &text, const std::string &option )
{
    if( !text )
        return pb::adopt( pbTimeTryCreateFromTimeT( time( nullptr ) ) );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCstr( text->data(), (PB_INT)text->size() ) );
    pb::Ref<PB_TIME>   tm  = pb::adopt( pbTimeTryCreateFromString( str.get() ) );
    time_t             seconds;
    if( !tm )
        throw InputError( option + ": " + shown( *text ) + " is not a time in UTC as 2026-01-31T12:00:00Z" );
    if( !pbTimeTryConvertToTimeT( tm.get(), &seconds ) )
        throw InputError( option + ": " + shown( *text ) + " is a day that does not exist" );
    return tm;
}
