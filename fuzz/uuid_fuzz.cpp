// The text of UUIDs: what parses is printed in every form and parses back, its digits are those of
// the text, and wrappings change nothing.
#include "start.hpp"

#include <string>

using namespace fuzz;

namespace
{

pb::Ref<CRY_UUID> parse( std::string_view text ) { return pb::adopt( cryUuidTryCreateFromStringCstr( text.data(), (PB_INT)text.size() ) ); }

// The hexadecimal digits of a text, in small letters.
std::string digitsOf( std::string_view text )
{
    std::string digits;
    for( char c : text )
    {
        if( ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'f' ) )
            digits += c;
        else if( c >= 'A' && c <= 'F' )
            digits += (char)( c - 'A' + 'a' );
    }
    return digits;
}

void checkForms( const pb::Ref<CRY_UUID> &uuid, const std::string &digits )
{
    static constexpr PB_INT wrappings = CRY_UUID_STRING_FLAG_CURLY_BRACKET | CRY_UUID_STRING_FLAG_APOSTROPHE | CRY_UUID_STRING_FLAG_QUOTATION_MARK;
    for( PB_INT flags = 0; flags < 2 * CRY_UUID_STRING_FLAG_QUOTATION_MARK; flags++ )
    {
        pb::Ref<PB_STRING> text = pb::adopt( cryUuidToStringWithFlags( uuid.get(), flags ) );
        FUZZ_CHECK( digitsOf( view( text ) ) == digits );
        FUZZ_CHECK( pbStringLength( text.get() ) == 36 + 2 * __builtin_popcountll( (unsigned long long)( flags & wrappings ) ) );
        FUZZ_CHECK( cryUuidEquals( pb::adopt( cryUuidTryCreateFromString( text.get() ) ).get(), uuid.get() ) );
        FUZZ_CHECK( pbStringEquals( pb::adopt( cryUuidToStringWithFlags( uuid.get(), flags | 0x20 ) ).get(), text.get() ) );
    }
    pb::Ref<PB_BUFFER> binary = pb::adopt( cryUuidToBinary( uuid.get() ) );
    FUZZ_CHECK( digitsOf( view( pb::adopt( rfcBaseEncode( binary.get(), RFC_BASE_16 ) ) ) ) == digits );
    FUZZ_CHECK( cryUuidEquals( pb::adopt( cryUuidTryCreateFromBinary( binary.get() ) ).get(), uuid.get() ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view  text( (const char *)bytes, size );
    pb::Ref<CRY_UUID> uuid = parse( text );
    if( uuid )
        checkForms( uuid, digitsOf( text ) );

    // White space counts on the outside only.
    for( std::string_view pair : { "{}", "''", "\"\"" } )
    {
        std::string       wrapped = std::string( pair.substr( 0, 1 ) ).append( text ).append( pair.substr( 1 ) );
        pb::Ref<CRY_UUID> inside  = parse( wrapped );
        FUZZ_CHECK( !inside || cryUuidEquals( inside.get(), uuid.get() ) );
        pb::Ref<PB_STRING> trimmed = pb::adopt( pbStringTrim( pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)size ) ).get() ) );
        FUZZ_CHECK( inside || !uuid || view( trimmed ) != text );
        FUZZ_CHECK( cryUuidEquals( parse( " \t" + std::string( text ) + "\r\n" ).get(), uuid.get() ) );
    }

    pb::Ref<CRY_UUID> binary = pb::adopt( cryUuidTryCreateFromBinaryBytes( bytes, (PB_INT)size ) );
    FUZZ_CHECK( (bool)binary == ( size == 16 ) );
    if( binary )
        checkForms( binary, digitsOf( view( pb::adopt( rfcBaseEncode( buffer( text ).get(), RFC_BASE_16 ) ) ) ) );
    return 0;
}
