#include "input/input.hpp"
#include "input/stream.hpp"
#include "options/algorithm.hpp"
#include "options/command.hpp"
#include "output/output.hpp"
#include "output/terminal.hpp"

#include <cry/cry_mac.h>
#include <memory>
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

int digitValue( char c )
{
    if( c >= '0' && c <= '9' )
        return c - '0';
    if( c >= 'a' && c <= 'f' )
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

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
        int high = digitValue( hex[index] ), low = digitValue( hex[index + 1] );
        if( high < 0 || low < 0 )
            throw tool::InputError(
                "--key-hex: a character that is no hexadecimal digit at place " + std::to_string( index + ( high < 0 ? 1 : 2 ) ) );
        pbBufferAppendByte( key.handle(), (PB_BYTE)( high << 4 | low ) );
    }
    return key;
}

std::string macOf( const std::string &path, CRY_HASH_ALGORITHM algorithm, PB_BUFFER *key )
{
    pb::Ref<CRY_MAC> mac = pb::adopt( cryMacTryCreateHmac( algorithm, key ) );
    if( !mac )
        throw tool::InputError( "this libcrypto does not have the algorithm" );
    tool::forEachPiece( path, [&mac]( const PB_BYTE *bytes, PB_INT count ) { cryMacUpdateBytes( mac.get(), bytes, count ); } );
    return tool::take( pbBufferToString( pb::adopt( cryMacFinal( mac.get() ) ).get() ) );
}

int hmac( Options options )
{
    CRY_HASH_ALGORITHM algorithm = tool::algorithmOf( options.algorithm );
    if( options.keyFile.empty() && !options.keyHex )
        throw tool::InputError( "the key is missing: --key-file or --key-hex gives it" );
    options.output.check();
    pb::Ref<PB_BUFFER> key = keyOf( options );
    std::string        lines; // what goes to a file, which is written at once
    auto               say = [&]( const std::string &text ) { options.output.toFile() ? (void)( lines += text ) : tool::print( text ); };
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
                say( tool::listLine( mac, file ) );
        }
        catch( const tool::InputError &problem )
        {
            // The other files are still worth an answer.
            tool::printError( problem.what() );
            unreadable++;
        }
    }
    if( options.json )
        say( tool::jsonText( { { "format", 1 }, { "algorithm", tool::take( cryHashAlgorithmToString( algorithm ) ) }, { "files", files } } ) );
    if( options.output.toFile() )
        options.output.write( lines );
    return unreadable ? tool::exitInputError : tool::exitGood;
}

}

void tool::addHmac( CLI::App &app, int &exit )
{
    auto      options = std::make_shared<Options>();
    CLI::App *command = app.add_subcommand( "hmac", "compute keyed digests (HMAC, RFC 2104) of files" );
    command->add_option( "FILE", options->files, "files to read; - and none at all are standard input" )
        ->expected( 0, -1 )
        ->type_name( "" )
        ->transform( tool::plain );
    command->add_option( "--algorithm", options->algorithm, "one of " + algorithmNames() )
        ->type_name( "NAME" )
        ->transform( tool::plain )
        ->capture_default_str();
    CLI::Option *keyFile = command->add_option( "--key-file", options->keyFile, "the bytes of this file are the key, a line end at its end too" );
    keyFile->type_name( "FILE" )->transform( tool::plain );
    command->add_option( "--key-hex", options->keyHex, "the key in hexadecimal digits; others on this machine can see it" )
        ->type_name( "DIGITS" )
        ->transform( tool::plain )
        ->excludes( keyFile );
    options->output.addTo( *command, "the result" );
    command->add_flag( "--json", options->json, "print the result as JSON" );
    command->footer( "Prints lines as 'cry hash' does.\nExit: 0 done; 2 wrong use, or a file that cannot be read." );
    command->callback( [options, &exit] { exit = hmac( *options ); } );
}
