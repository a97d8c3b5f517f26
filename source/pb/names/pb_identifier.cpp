#include <pb/pb_identifier.h>
#include <pb/pb_random.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

struct PB_IDENTIFIER : PB_OBJ
{
    PB_STRING *text;
};

static constexpr auto identifierFields = pb::fields<&PB_IDENTIFIER::text>;

static PB_STRING *identifierToString( PB_IDENTIFIER *ident ) { return PB_CHECK( ident ), pb::shareOrNull( ident->text ); }

PB_SORT_OF_FIELDS( pb, Identifier, PB_IDENTIFIER, ident, identifierFields, identifierFields, .toString = pb::slot<identifierToString> )

static constexpr PB_INT longest = 255;

static bool isLetterOrDigit( char c ) { return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= '0' && c <= '9' ); }

static bool mayStand( char c, PB_INT index ) { return isLetterOrDigit( c ) || c == '_' || ( index > 0 && ( c == '.' || c == '-' ) ); }

PB_IDENTIFIER *pbIdentifierCreate()
{
    static constexpr char digits[] = "0123456789abcdef";
    PB_BYTE               random[16];
    char                  text[2 * sizeof random];
    pbRandomBytes( random, sizeof random );
    for( size_t index = 0; index < sizeof random; index++ )
    {
        text[2 * index]     = digits[random[index] >> 4];
        text[2 * index + 1] = digits[random[index] & 15];
    }
    return pbIdentifierTryCreateFromCstr( text, sizeof text );
}

PB_IDENTIFIER *pbIdentifierTryCreateFromString( PB_STRING *text )
{
    PB_CHECK( text );
    PB_INT      length;
    const char *bytes = pbStringPeekUtf8( text, &length );
    if( length < 1 || length > longest )
        return nullptr;
    for( PB_INT index = 0; index < length; index++ )
    {
        if( !mayStand( bytes[index], index ) )
            return nullptr;
    }
    PB_IDENTIFIER *ident = pb::create<PB_IDENTIFIER>();
    ident->text          = pb::shareOrNull( text );
    return ident;
}

PB_IDENTIFIER *pbIdentifierTryCreateFromCstr( const char *text, PB_INT length )
{
    PB_CHECK( text );
    PB_CHECK( length >= -1 );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringTryCreateFromCstr( text, length ) );
    return str ? pbIdentifierTryCreateFromString( str.get() ) : nullptr;
}
