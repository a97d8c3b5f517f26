#include "commands/commands.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cctype>
#include <cry/cry_uuid.h>
#include <optional>

namespace
{

struct Options
{
    std::string                count = "1";
    std::optional<std::string> nameSpace, name, parse;
    tool::Output               output;
    bool                       uppercase = false, lowLine = false, curlyBrackets = false, apostrophes = false, quotationMarks = false, json = false;

    PB_INT flags() const
    {
        return ( uppercase ? CRY_UUID_STRING_FLAG_UPPERCASE : 0 ) | ( lowLine ? CRY_UUID_STRING_FLAG_LOW_LINE : 0 ) |
            ( curlyBrackets ? CRY_UUID_STRING_FLAG_CURLY_BRACKET : 0 ) | ( apostrophes ? CRY_UUID_STRING_FLAG_APOSTROPHE : 0 ) |
            ( quotationMarks ? CRY_UUID_STRING_FLAG_QUOTATION_MARK : 0 );
    }
};

pb::Ref<CRY_UUID> tryParse( const std::string &text ) { return pb::adopt( cryUuidTryCreateFromStringCstr( text.data(), (PB_INT)text.size() ) ); }

pb::Ref<CRY_UUID> nameSpaceOf( const std::string &text )
{
    static constexpr struct
    {
        const char *name;
        CRY_UUID *( *get )();
    } known[] = { { "dns", cryUuidNamespaceDns }, { "url", cryUuidNamespaceUrl }, { "oid", cryUuidNamespaceOid }, { "x500", cryUuidNamespaceX500 } };
    for( auto &each : known )
    {
        if( tool::lowerCase( text ) == each.name )
            return pb::adopt( each.get() );
    }
    pb::Ref<CRY_UUID> uuid = tryParse( text );
    if( !uuid )
        throw tool::InputError( "--namespace: " + tool::shown( text ) + " is neither dns, url, oid or x500 nor a UUID" );
    return uuid;
}

std::string textOf( CRY_UUID *uuid, PB_INT flags ) { return tool::take( cryUuidToStringWithFlags( uuid, flags ) ); }

// The version digit itself; the module's own numbers are one off its names.
int versionDigit( CRY_UUID *uuid ) { return pbBufferByteAt( pb::adopt( cryUuidToBinary( uuid ) ).get(), 6 ) >> 4; }

std::string versionText( int digit )
{
    static constexpr const char *names[] = { "", "time based", "DCE security", "name based, MD5", "random", "name based, SHA-1",
        "time based, reordered", "Unix time based", "custom" };
    return std::to_string( digit ) + ( digit >= 1 && digit <= 8 ? " (" + std::string( names[digit] ) + ")" : "" );
}

const char *variantText( PB_INT variant )
{
    static constexpr const char *texts[] = { "reserved, NCS", "standard (RFC 4122)", "reserved, Microsoft", "reserved for the future" };
    return texts[variant];
}

const char *variantName( PB_INT variant )
{
    static constexpr const char *names[] = { "ncs", "standard", "microsoft", "future" };
    return names[variant];
}

// Why a text is not a UUID.
std::string whyNot( const std::string &text )
{
    size_t digits = 0;
    for( char c : text )
    {
        bool digit = tool::hexDigit( c ) >= 0;
        if( !digit && c != '-' && c != '_' && ( (unsigned char)c >= 0x80 || std::isalpha( (unsigned char)c ) || c == ':' ) )
            return "it has characters that are not hexadecimal digits";
        digits += digit;
    }
    if( digits != 32 )
        return "it has " + std::to_string( digits ) + " hexadecimal digits, not 32";
    return "its digits are not in groups of 8, 4, 4, 4 and 12 with - or _ between them, in pairs of marks or none";
}

int parse( const Options &options )
{
    pb::Ref<CRY_UUID>      uuid = tryParse( *options.parse );
    nlohmann::ordered_json json{ { "given", *options.parse }, { "verdict", uuid ? "good" : "bad" } };
    if( !uuid )
    {
        json["reason"] = whyNot( *options.parse );
        if( options.json )
            tool::printJson( json );
        else
            tool::printError( tool::shown( *options.parse ) + " is not a UUID: " + whyNot( *options.parse ) );
        return tool::exitNegative;
    }
    // Only the standard variant has versions.
    PB_INT      variant = cryUuidVariant( uuid.get() );
    std::string text    = textOf( uuid.get(), options.flags() );
    int         version = versionDigit( uuid.get() );
    if( options.json )
    {
        json["uuid"]    = text;
        json["variant"] = variantName( variant );
        if( variant == CRY_UUID_VARIANT_STANDARD )
            json["uuidVersion"] = version;
        tool::printJson( json );
        return tool::exitGood;
    }
    tool::print( text + "\nvariant  " + variantText( variant ) + "\n" );
    if( variant == CRY_UUID_VARIANT_STANDARD )
        tool::print( "version  " + versionText( version ) + "\n" );
    return tool::exitGood;
}

pb::Ref<CRY_UUID> create( const Options &options )
{
    if( !options.name )
        return pb::adopt( cryUuidCreate() );
    pb::Ref<PB_BUFFER> name = pb::adopt( pbBufferCreateFromBytes( options.name->data(), (PB_INT)options.name->size() ) );
    pb::Ref<CRY_UUID>  uuid = pb::adopt( cryUuidTryCreateNameBased( nameSpaceOf( *options.nameSpace ).get(), name.get() ) );
    if( !uuid )
        throw tool::InputError( "this libcrypto does not have SHA-1" );
    return uuid;
}

int uuid( Options &options )
{
    if( options.parse )
        return parse( options );
    PB_INT                 count = tool::number( options.count, "--count", 1, 1000000 );
    std::string            text;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    options.output.check();
    for( PB_INT index = 0; index < count; index++ )
    {
        std::string each = textOf( create( options ).get(), options.flags() );
        if( options.json )
            list.push_back( each );
        else
            text += each + "\n";
    }
    options.output.write( options.json ? tool::jsonText( { { "uuids", list } } ) : text );
    return tool::exitGood;
}

}

void tool::addUuid( CLI::App &command, int &exit )
{
    Options     &options   = addOptions( command, exit, uuid,
              "Without --namespace and --parse the UUIDs are random (version 4). A UUID of a name has version 5 (SHA-1).\n"
                    "--parse takes a UUID in any nesting of curly brackets, apostrophes and quotation marks, prints it in the usual form\n"
                    "and says of what kind it is.\nExit: 0 done; 1 the text is not a UUID; 2 wrong use." );
    CLI::Option *count     = addOption( command, "--count", options.count, "N", "make this many, up to 1000000" );
    CLI::Option *nameSpace = addOption(
        command, "--namespace", options.nameSpace, "SPACE", "make the UUID of a name in this name space: dns, url, oid, x500 or a UUID" );
    addKnown( command, "--namespace", { "dns", "url", "oid", "x500" } );
    CLI::Option *name = addOption( command, "--name", options.name, "TEXT", "the name, as UTF-8" );
    CLI::Option *text = addOption( command, "--parse", options.parse, "TEXT", "read a UUID and say of what kind it is" );
    nameSpace->excludes( count )->needs( name );
    name->needs( nameSpace );
    text->excludes( count )->excludes( nameSpace );
    command.add_flag( "--uppercase", options.uppercase, "digits in capitals" );
    command.add_flag( "--low-line", options.lowLine, "_ in place of -" );
    command.add_flag( "--curly-brackets", options.curlyBrackets, "between curly brackets" );
    command.add_flag( "--apostrophes", options.apostrophes, "between apostrophes" );
    command.add_flag( "--quotation-marks", options.quotationMarks, "between quotation marks" );
    options.output.addTo( command, "them" );
    command.get_option( "--out" )->excludes( text );
}
