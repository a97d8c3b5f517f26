#include "input/tn_list.hpp"
#include "commands/commands.hpp"
#include "input/item.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/print.hpp"
#include "output/store_json.hpp"

#include <optional>

namespace
{

struct Options
{
    std::string file;
    bool        json = false;
};

// The first certificate of a file.
tool::Item readFirst( const std::string &path )
{
    std::optional<tool::Item> first;
    tool::OtherLabels         others;
    tool::forEachItem( path, [&]( tool::Item &item ) {
        if( !item.problem.empty() )
            throw item.error();
        if( !item.certificate )
            others.add( item.label );
        else if( !first )
            first = item;
    } );
    if( !first )
        throw tool::InputError( path, "holds no certificate, only " + others.list() );
    return *first;
}

int tnList( Options &options )
{
    tool::Item   item = readFirst( options.file );
    tool::TnList found( item.certificate.get() );
    if( !found.problem.empty() )
        throw tool::InputError( options.file, found.problem, item.line );
    const std::string      none = "the certificate has no telephone number authorization list";
    nlohmann::ordered_json json{ { "file", options.file }, { "verdict", found.list ? "good" : "bad" } };
    if( found.list )
        json["tnAuthList"] = tool::storeJson( pb::adopt( cryX509TNAuthListStore( found.list.get() ) ).get() );
    else
        json["reason"] = none;
    if( options.json )
        tool::printJson( json );
    else if( !found.list )
        tool::print( tool::red( "none" ) + ": " + none + "\n" );
    for( const std::string &line : options.json ? std::vector<std::string>() : found.lines() )
        tool::print( line + "\n" );
    return found.list ? tool::exitGood : tool::exitNegative;
}

}

void tool::addTnList( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, tnList,
        "Prints the telephone number authorization list (RFC 8226) of the first certificate in a file. Each entry has its own\n"
        "line: a service provider code, a range (its first number and how many there are), or one number. Characters other\n"
        "than visible ASCII are escaped, as in 'cry request check'. The signature is not checked.\n"
        "Exit: 0 the certificate has a list; 1 it has none; 2 wrong use, or a file or list that cannot be read." );
    addArgument( command, "FILE", options.file, "the certificate, in PEM or DER; - is standard input" )->required();
}
