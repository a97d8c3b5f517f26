#include "options/hosts.hpp"

#include "options/command.hpp"
#include "options/value.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_sans.h>
#include <memory>
#include <openssl/err.h>

namespace
{

using Names = std::unique_ptr<GENERAL_NAMES, decltype( &GENERAL_NAMES_free )>;

// One name of a certificate as a set; empty if the module does not read it.
pb::Ref<CRY_X509_SANS> setOf( GENERAL_NAME *name )
{
    auto                                                  freeStack = []( GENERAL_NAMES *stack ) { sk_GENERAL_NAME_free( stack ); };
    std::unique_ptr<GENERAL_NAMES, decltype( freeStack )> one( sk_GENERAL_NAME_new_null(), freeStack );
    sk_GENERAL_NAME_push( one.get(), name );
    return pb::adopt( cry___X509SansCreateFromOpensslSubjectAltNames( one.get() ) );
}

}

pb::Ref<CRY_X509_SAN> tool::sanValue( const std::string &text, const std::string &option )
{
    pb::Ref<PB_STRING>    name = utf8Value( text, option );
    pb::Ref<CRY_X509_SAN> san  = pb::adopt( cryX509SanTryCreateFromHost( name.get() ) );
    if( !san )
        checkDomainName( name.get(), option, "; an IP address is written as 192.0.2.1 or 2001:db8::1" );
    return san;
}

pb::Ref<CRY_X509_SANS> tool::sansValue( const std::vector<std::string> &texts, const std::string &option )
{
    pb::Ref<CRY_X509_SANS> sans = pb::adopt( cryX509SansCreate() );
    for( const std::string &text : texts )
        cryX509SansSet( sans.handle(), sanValue( text, option ).get() );
    return sans;
}

void tool::HostOptions::addTo( CLI::App &command )
{
    CLI::Option *host = addRepeated(
        command, "--host", hosts, "NAME", "a domain name or IP address that the leaf must have; one of several is enough" );
    command.add_flag( "--no-wildcards", noWildcards, "compare *.example.org with itself only" )->needs( host );
}

tool::Hosts::Hosts( const HostOptions &options ) : sans( pb::adopt( cryX509SansCreate() ) ), wildcards( !options.noWildcards )
{
    for( const std::string &text : options.hosts )
    {
        pb::Ref<CRY_X509_SAN> san = sanValue( text, "--host" );
        cryX509SansSet( sans.handle(), san.get() );
        Host host{ text, pb::adopt( cryX509SansCreate() ), {} };
        cryX509SansSet( host.wanted.handle(), san.get() );
        all.push_back( host );
    }
}

bool tool::Hosts::find( CRY_X509_CERTIFICATE *certificate )
{
    int   place = 0;
    Names list( (GENERAL_NAMES *)X509_get_ext_d2i( cry___X509CertificatePeekOpensslX509( certificate ), NID_subject_alt_name, &place, nullptr ),
        GENERAL_NAMES_free );
    ERR_clear_error();
    if( !list )
    {
        problem = place == -1 ? "its leaf has no alternative names; a common name does not count"
                              : "the alternative names of its leaf cannot be read";
        return false;
    }
    names                                   = namesOf( list.get() );
    pb::Ref<CRY_X509_SANS>              its = pb::adopt( cry___X509SansCreateFromOpensslSubjectAltNames( list.get() ) );
    std::vector<pb::Ref<CRY_X509_SANS>> sets; // of the first names, as far as they were needed
    bool                                any = false;
    for( Host &host : all )
    {
        bool matches = cryX509SansHasMatch( its.get(), host.wanted.get(), wildcards );
        any          = any || matches;
        for( size_t index = 0; matches && !host.found && index < names.size(); index++ )
        {
            if( index == sets.size() )
                sets.push_back( setOf( sk_GENERAL_NAME_value( list.get(), (int)index ) ) );
            if( cryX509SansHasMatch( sets[index].get(), host.wanted.get(), wildcards ) )
                host.found = names[index];
        }
    }
    problem = names.empty() ? "its leaf has an empty list of alternative names" : "no name of its leaf matches";
    return any;
}

void tool::Hosts::compare( CRY_X509_CERTIFICATE *certificate, bool accepted )
{
    bool any = find( certificate );
    lenient  = accepted && !any;
    if( accepted )
        problem.clear();
}

std::string tool::Hosts::text() const
{
    std::string text;
    for( const Host &host : all )
    {
        text += "host " + printable( host.given ) + ": ";
        text += host.found ? "matches " + host.found->type + " " + host.found->value : "matches no name";
        text += lenient ? ", but is the lenient address\n" : "\n";
    }
    for( const Name &each : problem.empty() ? std::vector<Name>() : names )
        text += "name " + each.type + " " + each.value + "\n";
    return text;
}

void tool::Hosts::addTo( nlohmann::ordered_json &json ) const
{
    if( !problem.empty() )
        json["reason"] = problem;
    json["hosts"] = nlohmann::ordered_json::array();
    for( const Host &host : all )
    {
        json["hosts"].push_back( { { "given", host.given }, { "verdict", host.found || lenient ? "good" : "bad" } } );
        if( host.found )
            json["hosts"].back()["match"] = { { "type", host.found->type }, { "value", host.found->value } };
    }
    json["names"] = namesJson( names );
}
