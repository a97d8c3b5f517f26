#include "commands/commands.hpp"
#include "end_signals.hpp"
#include "input/certificate_file.hpp"
#include "input/configuration.hpp"
#include "input/file.hpp"
#include "input/vault.hpp"
#include "input/watched_file.hpp"
#include "options/command.hpp"
#include "options/state.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/identity_facts.hpp"
#include "output/notices.hpp"
#include "output/print.hpp"
#include "output/store_json.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <chrono>
#include <cry/cry_x509_session.h>
#include <cry/internal/cry_x509_system.h>
#include <cs/cs_object.h>
#include <optional>
#include <pb/pb_time.h>
#include <poll.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds lookInterval{ 500 };
// The module itself reads the roots again after twelve hours only.
constexpr std::chrono::seconds rootsInterval{ 60 };

struct Options
{
    std::string                      config;
    tool::StateOptions               state;
    bool                             once = false, json = false;
    std::optional<tool::WatchedFile> file; // if it can be read more than once
    tool::Configuration              current;
    bool                             usesVault = false;

    // The vault is read only if it is needed, since it holds private keys.
    void prepare( pb::Ref<PB_RUNTIME_OPTIONS> &start )
    {
        file.emplace( config );
        if( !file->isRegular() )
            file.reset();
        current   = tool::readConfiguration( config );
        usesVault = state.isGiven() || tool::hasValue( current.store.get(), "identityMode", "CRY_X509_STACK_IDENTITY_MODE_VAULT" );
        if( usesVault )
            state.prepare( start );
    }
};

// What is told in one go.
struct News
{
    bool                            configuration = false, identity = false, trust = false, first = false;
    std::optional<tool::InputError> problem;

    std::vector<std::string> names() const
    {
        std::vector<std::string> all;
        for( auto &[is, name] : { std::pair( configuration, "configuration" ), std::pair( identity, "identity" ), std::pair( trust, "trust" ) } )
        {
            if( is )
                all.emplace_back( name );
        }
        return all;
    }
};

class Stack
{
public:
    explicit Stack( Options &given );

    void printNews( const News &news, const tool::Certificates &added = {}, const tool::Certificates &removed = {} );
    void runUntil( PB_SIGNAL *end );

private:
    CRY_X509_STACK    *peek() const { return cryX509StackFrom( object.get() ); }
    std::string        whyNoIdentity() const;
    std::string        trustText( const News &news, size_t added, size_t removed ) const;
    tool::Certificates trusted() const { return tool::elements( pb::adopt( cryX509SessionTrustedCertificates( session.get() ) ).get() ); }

    void follow();
    void look();
    void reload();
    void tell( const tool::InputError &found, std::string &known );
    bool isSystem() const;

    Options                         &options;
    pb::Ref<PB_OBJ>                  object;
    pb::Ref<CRY_X509_SESSION>        session;
    std::optional<tool::WatchedFile> vault;
    bool                             loaded = false;            // another configuration was set, and is not published yet
    std::string                      fileProblem, vaultProblem; // told last
    Clock::time_point                nextLook, nextRoots;
};

Stack::Stack( Options &given ) : options( given ), nextLook( Clock::now() + lookInterval ), nextRoots( Clock::now() + rootsInterval )
{
    if( options.usesVault )
    {
        vault.emplace( tool::VaultFiles( options.state.directory ).primary );
        tool::vaultItems( options.state.directory ); // which tells if the vault cannot be read
    }
    tool::warnOfEntries( options.config, options.current.store.get() );
    object  = pb::adopt( csObjectTryCreate( cryX509StackSort(), options.current.store.get(), nullptr ) );
    session = pb::adopt( cryX509SessionCreate( peek(), nullptr ) );
}

bool Stack::isSystem() const
{
    return cryX509StackOptionsTrustMode( pb::adopt( cryX509StackOptions( peek() ) ).get() ) == CRY_X509_STACK_TRUST_MODE_SYSTEM;
}

// ---- output

std::string Stack::whyNoIdentity() const
{
    pb::Ref<CRY_X509_STACK_OPTIONS> used = pb::adopt( cryX509SessionOptions( session.get() ) );
    switch( cryX509StackOptionsIdentityMode( used.get() ) )
    {
    case CRY_X509_STACK_IDENTITY_MODE_GENERATE:
        return "it could not be generated";
    case CRY_X509_STACK_IDENTITY_MODE_VAULT: {
        pb::Ref<PB_IDENTIFIER> identifier = pb::adopt( cryX509StackOptionsIdentityVaultIdentifier( used.get() ) );
        if( !identifier )
            return "the configuration does not name an identity of the vault";
        if( !options.usesVault )
            return "the vault was not read at the start; start again with --state-dir";
        return "the vault in " + tool::nameOf( options.state.directory ) + " has no identity " +
            tool::shown( tool::take( pbIdentifierToString( identifier.get() ) ) );
    }
    default:
        return "the configuration has none";
    }
}

std::string identityText( const tool::IdentityFacts &facts )
{
    if( !facts.certificate )
        return facts.keyText() + ", no certificate";
    tool::Facts certificate( facts.certificate.get() );
    return tool::nameOrNone( certificate.subject ) + ", valid until " + certificate.validUntil + ", SHA-256 " +
        tool::orMissing( certificate.fingerprint ) + ( facts.key ? "" : ", no private key" );
}

std::string Stack::trustText( const News &news, size_t added, size_t removed ) const
{
    std::string text = tool::counted( trusted().size(), "certificate" );
    if( !news.first )
        text += ", " + std::to_string( added ) + " added, " + std::to_string( removed ) + " removed";
    std::string names;
    for( const auto &each : tool::storeJson( pb::adopt( cryX509SansStore( pb::adopt( cryX509SessionTrustedSans( session.get() ) ).get() ) ).get() ) )
        names += ( names.empty() ? "" : ", " ) + tool::escapedName( each.value( "dnsName", each.value( "ipAddress", "" ) ) );
    return names.empty() ? text : text + "; a peer needs one of the names " + names;
}

void Stack::printNews( const News &news, const tool::Certificates &added, const tool::Certificates &removed )
{
    std::string                now      = tool::take( pbTimeToString( tool::timeValue( {} ).get() ) );
    pb::Ref<CRY_X509_IDENTITY> identity = pb::adopt( cryX509SessionIdentity( session.get() ) );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "time", now }, { "changes", news.first ? std::vector<std::string>() : news.names() } };
        if( identity )
            json["identity"] = tool::IdentityFacts( identity.get() ).json();
        else
            json["reason"] = whyNoIdentity();
        json["count"]       = trusted().size();
        json["added"]       = tool::factsJson( added );
        json["removed"]     = tool::factsJson( removed );
        json["trustedSans"] = tool::storeJson( pb::adopt( cryX509SansStore( pb::adopt( cryX509SessionTrustedSans( session.get() ) ).get() ) ).get() );
        if( news.problem )
            tool::keepProblem( *news.problem );
        tool::printJsonLine( json );
    }
    else
    {
        if( news.configuration )
            tool::print( now + " configuration: read again\n" );
        if( news.identity )
            tool::print(
                now + " identity: " + ( identity ? identityText( tool::IdentityFacts( identity.get() ) ) : "none: " + whyNoIdentity() ) + "\n" );
        if( news.trust )
            tool::print( now + " trust: " + trustText( news, added.size(), removed.size() ) + "\n" );
    }
    tool::flushOutput();
}

// Tells once that a file cannot be read, however often it is looked at.
void Stack::tell( const tool::InputError &found, std::string &known )
{
    if( found.what() == known )
        return;
    known = found.what();
    News news;
    news.problem.emplace( found, "; what was read before stays" );
    tool::printError( news.problem->what() );
    if( options.json )
        printNews( news );
}

// ---- changes

// Goes over to the state that is published now, and tells what is different in it.
void Stack::follow()
{
    pb::Ref<CRY_X509_SESSION> fresh;
    News                      news;
    // If the fresh session has not changed after the other one was asked, the answer tells what is
    // between the two.
    do
    {
        fresh         = pb::adopt( cryX509SessionCreate( peek(), nullptr ) );
        news.identity = cryX509SessionIdentityChanged( session.get() );
        news.trust    = cryX509SessionTrustChanged( session.get() );
    }
    while( cryX509SessionIdentityChanged( fresh.get() ) || cryX509SessionTrustChanged( fresh.get() ) );
    news.configuration = loaded && pb::adopt( cryX509SessionOptions( fresh.get() ) ).get() == pb::adopt( cryX509StackOptions( peek() ) ).get();
    if( !news.identity && !news.trust && !news.configuration )
        return;
    loaded = loaded && !news.configuration;

    tool::Certificates before = trusted();
    session                   = fresh;
    tool::Certificates now    = trusted();
    printNews( news, tool::without( now, before ), tool::without( before, now ) );
}

void Stack::reload()
{
    if( options.file->isThere() && !options.file->isRegular() )
        throw tool::InputError( options.config, "is not a file any more" );
    tool::Configuration read = tool::readConfiguration( options.config );
    fileProblem.clear();
    if( pbBufferEquals( read.content.get(), options.current.content.get() ) )
        return;
    options.current = read;
    tool::warnOfEntries( options.config, read.store.get() );
    loaded = csObjectTrySetConfiguration( object.get(), read.store.get() );
}

void Stack::look()
{
    try
    {
        if( options.file && options.file->changed() )
            reload();
    }
    catch( const tool::InputError &found )
    {
        tell( found, fileProblem );
    }
    try
    {
        // Other processes change the vault through its file.
        if( vault && vault->changed() )
        {
            tool::vaultItems( options.state.directory );
            vaultProblem.clear();
        }
    }
    catch( const tool::InputError &found )
    {
        tell( found, vaultProblem );
    }
    if( Clock::now() >= nextRoots )
    {
        nextRoots = Clock::now() + rootsInterval;
        if( isSystem() )
            cry___X509SystemTrustedCertificatesReload();
    }
    // They were printed to standard error, and no JSON object repeats them.
    if( !options.json )
        tool::forgetNotices();
}

bool isOutputClosed()
{
    pollfd output{ STDOUT_FILENO, 0, 0 };
    return poll( &output, 1, 0 ) == 1 && ( output.revents & POLLERR );
}

void Stack::runUntil( PB_SIGNAL *end )
{
    while( !pbSignalAsserted( end ) && !isOutputClosed() )
    {
        pb::Ref<PB_SIGNAL>        wake   = pb::adopt( pbSignalCreate() );
        pb::Ref<PB_SIGNALABLE>    change = pb::adopt( pbSignalableCreateSignal( wake.get() ) );
        pb::Ref<CRY_X509_SESSION> asked  = session;
        pbSignalAddSignal( end, wake.get() );
        cryX509StackUpdateAddSignalable( peek(), change.get() );
        cryX509SessionIdentityChangedAddSignalable( asked.get(), change.get() );
        cryX509SessionTrustChangedAddSignalable( asked.get(), change.get() );
        follow();
        if( Clock::now() >= nextLook )
        {
            nextLook = Clock::now() + lookInterval;
            look();
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>( nextLook - Clock::now() );
        pbSignalWait( wake.get(), std::max<PB_INT>( left.count() + 1, 0 ) );
        cryX509SessionTrustChangedDelSignalable( asked.get(), change.get() );
        cryX509SessionIdentityChangedDelSignalable( asked.get(), change.get() );
        cryX509StackUpdateDelSignalable( peek(), change.get() );
        pbSignalDelSignal( end, wake.get() );
    }
}

int run( Options &options )
{
    std::optional<tool::EndSignals> signals;
    if( !options.once )
        signals.emplace();
    Stack stack( options );
    News  news;
    news.first = news.identity = news.trust = true;
    stack.printNews( news );
    if( signals )
        stack.runUntil( signals->end() );
    return tool::exitGood;
}

}

void tool::addStackRun( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, run,
        "Prints the identity and how many certificates are trusted, then each change, until SIGINT (Ctrl-C) or SIGTERM ends it.\n"
        "The file is read again when it changes, in place or by another file of this name. If it then cannot be read or is not a\n"
        "configuration, the old one stays, and standard error says why. 'cry stack options' writes configurations.\n"
        "Standard input and pipes are read once. With the trust mode system, the platform's roots are read again every minute.\n"
        "The vault is read only if --state-dir is given, or if the configuration has the identity mode vault at the start. Then\n"
        "changes by 'cry vault' are seen, too.\n"
        "Exit: 0 done; 2 wrong use, or a file that is not a configuration at the start." );
    addOption( command, "--config", options.config, "FILE", "the configuration, a store in JSON; - is standard input" )->required();
    command.add_flag( "--once", options.once, "print the state and end" );
    options.state.addTo( command );
}
