#include "options/value.hpp"

#include "output/error.hpp"
#include "text/printable.hpp"

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
