#include "commands/commands.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <in/in.h>
#include <in/internal/in_dns_idna.h>

namespace
{

struct Options
{
    std::string name;
    bool        json = false;
};

int check( Options &options )
{
    pb::Ref<PB_STRING>     name    = tool::utf8Value( options.name, "NAME" );
    PB_STRING             *problem = in___DnsIdnaDomainNameProblem( name.get() );
    nlohmann::ordered_json json{ { "given", options.name }, { "verdict", problem ? "bad" : "good" } };
    if( problem )
    {
        std::string reason = tool::take( problem );
        json["reason"]     = reason;
        if( options.json )
            tool::printJson( json );
        else
            tool::print( tool::red( "bad" ) + ": " + tool::shown( options.name ) + " is not a domain name: " + reason + "\n" );
        return tool::exitNegative;
    }
    std::string        ascii   = tool::take( inDnsIdnaDomainNameToAscii( name.get() ) );
    pb::Ref<PB_STRING> found   = pb::adopt( inDnsIdnaDomainNameToUnicode( name.get() ) );
    std::string        unicode = found ? tool::take( found.take() ) : "";
    if( options.json )
    {
        json["ascii"]   = ascii;
        json["unicode"] = unicode;
        tool::printJson( json );
    }
    else
        tool::print( tool::green( "good" ) + ": " + tool::printable( options.name ) + " is a domain name\nascii    " + ascii + "\nunicode  " +
            tool::printable( unicode ) + "\n" );
    return tool::exitGood;
}

}

void tool::addNameCheck( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, check,
        "Prints the ASCII and the Unicode form (IDNA 2008, UTS #46), or why the text is not a domain name.\n"
        "Exit: 0 it is one; 1 it is not; 2 wrong use." );
    addArgument( command, "NAME", options.name, "the name" )->required();
}
