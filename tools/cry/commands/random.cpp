#include "input/input.hpp"
#include "options/command.hpp"
#include "output/output.hpp"
#include "output/terminal.hpp"

#include <cry/cry_random.h>
#include <memory>
#include <unistd.h>

namespace
{

// A multiple of three, so that pieces of base 64 fit together.
constexpr PB_INT piece = 3 << 18;
// What is written to a file or as JSON is made at once.
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

int random( const Options &options )
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
        tool::printJson(
            { { "format", 1 }, { "count", count }, { form == tool::Form::hex ? "hex" : "base64", tool::textInForm( bytes.get(), form ) } } );
        return tool::exitGood;
    }
    if( form == tool::Form::raw && isatty( STDOUT_FILENO ) )
        throw tool::InputError( "raw bytes do not go to a terminal; --hex, --base64 or --out gives them another way" );
    for( PB_INT left = count; left > 0; left -= piece )
        tool::printSecret( tool::inForm( randomBytes( std::min( left, piece ) ).get(), form ).get() );
    if( form != tool::Form::raw )
        tool::print( "\n" );
    return tool::exitGood;
}

}

void tool::addRandom( CLI::App &app, int &exit )
{
    auto      options = std::make_shared<Options>();
    CLI::App *command = app.add_subcommand( "random", "make random bytes" );
    command->add_option( "COUNT", options->count, "how many bytes" )->required()->type_name( "" )->transform( tool::plain );
    options->form.addTo( *command, "print" );
    options->output.addTo( *command, "them" );
    command->add_flag( "--json", options->json, "print the result as JSON" )->excludes( "--out" );
    command->footer(
        "Without --hex and --base64 the bytes come as they are. A file is made readable by its owner only.\nExit: 0 done; 2 wrong use, or no random data." );
    command->callback( [options, &exit] { exit = random( *options ); } );
}
