#include "output/notices.hpp"

#include <utility>
#include <vector>

namespace
{

struct Notices
{
    nlohmann::ordered_json problems = nlohmann::ordered_json::array(), warnings = nlohmann::ordered_json::array();
};

Notices &notices()
{
    static Notices all;
    return all;
}

}

void tool::warn( const Warning &warning )
{
    printError( "warning: " + warning.message );
    nlohmann::ordered_json json{ { "message", warning.message } };
    if( warning.file )
        json["file"] = *warning.file;
    if( warning.depth )
        json["depth"] = *warning.depth;
    notices().warnings.push_back( json );
}

void tool::report( const InputError &problem )
{
    printError( problem.what() );
    keepProblem( problem );
}

void tool::keepProblem( const InputError &problem ) { notices().problems.push_back( problemJson( problem ) ); }

nlohmann::ordered_json tool::problemJson( const InputError &problem )
{
    nlohmann::ordered_json json{ { "message", problem.what() } };
    if( problem.file )
        json["file"] = *problem.file;
    if( problem.line )
        json["line"] = problem.line;
    return json;
}

void tool::addNotices( nlohmann::ordered_json &json )
{
    if( !notices().problems.empty() )
        json["problems"] = notices().problems;
    if( !notices().warnings.empty() )
        json["warnings"] = notices().warnings;
}

void tool::moveNotices( nlohmann::ordered_json &json )
{
    addNotices( json );
    forgetNotices();
}

void tool::forgetNotices() { notices() = Notices(); }
