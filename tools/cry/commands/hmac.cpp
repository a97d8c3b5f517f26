#include "commands/commands.hpp"
#include "input/file.hpp"
#include "options/algorithm.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/digest_line.hpp"

#include <cry/cry_mac.h>
#include <optional>

namespace
{

struct Options
{
    std::string                algorithm = "sha256", keyFile;
    std::optional<std::string> keyHex;
    std::vector<std::string>   files;
    tool::Output               output;
    bool                       json = false;
};

pb::Ref<PB_BUFFER> keyOf( const Options &options )
{
    if( !options.keyHex )
    {
        tool::warnIfOthersCanRead( options.keyFile, "the key" );
        return tool::readWhole( options.keyFile, tool::Content::secret );
    }
    const std::string &hex = *options.keyHex;
    pb::Ref<PB_BUFFER> key = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( key.handle() );
    if( hex.size() % 2 )
        throw tool::InputError( "--key-hex: an odd number of digits" );
    for( size_t index = 0; index < hex.size(); index += 2 )
    {
        int high = tool::hexDigit( hex[index] ), low = tool::hexDigit( hex[index + 1] );
        if( high < 0 || low < 0 )
            throw tool::InputError(
                "--key-hex: a character that is not a hexadecimal digit at place " + std::to_string( index + ( high < 0 ? 1 : 2 ) ) );
        pbBufferAppendByte( key.handle(), (PB_BYTE)( high << 4 | low ) );
    }
    return key;
}

std::string macOf( const std::string &path, CRY_HASH_ALGORITHM algorithm, PB_BUFFER *key )
{
    pb::Ref<CRY_MAC> mac = pb::adopt( cryMacTryCreateHmac( algorithm, key ) );
    if( !mac )
        throw tool::algorithmMissing();
    tool::forEachPiece( path, [&mac]( const PB_BYTE *bytes, PB_INT count ) { cryMacUpdateBytes( mac.get(), bytes, count ); } );
    return tool::take( pbBufferToString( pb::adopt( cryMacFinal( mac.get() ) ).get() ) );
}

int hmac( Options &options )
{
    CRY_HASH_ALGORITHM algorithm = tool::algorithmOf( options.algorithm );
    if( options.keyFile.empty() && !options.keyHex )
        throw tool::InputError( "the key is missing: --key-file or --key-hex gives it" );
    options.output.check();
    pb::Ref<PB_BUFFER> key = keyOf( options );
    std::string        lines; // for a file, which is written at once
    auto               say = [&]( const std::string &text, auto print ) { options.output.toFile() ? (void)( lines += text ) : print( text ); };
    if( options.files.empty() )
        options.files.push_back( "-" );
    nlohmann::ordered_json files      = nlohmann::ordered_json::array();
    size_t                 unreadable = 0;
    for( const std::string &file : options.files )
    {
        try
        {
            if( file == "-" && options.keyFile == "-" )
                throw tool::InputError( "standard input: the key was read from it already" );
            std::string mac = macOf( file, algorithm, key.get() );
            if( options.json )
                files.push_back( { { "file", file }, { "mac", mac } } );
            else
                say( tool::digestLine( mac, file ), tool::printNameLine );
        }
        catch( const tool::InputError &problem )
        {
            // The other files are still worth an answer.
            tool::report( problem );
            unreadable++;
        }
    }
    if( options.json )
        say( tool::jsonText( { { "algorithm", tool::nameOfAlgorithm( algorithm ) }, { "files", files } } ), tool::print );
    if( options.output.toFile() )
        options.output.write( lines );
    return unreadable ? tool::exitInputError : tool::exitGood;
}

}

void tool::addHmac( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, hmac,
        "Prints lines as 'cry hash' does. The key is needed: --key-file or --key-hex.\nExit: 0 done; 2 wrong use, or a file that cannot be read." );
    addFiles( command, options.files );
    addAlgorithm( command, options.algorithm );
    CLI::Option *keyFile = addOption( command, "--key-file", options.keyFile, "FILE", "all bytes of this file are the key, also a line end" );
    addOption( command, "--key-hex", options.keyHex, "DIGITS", "the key in hexadecimal digits; others on this machine can see it" )
        ->excludes( keyFile );
    options.output.addTo( command, "the result" );
}
