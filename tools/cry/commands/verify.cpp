#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "options/command.hpp"
#include "options/hosts.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/explain.hpp"
#include "output/print.hpp"
#include "output/weakness.hpp"
#include "text/convert.hpp"

#include <cry/cry_x509_system.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <openssl/x509_vfy.h>
#include <optional>

namespace
{

struct Options
{
    std::vector<std::string>   trust, intermediates;
    std::optional<std::string> time; // now if not given
    std::string                chain;
    tool::HostOptions          hosts;
    bool                       noSystem = false, json = false;
};

struct Input
{
    pb::Ref<CRY_X509_CERTIFICATE>  leaf;
    pb::Ref<CRY_X509_CERTIFICATES> extra = pb::adopt( cryX509CertificatesCreate() ), trusted = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<PB_TIME>               tm;
};

Input readInput( const Options &options )
{
    Input input;
    input.tm = tool::timeValue( options.time );
    if( options.noSystem && options.trust.empty() )
        throw tool::InputError( "nothing is trusted: give --trust FILE, or leave out --no-system" );
    std::vector<std::string> inputs = options.trust;
    inputs.insert( inputs.end(), options.intermediates.begin(), options.intermediates.end() );
    inputs.push_back( options.chain );
    tool::checkStandardInput( inputs );

    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain = tool::readCertificates( options.chain );
    input.leaf                                       = chain[0];
    tool::append( input.extra, chain, 1 );
    for( const std::string &file : options.intermediates )
        tool::append( input.extra, tool::readCertificates( file ) );
    for( const std::string &file : options.trust )
        tool::append( input.trusted, tool::readCertificates( file ) );
    if( !options.noSystem )
    {
        pb::Ref<CRY_X509_CERTIFICATES> roots = pb::adopt( cryX509SystemTrustedCertificates() );
        cryX509CertificatesAppend( input.trusted.handle(), roots.get() );
    }
    return input;
}

void printChain( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &chain, const std::string &time, const tool::Hosts &hosts )
{
    bool good = hosts.reason().empty();
    tool::print( ( good ? tool::green( "good" ) : tool::red( "bad" ) ) + ": the chain of " + tool::counted( chain.size(), "certificate" ) +
        " verifies at " + time + ( good ? "" : ", but " + hosts.reason() ) + "\n" + hosts.text() + "\n" );
    for( size_t depth = 0; depth < chain.size(); depth++ )
    {
        tool::Facts facts( chain[depth].get() );
        std::string indent( depth ? 3 * ( depth - 1 ) : 0, ' ' );
        std::string role = depth + 1 == chain.size() ? "  (trusted)" : depth == 0 ? "  (leaf)" : "";
        tool::print( indent + ( depth ? "└─ " : "" ) + tool::nameOrNone( facts.subject ) + tool::faint( role ) + "\n" );
        tool::print( facts.details( indent + ( depth ? "   " : "" ) + ( depth + 1 < chain.size() ? "│  " : "   " ) ) );
    }
}

// A hint about what to try, if OpenSSL's text has none; null for nothing.
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
        tool::print( "it speaks of " + tool::nameOrNone( facts.subject ) + "\n" + facts.details( "   " ) );
        if( const char *hint = hintFor( reason.code ) )
            tool::print( "\n" + std::string( hint ) + "\n" );
    }
}

int verify( Options &options )
{
    tool::Hosts                    hosts( options.hosts );
    Input                          input = readInput( options );
    std::string                    time  = tool::take( pbTimeToString( input.tm.get() ) );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( input.leaf.get(), input.extra.get(), input.trusted.get(), input.tm.get() ) );
    // The names of a certificate that does not verify tell nothing.
    bool                   good = chain && ( !hosts.given() || hosts.match( input.leaf.get() ) );
    nlohmann::ordered_json json{ { "verdict", good ? "good" : "bad" }, { "time", time } };
    if( chain )
    {
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> all = tool::elements( chain.get() );
        tool::warnOfWeakness( all );
        if( options.json )
        {
            json["chain"] = tool::factsJson( all );
            if( hosts.given() )
                hosts.addTo( json );
            tool::printJson( json );
        }
        else
            printChain( all, time, hosts );
        return good ? tool::exitGood : tool::exitNegative;
    }
    tool::Reason reason = tool::explain( input.leaf.get(), input.extra.get(), input.trusted.get(), input.tm.get() );
    if( !options.json )
    {
        printReason( reason, time );
        return tool::exitNegative;
    }
    json["failure"] = { { "code", reason.code }, { "text", reason.text }, { "depth", reason.depth } };
    if( reason.certificate )
        json["failure"]["certificate"] = tool::Facts( reason.certificate.get() ).json();
    tool::printJson( json );
    return tool::exitNegative;
}

}

void tool::addVerify( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, verify,
        "Signatures, validity, constraints and key usage for signing are checked, and names with --host; purpose is not, and\n"
        "revocation is not (see 'cry crl check').\n"
        "Any trusted certificate may end the chain, self-signed or not.\n"
        "Prints the chain from the leaf to the trusted certificate, or OpenSSL's error code, its text, the depth and\n"
        "the certificate that it speaks of.\n"
        "Warns of each RSA, DSA or DH key below 2048 bits and each EC key below 224 bits in a good chain, and of each\n"
        "signature with MD2, MD4, MD5, MDC-2, RIPEMD-160 or SHA-1 below the trusted certificate; the verdict stays.\n"
        "With --host, a domain name or IP address among the alternative names of the leaf must match; a common name never\n"
        "counts. Case, a full stop at the end, and the ASCII or Unicode form make no difference. *. stands for exactly one\n"
        "label, in the certificate's name or in NAME. Addresses match addresses only. The names of a bad chain are not\n"
        "compared.\n"
        "Exit: 0 the chain verifies and, with --host, a name matches; 1 one of both does not; 2 wrong use, or input that cannot be read." );
    addArgument( command, "CHAIN", options.chain, "certificates in PEM or DER: the leaf first, then untrusted intermediates; - is standard input" )
        ->required();
    valuesOf( command.get_option( "CHAIN" ) ).kind = Values::input;
    addRepeated( command, "--trust", options.trust, "FILE", "certificates to trust besides the platform's roots" );
    command.add_flag( "--no-system", options.noSystem, "do not trust the platform's roots" );
    addRepeated( command, "--intermediates", options.intermediates, "FILE", "further untrusted intermediates" );
    addOption( command, "--time", options.time, "TIME", "the time to verify at, in UTC, as 2026-01-31T12:00:00Z; now if left out" );
    options.hosts.addTo( command );
}
