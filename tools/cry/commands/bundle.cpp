#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/trust_token.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/out_file.hpp"
#include "output/out_stream.hpp"
#include "output/print.hpp"
#include "output/token_facts.hpp"
#include "output/token_verdict.hpp"
#include "text/convert.hpp"

#include <cry/cry_trust_bundle.h>
#include <cstring>
#include <exception>
#include <optional>
#include <pb/pb_header.h>

namespace
{

struct PackOptions
{
    std::string  token, file = "-";
    tool::Output output;
    bool         json = false;
};

struct UnpackOptions
{
    std::string  bundle = "-";
    tool::Output output;
    bool         noVerify = false, json = false;
};

struct VerifyOptions
{
    std::string bundle = "-";
    bool        json   = false;
};

// ---- pack

// A stream as a sink of the module, through which no exception may pass.
struct Sink
{
    tool::OutputStream   &stream;
    std::exception_ptr    problem;
    PB_INT                length = 0;
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbCallbackByteSinkCreate( write, nullptr, nullptr, this ) );

    static PB_BOOL write( void *closure, PB_BUFFER *bytes )
    {
        Sink &self = *(Sink *)closure;
        try
        {
            self.stream.write( pbBufferBytes( bytes ), (size_t)pbBufferLength( bytes ) );
            self.length += pbBufferLength( bytes );
            return PB_TRUE;
        }
        catch( ... )
        {
            self.problem = std::current_exception();
            return PB_FALSE;
        }
    }
};

int pack( PackOptions &options )
{
    tool::checkStandardInput( { options.token, options.file } );
    options.output.checkBeside( options.json );
    options.output.check();
    pb::Ref<CRY_TRUST_TOKEN> tok = tool::readToken( options.token );
    if( !cryTrustTokenHasSignature( tok.get() ) )
        tool::warn( { tool::nameOf( options.token ) + ": the token has no signature", options.token, {} } );
    tool::FileSource   source( options.file );
    tool::OutputStream stream( options.output, false );
    Sink               sink{ stream, {} };
    if( !cryTrustBundleTryPack( tok.get(), source.source(), sink.sink.get() ) )
    {
        source.check();
        if( sink.problem )
            std::rethrow_exception( sink.problem );
        throw tool::InputError( options.token, "the token is too large for the header of a bundle" );
    }
    stream.finish();
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "tokenFile", options.token }, { "length", sink.length },
            { "token", tool::tokenJson( tok.get() ) } };
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

// ---- unpack, verify

// The data of a bundle, which can go to a stream while the module reads it.
class Bundle
{
public:
    pb::Ref<CRY_TRUST_TOKEN> token;
    PB_INT                   length = 0; // of the data that was read

    // Throws InputError if it cannot be read or is not a bundle.
    explicit Bundle( const std::string &path ) : file( path ), body( pb::adopt( pbHeaderByteSourceCreate( file.source() ) ) )
    {
        pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderByteSourceHeader( body.get() ) );
        file.check();
        if( !header || !pbHeaderIsTypeCstr( header.get(), "CRY_TRUST_BUNDLE", -1 ) )
            throw tool::InputError( path, "is not a trust bundle" );
        pb::Ref<PB_STORE> stored = pb::adopt( pbStoreStoreCstr( pb::adopt( pbHeaderStore( header.get() ) ).get(), "token", -1 ) );
        if( !stored )
            throw tool::InputError( path, "is a trust bundle without a token" );
        token = tool::tokenIn( stored.get(), path );
    }

    // Reads the data; null for no stream. These throw InputError if something cannot be read or
    // written.
    bool verify( tool::OutputStream *to )
    {
        stream    = to;
        bool good = cryTrustTokenTryVerify( token.get(), data.get() );
        check();
        return good;
    }
    void unpack( tool::OutputStream *to )
    {
        pb::Ref<PB_BUFFER> ignored = pb::adopt( pbBufferCreate() );
        for( stream = to; pbByteSourceRead( data.get(), ignored.handle(), pieceLength ); )
            pbBufferClear( ignored.handle() );
        check();
    }

private:
    static constexpr PB_INT pieceLength = 1 << 20;

    static PB_INT read( void *closure, PB_BYTE *to, PB_INT max )
    {
        Bundle &self = *(Bundle *)closure;
        pbBufferClear( self.piece.handle() );
        PB_INT count = pbByteSourceRead( self.body.get(), self.piece.handle(), max );
        if( count == 0 )
            return pbByteSourceError( self.body.get() ) ? -1 : 0;
        try
        {
            if( self.stream )
                self.stream->write( pbBufferBytes( self.piece.get() ), (size_t)count );
        }
        catch( ... )
        {
            self.problem = std::current_exception();
            return -1;
        }
        std::memcpy( to, pbBufferBytes( self.piece.get() ), (size_t)count );
        self.length += count;
        return count;
    }

    void check() const
    {
        file.check();
        if( problem )
            std::rethrow_exception( problem );
    }

    tool::FileSource        file;
    pb::Ref<PB_BYTE_SOURCE> body;
    pb::Ref<PB_BUFFER>      piece  = pb::adopt( pbBufferCreate() );
    tool::OutputStream     *stream = nullptr;
    std::exception_ptr      problem;
    pb::Ref<PB_BYTE_SOURCE> data = pb::adopt( pbCallbackByteSourceCreate( read, nullptr, this ) );
};

int unpack( UnpackOptions &options )
{
    options.output.checkBeside( options.json );
    options.output.check();
    Bundle                            bundle( options.bundle );
    tool::OutputStream                stream( options.output, !options.noVerify );
    std::optional<tool::TokenVerdict> verdict;
    if( options.noVerify )
        bundle.unpack( &stream );
    else
        verdict.emplace( bundle.token.get(), bundle.verify( &stream ) );
    bool good = !verdict || verdict->reason().empty();
    if( good )
        stream.finish();
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.bundle } };
        if( verdict )
            verdict->addTo( json );
        else
            json["token"] = tool::tokenJson( bundle.token.get() );
        if( good )
        {
            json["length"] = bundle.length;
            options.output.addTo( json );
        }
        tool::printJson( json );
    }
    else if( !good )
        tool::printError( tool::nameOf( options.bundle ) + ": " + verdict->reason() + "; nothing was written" );
    return good ? tool::exitGood : tool::exitNegative;
}

int verify( VerifyOptions &options )
{
    Bundle             bundle( options.bundle );
    bool               good = bundle.verify( nullptr );
    tool::TokenVerdict verdict( bundle.token.get(), good );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.bundle } };
        verdict.addTo( json );
        if( good )
            json["length"] = bundle.length;
        tool::printJson( json );
    }
    else
        tool::print( verdict.text( options.bundle ) );
    return good ? tool::exitGood : tool::exitNegative;
}

void addBundle( CLI::App &command, std::string &bundle )
{
    tool::addArgument( command, "BUNDLE", bundle, "the bundle; - and none at all are standard input" );
    tool::valuesOf( command.get_option( "BUNDLE" ) ).kind = tool::Values::input;
}

}

void tool::addBundlePack( CLI::App &command, int &exit )
{
    PackOptions &options = addOptions( command, exit, pack,
        "Nothing is signed or verified; 'cry bundle verify' tells if the token is for the file.\n"
        "Exit: 0 done; 2 wrong use, or a file that cannot be read or written." );
    addOption( command, "--token", options.token, "FILE", "the token, which 'cry token sign' made" )->required();
    options.output.addTo( command, "the bundle" );
    command.get_option( "--out" )->required();
    addArgument( command, "FILE", options.file, "the file that the token signs; - and none at all are standard input" );
}

void tool::addBundleUnpack( CLI::App &command, int &exit )
{
    UnpackOptions &options = addOptions( command, exit, unpack,
        "The token is verified as 'cry token verify' does it, and nothing is written if it is not good. For standard output,\n"
        "the data is kept in a temporary file until then.\n"
        "Exit: 0 done; 1 the token is not good; 2 wrong use, or a file that cannot be read or written." );
    command.add_flag( "--no-verify", options.noVerify, "write the data although nobody knows who made it" );
    options.output.addTo( command, "the data" );
    command.get_option( "--out" )->required();
    addBundle( command, options.bundle );
}

void tool::addBundleVerify( CLI::App &command, int &exit )
{
    VerifyOptions &options = addOptions( command, exit, verify,
        "The token is verified as 'cry token verify' does it.\n"
        "Exit: 0 the token is good; 1 it is not; 2 wrong use, or a file that cannot be read or is not a bundle." );
    addBundle( command, options.bundle );
}
