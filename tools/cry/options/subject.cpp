#include "options/subject.hpp"

#include "input/signing_check.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"

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
    addOption( command, "--key", key, "FILE", "the private key" )->required();
    addOption( command, "--domain", domain, "NAME", "the domain name, as subject alternative name, and as common name if that is not given" );
    addOption( command, "--common-name", commonName, "TEXT", "the common name; a new UUID if there is no domain name either" );
    password.addTo( command, "a protected private key" );
}

tool::Subject::Subject( SubjectOptions &options )
{
    if( options.domain )
    {
        domain = utf8Value( *options.domain, "--domain" );
        checkDomainName( domain.get(), "--domain" );
        if( !options.commonName )
            checkCommonName( domain.get(), "--domain", "; --common-name gives another one" );
    }
    if( options.commonName )
    {
        commonName = utf8Value( *options.commonName, "--common-name" );
        checkCommonName( commonName.get(), "--common-name", "" );
    }
    key = readPrivateKey( options.key, options.password );
    checkCanSign( key, CRY_HASH_ALGORITHM_SHA2_256 );
}
