#include "options/subject.hpp"

#include "input/input.hpp"
#include "options/command.hpp"
#include "output/terminal.hpp"

#include <in/in.h>
#include <in/internal/in_dns_idna.h>

namespace
{

// The most that X.520 allows (ub-common-name).
constexpr PB_INT mostOfCommonName = 64;

void checkCommonName( PB_STRING *name, const std::string &option, const std::string &more )
{
    PB_INT length = pbStringLength( name );
    if( length == 0 )
        throw tool::InputError( option + ": is empty" );
    if( length > mostOfCommonName )
        throw tool::InputError( option + ": has " + std::to_string( length ) + " characters; a common name has at most 64" + more );
}

}

void tool::SubjectOptions::addTo( CLI::App &command )
{
    command.add_option( "--key", key, "the private key" )->required()->type_name( "FILE" )->transform( plain );
    command.add_option( "--domain", domain, "the domain name, as subject alternative name, and as common name when that is not given" )
        ->type_name( "NAME" )
        ->transform( plain );
    command.add_option( "--common-name", commonName, "the common name; a new UUID when there is no domain name either" )
        ->type_name( "TEXT" )
        ->transform( plain );
    password.addTo( command, "a protected private key" );
}

tool::Subject::Subject( SubjectOptions &options )
{
    if( options.domain )
    {
        domain = given( *options.domain, "--domain" );
        if( PB_STRING *problem = in___DnsIdnaDomainNameProblem( domain.get() ) )
            throw InputError( "--domain: " + shown( *options.domain ) + " is no domain name: " + take( problem ) );
        if( !options.commonName )
            checkCommonName( domain.get(), "--domain", "; --common-name gives another one" );
    }
    if( options.commonName )
    {
        commonName = given( *options.commonName, "--common-name" );
        checkCommonName( commonName.get(), "--common-name", "" );
    }
    key = readPrivateKey( options.key, options.password );
    SigningCheck( CRY_HASH_ALGORITHM_SHA2_256 ).check( key );
}
