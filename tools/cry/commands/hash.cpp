#include "commands/commands.hpp"
#include "input/file.hpp"
#include "options/algorithm.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/digest_line.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cry/cry_hash.h>
#include <optional>
#include <string_view>

namespace
{

struct Options
{
    std::string              algorithm = "sha256";
    std::vector<std::string> files;
    bool                     check = false, tag = false, json = false;
};

// A list with more bad lines than this is probably not a list.
constexpr size_t malformedShown = 10;

std::string digestOf( const std::string &path, CRY_HASH_ALGORITHM algorithm )
{
    pb::Ref<CRY_HASH> hash = pb::adopt( cryHashTryCreate( algorithm ) );
    if( !hash )
        throw tool::algorithmMissing();
    tool::forEachPiece( path, [&hash]( const PB_BYTE *bytes, PB_INT count ) { cryHashUpdateBytes( hash.get(), bytes, count ); } );
    return tool::take( pbBufferToString( pb::adopt( cryHashFinal( hash.get() ) ).get() ) );
}

// The state of one run over many files.
struct Result
{
    nlohmann::ordered_json files  = nlohmann::ordered_json::array();
    size_t                 failed = 0, unreadable = 0, malformed = 0, good = 0;
};

void checkList( const Options &options, const std::string &list, CRY_HASH_ALGORITHM algorithm, Result &result )
{
    pb::Ref<PB_BUFFER> content = tool::readWhole( list );
    std::string_view   rest( (const char *)pbBufferBytes( content.get() ), (size_t)pbBufferLength( content.get() ) );
    size_t             digits = (size_t)cryHashAlgorithmDigestSizeBits( algorithm ) / 4;
    size_t             known = 0, malformed = 0;
    for( PB_INT number = 1; !rest.empty(); number++ )
    {
        std::string_view line = rest.substr( 0, rest.find( '\n' ) );
        rest.remove_prefix( std::min( line.size() + 1, rest.size() ) );
        if( line.ends_with( '\r' ) )
            line.remove_suffix( 1 );
        if( line.empty() || line.starts_with( '#' ) )
            continue;
        std::optional<tool::DigestLine> entry = tool::parseDigestLine( line, algorithm );
        if( !entry )
        {
            if( ++malformed <= malformedShown )
                tool::report( { list,
                    "is neither a line of " + std::to_string( digits ) + " hexadecimal digits, two blanks and a file name nor one as --tag writes it",
                    number } );
            continue;
        }
        known++;
        std::string verdict;
        try
        {
            bool same = digestOf( entry->path, entry->algorithm ) == entry->digest;
            verdict   = same ? "OK" : "FAILED";
            ( same ? result.good : result.failed )++;
        }
        catch( const tool::InputError &problem )
        {
            tool::report( problem );
            verdict = "UNREADABLE";
            result.unreadable++;
        }
        nlohmann::ordered_json file{ { "file", entry->path }, { "verdict", verdict == "OK" ? "good" : verdict == "FAILED" ? "bad" : "unknown" } };
        if( entry->tagged )
            file["algorithm"] = tool::nameOfAlgorithm( entry->algorithm );
        result.files.push_back( file );
        if( !options.json )
            tool::print( tool::printable( entry->path ) + ": " + ( verdict == "OK" ? tool::green( verdict ) : tool::red( verdict ) ) + "\n" );
    }
    result.malformed += malformed;
    if( malformed > malformedShown )
        tool::report( { list, "and " + tool::counted( malformed - malformedShown, "further line" ) } );
    if( !known )
        throw tool::InputError( list, "holds no line of a digest of " + std::to_string( digits ) + " digits (see --algorithm) and a file name" );
}

int hash( Options &options )
{
    CRY_HASH_ALGORITHM algorithm = tool::algorithmOf( options.algorithm );
    if( options.files.empty() )
        options.files.push_back( "-" );
    Result result;
    for( const std::string &file : options.files )
    {
        try
        {
            if( options.check )
            {
                checkList( options, file, algorithm, result );
                continue;
            }
            std::string digest = digestOf( file, algorithm );
            if( options.json )
                result.files.push_back( { { "file", file }, { "digest", digest } } );
            else
                tool::printNameLine( options.tag ? tool::taggedLine( algorithm, digest, file ) : tool::digestLine( digest, file ) );
        }
        catch( const tool::InputError &problem )
        {
            // The other files are still worth an answer.
            tool::report( problem );
            result.unreadable++;
        }
    }
    if( options.check && result.failed )
        tool::printError( tool::counted( result.failed, "digest" ) + " did not match" );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "algorithm", tool::nameOfAlgorithm( algorithm ) } };
        if( options.check )
            json["verdict"] = result.failed ? "bad" : result.unreadable || result.malformed ? "unknown" : "good";
        json["files"] = result.files;
        tool::printJson( json );
    }
    if( result.failed )
        return tool::exitNegative;
    return result.unreadable || result.malformed ? tool::exitInputError : tool::exitGood;
}

}

void tool::addHash( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, hash,
        "Prints and reads lines as sha256sum does, also those of its option --tag, which name the algorithm.\n"
        "Exit: 0 done, or all digests match; 1 a digest does not match; 2 wrong use, or a file or line that cannot be read." );
    addFiles( command, options.files );
    addAlgorithm( command, options.algorithm );
    CLI::Option *check = command.add_flag( "--check", options.check, "read lists of digests from the files and check them" );
    command.add_flag( "--tag", options.tag, "write the algorithm, too: SHA256 (FILE) = DIGEST" )->excludes( check )->excludes( "--json" );
}
