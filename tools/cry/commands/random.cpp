#include "commands/commands.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"

#include <algorithm>
#include <cry/cry_random.h>

namespace
{

// A multiple of three, so that pieces of base 64 fit together.
constexpr PB_INT piece = 3 << 18;
// A file and JSON hold no more, since they are made at once.
constexpr PB_INT mostAtOnce = 1 << 30;

struct Options
{
    std::string       count;
    tool::FormOptions form;
    tool::Output      output;
    bool              json = false;
};

pb::Ref<PB_BUFFER> randomBytes( PB_INT count )
{
    pb::Ref<PB_BUFFER> bytes = pb::adopt( cryTryRandomData( count, PB_TRUE ) );
    if( !bytes )
        throw tool::InputError( "OpenSSL has no random data" + tool::opensslReasonInBrackets() );
    pbBufferSetSensitive( bytes.handle() );
    return bytes;
}

int random( Options &options )
{
    PB_INT     count = tool::number( options.count, "COUNT", 1, 999999999999999999 );
    tool::Form form  = options.form.form();
    options.output.check();
    if( options.json || options.output.toFile() )
    {
        if( count > mostAtOnce )
            throw tool::InputError( "more than 1 GiB is written to standard output only" );
        pb::Ref<PB_BUFFER> bytes = randomBytes( count );
        if( !options.json )
        {
            tool::writeBytes( options.output, bytes.get(), form, tool::Secrecy::secret );
            return tool::exitGood;
        }
        if( form == tool::Form::raw )
            form = tool::Form::hex;
        tool::printJson( { { "count", count }, { form == tool::Form::hex ? "hex" : "base64", tool::textInForm( bytes.get(), form ) } } );
        return tool::exitGood;
    }
    tool::checkNotTerminal( options.output, form );
    for( PB_INT left = count; left > 0; left -= piece )
        tool::printSecret( tool::inForm( randomBytes( std::min( left, piece ) ).get(), form ).get() );
    if( form != tool::Form::raw )
        tool::print( "\n" );
    return tool::exitGood;
}

}

void tool::addRandom( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, random,
        "Without --hex and --base64 the bytes come as they are, but never to a terminal. A file is made readable by its owner only.\n"
        "Exit: 0 done; 2 wrong use, or no random data." );
    addArgument( command, "COUNT", options.count, "how many bytes" )->required();
    options.form.addTo( command, "print" );
    options.output.addTo( command, "them" );
    command.get_option( "--json" )->excludes( "--out" );
}
