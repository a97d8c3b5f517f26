#include "input/input.hpp"
#include "options/command.hpp"
#include "output/describe.hpp"
#include "output/explain.hpp"
#include "output/terminal.hpp"

#include <algorithm>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <cry/internal/cry_x509_system.h>
#include <memory>
#include <openssl/x509_vfy.h>

namespace
{

struct Options
{
    std::vector<std::string> trust, intermediates;
    std::string              time, chain;
    bool                     now = true, noSystem = false, json = false;
};

struct Input
{
    pb::Ref<CRY_X509_CERTIFICATE>  leaf;
    pb::Ref<CRY_X509_CERTIFICATES> extra = pb::adopt( cryX509CertificatesCreate() ), trusted = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<PB_TIME>               tm;
};

pb::Ref<PB_TIME> timeOf( const Options &options )
{
    const std::string &text = options.time;
    if( options.now )
        return pb::adopt( pbTimeTryCreateFromTimeT( time( nullptr ) ) );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ) );
    pb::Ref<PB_TIME>   tm  = pb::adopt( pbTimeTryCreateFromString( str.get() ) );
    time_t             seconds;
    if( !tm )
        throw tool::InputError( "--time: '" + tool::printable( text ) + "' is not a time in UTC as 2026-01-31T12:00:00Z" );
    if( !pbTimeTryConvertToTimeT( tm.get(), &seconds ) )
        throw tool::InputError( "--time: '" + text + "' is a day that does not exist" );
    return tm;
}

void append( pb::Ref<CRY_X509_CERTIFICATES> &to, const std::vector<tool::Certificate> &certificates, size_t from = 0 )
{
    for( size_t index = from; index < certificates.size(); index++ )
        cryX509CertificatesAppendCertificate( to.handle(), certificates[index].certificate.get() );
}

Input readInput( const Options &options )
{
    Input input;
    input.tm = timeOf( options );
    if( options.noSystem && options.trust.empty() )
        throw tool::InputError( "nothing is trusted: give --trust FILE, or leave out --no-system" );
    std::vector<std::string> inputs = options.trust;
    inputs.insert( inputs.end(), options.intermediates.begin(), options.intermediates.end() );
    inputs.push_back( options.chain );
    if( std::count( inputs.begin(), inputs.end(), "-" ) > 1 )
        throw tool::InputError( "standard input is given more than once, but can be read only once" );

    std::vector<tool::Certificate> chain = tool::readCertificates( options.chain );
    input.leaf                           = chain[0].certificate;
    append( input.extra, chain, 1 );
    for( const std::string &file : options.intermediates )
        append( input.extra, tool::readCertificates( file ) );
    for( const std::string &file : options.trust )
        append( input.trusted, tool::readCertificates( file ) );
    if( !options.noSystem )
    {
        pb::Ref<CRY_X509_CERTIFICATES> roots = pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() );
        cryX509CertificatesAppend( input.trusted.handle(), roots.get() );
    }
    return input;
}

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> elements( CRY_X509_CERTIFICATES *certificates )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> all;
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( certificates ); index++ )
        all.push_back( pb::adopt( cryX509CertificatesCertificateAt( certificates, index ) ) );
    return all;
}

// The facts of one certificate under its name.
std::string details( const tool::Facts &facts, const std::string &indent )
{
    auto line = [&indent]( const char *what, const std::string &value ) { return indent + tool::faint( what ) + value + "\n"; };
    return line( "issuer       ", tool::nameOrNone( facts.issuer ) ) + line( "valid        ", facts.validFrom + " to " + facts.validUntil ) +
        line( "key          ", facts.key ) + line( "signature    ", facts.signatureAlgorithm ) + line( "SHA-256      ", facts.fingerprint );
}

void printChain( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &chain, const std::string &time )
{
    tool::print( tool::green( "good" ) + ": the chain of " + tool::counted( chain.size(), "certificate" ) + " verifies at " + time + "\n\n" );
    for( size_t depth = 0; depth < chain.size(); depth++ )
    {
        tool::Facts facts( chain[depth].get() );
        std::string indent( depth ? 3 * ( depth - 1 ) : 0, ' ' );
        std::string role = depth + 1 == chain.size() ? "  (trusted)" : depth == 0 ? "  (leaf)" : "";
        tool::print( indent + ( depth ? "└─ " : "" ) + tool::nameOrNone( facts.subject ) + tool::faint( role ) + "\n" );
        tool::print( details( facts, indent + ( depth ? "   " : "" ) + ( depth + 1 < chain.size() ? "│  " : "   " ) ) );
    }
}

// What to try, where OpenSSL's text does not say it; null for nothing.
const char *hintFor( int code )
{
    switch( code )
    {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        return "Its issuer is neither among the given certificates nor trusted (see --intermediates and --trust).";
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return "It is not among the trusted certificates (see --trust).";
    default:
        return nullptr;
    }
}

void printReason( const tool::Reason &reason, const std::string &time )
{
    tool::print( tool::red( "bad" ) + ": the chain does not verify at " + time + "\n\n" );
    tool::print( "error " + std::to_string( reason.code ) + " at depth " + std::to_string( reason.depth ) + ": " + reason.text + "\n" );
    if( reason.certificate )
    {
        tool::Facts facts( reason.certificate.get() );
        tool::print( "it speaks of " + tool::nameOrNone( facts.subject ) + "\n" + details( facts, "   " ) );
        if( const char *hint = hintFor( reason.code ) )
            tool::print( "\n" + std::string( hint ) + "\n" );
    }
}

int verify( const Options &options )
{
    Input                          input = readInput( options );
    std::string                    time  = tool::take( pbTimeToString( input.tm.get() ) );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( input.leaf.get(), input.extra.get(), input.trusted.get(), input.tm.get() ) );
    nlohmann::ordered_json json{ { "format", 1 }, { "verdict", chain ? "good" : "bad" }, { "time", time } };
    if( chain )
    {
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> all = elements( chain.get() );
        if( !options.json )
        {
            printChain( all, time );
            return tool::exitGood;
        }
        json["chain"] = nlohmann::ordered_json::array();
        for( const pb::Ref<CRY_X509_CERTIFICATE> &each : all )
            json["chain"].push_back( tool::Facts( each.get() ).json() );
        tool::printJson( json );
        return tool::exitGood;
    }
    tool::Reason reason = tool::explain( input.leaf.get(), input.extra.get(), input.trusted.get(), input.tm.get() );
    if( !options.json )
    {
        printReason( reason, time );
        return tool::exitNegative;
    }
    json["error"] = { { "code", reason.code }, { "text", reason.text }, { "depth", reason.depth } };
    if( reason.certificate )
        json["error"]["certificate"] = tool::Facts( reason.certificate.get() ).json();
    tool::printJson( json );
    return tool::exitNegative;
}

}

void tool::addVerify( CLI::App &app, int &exit )
{
    auto      options = std::make_shared<Options>();
    CLI::App *command = app.add_subcommand( "verify", "verify a certificate chain" );
    command->add_option( "CHAIN", options->chain, "certificates in PEM or DER: the leaf first, then untrusted intermediates; - is standard input" )
        ->required()
        ->type_name( "" )
        ->transform( tool::plain );
    command->add_option( "--trust", options->trust, "certificates to trust besides the platform's roots" )
        ->type_name( "FILE" )
        ->allow_extra_args( false )
        ->transform( tool::plain );
    command->add_flag( "--no-system", options->noSystem, "do not trust the platform's roots" );
    command->add_option( "--intermediates", options->intermediates, "further untrusted intermediates" )
        ->type_name( "FILE" )
        ->allow_extra_args( false )
        ->transform( tool::plain );
    CLI::Option *time = command->add_option( "--time", options->time, "the time to verify at, in UTC, as 2026-01-31T12:00:00Z; now when left out" );
    time->type_name( "TIME" )->transform( tool::plain );
    command->add_flag( "--json", options->json, "print the result as JSON" );
    command->footer( "Prints the chain from the leaf to the trusted certificate, or why there is none.\n"
                     "Exit: 0 the chain verifies, 1 it does not, 2 wrong use or unreadable input." );
    command->callback( [options, time, &exit] {
        options->now = !time->count();
        exit         = verify( *options );
    } );
}
