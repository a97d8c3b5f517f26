#include "input/input.hpp"
#include "options/group.hpp"
#include "output/terminal.hpp"

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
    pb::Ref<PB_STRING>     name    = tool::given( options.name, "NAME" );
    PB_STRING             *problem = in___DnsIdnaDomainNameProblem( name.get() );
    nlohmann::ordered_json json{ { "format", 1 }, { "name", options.name }, { "verdict", problem ? "bad" : "good" } };
    if( problem )
    {
        std::string reason = tool::take( problem );
        json["reason"]     = reason;
        if( options.json )
            tool::printJson( json );
        else
            tool::print( tool::red( "bad" ) + ": " + tool::shown( options.name ) + " is no domain name: " + reason + "\n" );
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

void tool::addName( CLI::App &app, int &exit )
{
    CLI::App &group         = addGroup( app, "name", "check domain names" );
    auto [command, options] = addMember<Options>( group, exit, "check", "say whether a text is a domain name, and its ASCII and Unicode forms (IDNA)",
        check, "Exit: 0 it is one; 1 it is not; 2 wrong use." );
    command->add_option( "NAME", options->name, "the name" )->required()->type_name( "" )->transform( plain );
}
