#include "commands/commands.hpp"
#include "commands/verify_batch.hpp"
#include "commands/verify_session.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "options/command.hpp"
#include "options/hosts.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/print.hpp"
#include "output/progress.hpp"
#include "output/weakness.hpp"
#include "text/convert.hpp"

#include <deque>
#include <optional>
#include <unistd.h>

namespace
{

// So many validators of one call work at the same time at most.
constexpr size_t mostAtOnce = 64;
// A bar is shown for more chains than these.
constexpr size_t manyChains = 200;

struct Options
{
    std::vector<std::string> intermediates, chains;
    tool::TrustOptions       trust;
    tool::HostOptions        hosts;
    bool                     json = false, batch = false;

    // Several chains are verified by all processors.
    void prepare( pb::Ref<PB_RUNTIME_OPTIONS> &start ) const
    {
        if( batch || chains.size() > 1 )
            pbRuntimeOptionsSetWorkers( start.handle(), 0 );
    }
};

// What all chains are verified with.
class Judge
{
public:
    explicit Judge( const Options &options ) : flags( tool::policyFlagsOf( options.trust ) ), hosts( options.hosts )
    {
        std::vector<std::string> inputs = options.trust.trust;
        inputs.insert( inputs.end(), options.intermediates.begin(), options.intermediates.end() );
        inputs.insert( inputs.end(), options.chains.begin(), options.chains.end() );
        tool::checkStandardInput( inputs );

        if( options.hosts.noWildcards )
            flags |= CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING;
        policy                                       = tool::createPolicy( options.trust );
        time                                         = tool::take( pbTimeToString( pb::adopt( cryX509PolicyTime( policy.get() ) ).get() ) );
        withHosts                                    = policy;
        pb::Ref<CRY_X509_STACK_OPTIONS> stackOptions = tool::createStackOptions( options.trust );
        cryX509StackOptionsSetPolicyFlags( stackOptions.handle(), flags );
        if( hosts.given() )
            cryX509PolicySetAcceptableSans( withHosts.handle(), hosts.wanted() );
        tool::appendFiles( intermediates, options.intermediates );
        session = tool::createSession( stackOptions.get() );
    }

    CRY_X509_POLICY_FLAGS          flags;
    tool::Hosts                    hosts;
    std::string                    time;
    pb::Ref<CRY_X509_POLICY>       policy, withHosts; // without and with the names of --host
    pb::Ref<CRY_X509_CERTIFICATES> intermediates = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<CRY_X509_SESSION>      session;

    bool verifies() const { return !( flags & CRY_X509_POLICY_FLAG_DISABLE_VALIDATION ); }
    bool comparesHosts() const { return hosts.given() && verifies() && !( flags & CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS ); }
};

// A file that was read, and its validator.
class Work
{
public:
    Work( const Judge &judge, std::string path ) : file( std::move( path ) )
    {
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain = tool::readCertificates( file );

        leaf = chain[0];
        tool::append( extra, chain, 1 );
        cryX509CertificatesAppend( extra.handle(), judge.intermediates.get() );
        validation.emplace( judge.session.get(), judge.withHosts.get(), leaf.get(), extra.get() );
    }
    Work( std::string path, tool::InputError why ) : file( std::move( path ) ), problem( std::move( why ) ) {}

    bool ended() const { return problem || validation->ended(); }

    std::string                     file;
    std::optional<tool::InputError> problem; // why it cannot be read; then nothing else is there
    pb::Ref<CRY_X509_CERTIFICATE>   leaf;
    pb::Ref<CRY_X509_CERTIFICATES>  extra = pb::adopt( cryX509CertificatesCreate() );
    std::optional<tool::Validation> validation;
};

// The verdict on a chain.
struct Verdict
{
    bool                                       good;
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain; // empty if the certificate is refused, but for the names of --host
    std::optional<tool::Failure>               failure;
    std::optional<tool::Hosts>                 hosts; // if they were compared

    // Waits for the end of the validator.
    Verdict( const Judge &judge, const Work &work )
    {
        good                                    = work.validation->wait();
        pb::Ref<CRY_X509_CERTIFICATES>      all = pb::adopt( cryX509ValidatorCertificateChain( work.validation->get() ) );
        pb::Ref<CRY_X509_VALIDATOR_FAILURE> why = pb::adopt( cryX509ValidatorFailure( work.validation->get() ) );
        bool otherNames = why && cryX509ValidatorFailureReason( why.get() ) == CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS;
        if( why )
            failure.emplace( why.get() );
        if( otherNames )
        {
            // A validator that refuses gives out no chain. One that compares no names does.
            tool::Validation again( judge.session.get(), judge.policy.get(), work.leaf.get(), work.extra.get() );
            again.wait();
            all = pb::adopt( cryX509ValidatorCertificateChain( again.get() ) );
        }
        if( all )
            chain = tool::elements( all.get() );
        // The names of a certificate that does not verify tell nothing.
        if( judge.comparesHosts() && ( good || otherNames ) )
        {
            hosts = judge.hosts;
            hosts->compare( work.leaf.get(), good );
        }
    }

    nlohmann::ordered_json json( nlohmann::ordered_json json ) const
    {
        if( !chain.empty() )
            json["chain"] = tool::factsJson( chain );
        if( hosts )
            hosts->addTo( json );
        if( failure )
            json["failure"] = failure->json();
        return json;
    }
};

std::string lineOf( const Judge &judge, const Verdict &verdict )
{
    std::string line = ": the chain was not verified (--policy disable-validation)";
    if( judge.verifies() )
    {
        std::string chain = verdict.chain.empty() ? ": the chain" : ": the chain of " + tool::counted( verdict.chain.size(), "certificate" );
        bool        good  = verdict.good || verdict.failure->isOfNames();
        line              = chain + ( good ? " verifies at " : " does not verify at " ) + judge.time;
    }
    if( verdict.good || !verdict.failure->isOfNames() )
        return line;
    return line + ", but " + ( verdict.hosts ? verdict.hosts->reason() : "its leaf has no trusted name" );
}

// The whole verdict on one chain, for people.
void printVerdict( const Judge &judge, const Verdict &verdict )
{
    tool::print( ( verdict.good ? tool::green( "good" ) : tool::red( "bad" ) ) + lineOf( judge, verdict ) + "\n" +
        ( verdict.hosts ? verdict.hosts->text() : "" ) + "\n" );
    if( verdict.chain.empty() )
        tool::print( verdict.failure->text() );
    for( size_t depth = 0; depth < verdict.chain.size(); depth++ )
    {
        tool::Facts facts( verdict.chain[depth].get() );
        bool        last = depth + 1 == verdict.chain.size();
        std::string indent( depth ? 3 * ( depth - 1 ) : 0, ' ' );
        std::string role = last && judge.verifies() ? "  (trusted)" : depth == 0 ? "  (leaf)" : "";
        tool::print( indent + ( depth ? "└─ " : "" ) + tool::nameOrNone( facts.subject ) + tool::faint( role ) + "\n" );
        tool::print( facts.details( indent + ( depth ? "   " : "" ) + ( last ? "   " : "│  " ) ) );
    }
}

int verifyOne( const Options &options, const Judge &judge )
{
    Verdict verdict( judge, Work( judge, options.chains[0] ) );
    tool::warnOfWeakness( verdict.chain );
    if( options.json )
        tool::printJson( verdict.json( { { "verdict", verdict.good ? "good" : "bad" }, { "time", judge.time } } ) );
    else
        printVerdict( judge, verdict );
    return verdict.good ? tool::exitGood : tool::exitNegative;
}

// The verdicts on several chains, in the order of the files.
class Verdicts
{
public:
    // Without JSON the lines on a terminal show the progress already.
    explicit Verdicts( const Options &given, const Judge &with ) :
        options( given ), judge( with ), progress( "chains", given.json || !isatty( STDOUT_FILENO ) ? given.chains.size() : 0, manyChains )
    {
    }

    // Waits for the end of one, and tells its verdict.
    void tell( const Work &work )
    {
        std::string name = tool::nameOf( work.file );
        if( work.problem )
        {
            progress.hide();
            tool::report( *work.problem );
            unreadable++;
            add( work, "unknown", name + ": " + tool::red( "unreadable" ) );
        }
        else
        {
            Verdict verdict( judge, work );
            if( verdict.good )
                good++;
            else
                bad++;
            progress.hide();
            tool::warnOfWeakness( verdict.chain, work.file );
            add( work, verdict.good ? "good" : "bad",
                name + ": " + ( verdict.good ? tool::green( "good" ) : tool::red( "bad" ) + ": " + verdict.failure->sentence ), &verdict );
        }
        progress.advance( 1 );
    }

    int finish()
    {
        progress.hide();
        size_t count = options.chains.size();
        if( options.json )
            tool::printJson( { { "verdict",
                                   bad              ? "bad"
                                       : unreadable ? "unknown"
                                                    : "good" },
                { "time", judge.time }, { "counts", { { "good", good }, { "bad", bad }, { "unknown", unreadable } } }, { "files", results } } );
        else
            tool::print( tool::counted( count, "chain" ) + ": " + std::to_string( good ) + " good, " + std::to_string( bad ) + " bad" +
                ( unreadable ? ", " + std::to_string( unreadable ) + " unreadable" : "" ) + "\n" );
        return bad ? tool::exitNegative : unreadable ? tool::exitInputError : tool::exitGood;
    }

private:
    void add( const Work &work, const char *verdict, const std::string &line, const Verdict *all = nullptr )
    {
        nlohmann::ordered_json json{ { "file", work.file }, { "verdict", verdict } };
        if( !options.json )
            tool::print( line + "\n" );
        else
            results.push_back( all ? all->json( std::move( json ) ) : json );
    }

    const Options         &options;
    const Judge           &judge;
    tool::Progress         progress;
    nlohmann::ordered_json results = nlohmann::ordered_json::array();
    size_t                 good = 0, bad = 0, unreadable = 0;
};

int verifySeveral( const Options &options, const Judge &judge )
{
    Verdicts         verdicts( options, judge );
    std::deque<Work> working;
    auto             tellFirst = [&] {
        verdicts.tell( working.front() );
        working.pop_front();
    };
    for( const std::string &file : options.chains )
    {
        try
        {
            working.emplace_back( judge, file );
        }
        catch( const tool::InputError &problem )
        {
            // The other files are still worth a verdict.
            working.emplace_back( file, problem );
        }
        while( !working.empty() && ( working.size() == mostAtOnce || working.front().ended() ) )
            tellFirst();
    }
    while( !working.empty() )
        tellFirst();
    return verdicts.finish();
}

int verify( Options &options )
{
    if( options.batch && ( !options.intermediates.empty() || !options.hosts.hosts.empty() ) )
        throw tool::InputError( "--batch does not go with --intermediates and --host: lines have extraCertificates and names" );
    if( options.batch )
        return tool::verifyBatch( options.chains, options.trust );
    // Both options say the same, to the validators and to the search for the name that matches.
    if( tool::policyFlagsOf( options.trust ) & CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING )
        options.hosts.noWildcards = true;
    Judge judge( options );
    if( !judge.verifies() )
        tool::warn( { "--policy disable-validation: no chain is verified", {}, {} } );
    if( judge.hosts.given() && !judge.comparesHosts() )
        tool::warn( { "--policy " + std::string( judge.verifies() ? "disable-subject-checks" : "disable-validation" ) +
                ": no name is compared with those of --host",
            {}, {} } );
    return options.chains.size() == 1 ? verifyOne( options, judge ) : verifySeveral( options, judge );
}

}

void tool::addVerify( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, verify,
        "Signatures, validity, constraints and key usage for signing are checked, and names with --host; purpose is not, and\n"
        "revocation is not (see 'cry crl check').\n"
        "Any trusted certificate may end the chain, self-signed or not.\n"
        "Prints the chain from the leaf to the trusted certificate, or which check failed: OpenSSL's error code, its text,\n"
        "the depth and the certificate that it speaks of, or the names that are wanted and those of the leaf.\n"
        "Of several files each has its verdict on a line, and a last line counts them. A file that cannot be read is told\n"
        "on standard error, and the others go on.\n"
        "Warns of each RSA, DSA or DH key below 2048 bits and each EC key below 224 bits in a good chain, and of each\n"
        "signature with MD2, MD4, MD5, MDC-2, RIPEMD-160 or SHA-1 below the trusted certificate; the verdict stays.\n"
        "With --host, a domain name or IP address among the alternative names of the leaf must match; a common name never\n"
        "counts. Case, a full stop at the end, and the ASCII or Unicode form make no difference. *. stands for exactly one\n"
        "label, in the certificate's name or in NAME. Addresses match addresses only. The names of a bad chain are not\n"
        "compared. Names of --trusted-san are compared in the same way, and also if --policy says that --host is not.\n"
        "With --batch each line of CHAIN, or of standard input without it, is a JSON object with the members certificate and,\n"
        "as they are needed, id, extraCertificates, trustedCertificates, time, names and policyFlags. Certificates are PEM\n"
        "text or DER in base 64. For each line one is printed, in order, with the members id, valid, error, name and chain.\n"
        "A line that cannot be judged has an error with its number, and the others go on; the exit code is 2 in the end.\n"
        "Exit: 0 all chains verify and, with --host or --trusted-san, a name matches; 1 one does not; 2 wrong use, or input that cannot be read." );
    addArgument( command, "CHAIN", options.chains,
        "files of certificates in PEM or DER, each with one chain: the leaf first, then untrusted intermediates; - is standard input" )
        ->required()
        ->expected( 1, -1 );
    valuesOf( command.get_option( "CHAIN" ) ).kind = Values::input;
    options.trust.addTo( command );
    addRepeated( command, "--intermediates", options.intermediates, "FILE", "further untrusted intermediates, for all chains" );
    options.hosts.addTo( command );
    auto useBatch = [&options, &command]( int64_t count ) {
        options.batch = count > 0;
        command.get_option( "CHAIN" )->required( !options.batch );
    };
    command.add_flag_function( "--batch", useBatch, "judge each line of a file of JSON lines" )->trigger_on_parse();
}
