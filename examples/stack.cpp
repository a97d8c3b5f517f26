// Judges certificate chains: stack FOLDER, which is examples/chain
//
// A stack keeps an identity and trusted certificates current, a session pins what the stack has at
// one moment, and a validator judges one certificate for a session.
#include <cry/cry.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <pb/runtime.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Takes over a string of the library.
static std::string textOf( PB_STRING *string ) { return pbStringPeekUtf8( pb::adopt( string ).get(), nullptr ); }

static pb::Ref<PB_STRING> stringOf( const std::string &text ) { return pb::adopt( pbStringCreateFromCstr( text.c_str(), -1 ) ); }

// The certificates in a file of PEM.
static pb::Ref<CRY_X509_CERTIFICATES> readCertificates( const std::string &path )
{
    auto content = pb::adopt( pbPathFileTryReadBuffer( stringOf( path ).get(), 1 << 20 ) );
    auto blocks  = pb::adopt( content ? cryPemVectorTryDecode( content.get() ) : nullptr );
    auto found   = pb::adopt( blocks ? cryX509CertificatesTryCreateFromPemVector( blocks.get() ) : nullptr );
    if( !found || !cryX509CertificatesCertificatesLength( found.get() ) )
        std::fprintf( stderr, "stack: %s holds no certificates\n", path.c_str() ), std::exit( 1 );
    return found;
}

static std::string subjectOf( CRY_X509_CERTIFICATE *certificate )
{
    auto info    = pb::adopt( cryX509CertificateInfo( certificate ) );
    auto subject = pb::adopt( cryX509InfoSubject( info.get() ) );
    return subject ? pbStringPeekUtf8( subject.get(), nullptr ) : "(no name)";
}

// What a peer is asked for: one of its names, and maybe a time other than now.
static pb::Ref<CRY_X509_POLICY> policyFor( const char *name, const char *time )
{
    auto san  = pb::adopt( cryX509SanTryCreateFromHost( stringOf( name ).get() ) );
    auto sans = pb::adopt( cryX509SansCreate() );
    cryX509SansSet( sans.handle(), san.get() );
    auto policy = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetAcceptableSans( policy.handle(), sans.get() );
    if( time )
        cryX509PolicySetTime( policy.handle(), pb::adopt( pbTimeTryCreateFromString( stringOf( time ).get() ) ).get() );
    return policy;
}

// A validator that works already, on one of the runtime's threads.
static pb::Ref<CRY_X509_VALIDATOR> judge( CRY_X509_SESSION *session, const std::string &file, CRY_X509_POLICY *policy )
{
    auto chain = readCertificates( file );
    auto leaf  = pb::adopt( cryX509CertificatesCertificateAt( chain.get(), 0 ) );
    cryX509CertificatesDelCertificateAt( chain.handle(), 0 );
    return pb::adopt( cryX509ValidatorCreate( session, policy, leaf.get(), chain.get(), nullptr ) );
}

static void waitFor( CRY_X509_VALIDATOR *validator )
{
    auto end = pb::adopt( pbSignalCreate() );
    cryX509ValidatorEndAddSignalable( validator, pb::adopt( pbSignalableCreateSignal( end.get() ) ).get() );
    pbSignalWait( end.get(), -1 );
}

static std::string verdictOf( CRY_X509_VALIDATOR *validator )
{
    if( auto failure = pb::adopt( cryX509ValidatorFailure( validator ) ) )
        return "refused: " + textOf( cryX509ValidatorFailureToString( failure.get() ) );
    auto   chain  = pb::adopt( cryX509ValidatorCertificateChain( validator ) );
    PB_INT length = cryX509CertificatesCertificatesLength( chain.get() );
    auto   last   = pb::adopt( cryX509CertificatesCertificateAt( chain.get(), length - 1 ) );
    return "accepted: the chain ends at " + subjectOf( last.get() ) + ", which is trusted";
}

int main( int argc, char **argv )
{
    if( argc != 2 )
        return std::fprintf( stderr, "usage: stack FOLDER\n" ), 2;
    const std::string folder = argv[1];

    pb::Runtime runtime( { "cry" } ); // stops the modules when main returns
    if( !runtime.started() )
        return std::fprintf( stderr, "stack: %s\n", textOf( pbRuntimeStartError() ).c_str() ), 1;

    // The stack generates a key and a certificate for itself, and renews them later. It trusts the
    // platform's roots and one more, and follows changes of the platform's roots.
    auto options = pb::adopt( cryX509StackOptionsCreate() );
    cryX509StackOptionsSetIdentityMode( options.handle(), CRY_X509_STACK_IDENTITY_MODE_GENERATE );
    cryX509StackOptionsSetTrustMode( options.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
    cryX509StackOptionsSetTrustedCertificates( options.handle(), readCertificates( folder + "/ec-root.pem" ).get() );
    auto stack = pb::adopt( cryX509StackCreate( options.get(), nullptr ) );

    // What a session has does not change; for a new connection, make a new session.
    auto session  = pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
    auto identity = pb::adopt( cryX509SessionIdentity( session.get() ) );
    auto own      = pb::adopt( identity ? cryX509IdentityCertificate( identity.get() ) : nullptr );
    auto trusted  = pb::adopt( cryX509SessionTrustedCertificates( session.get() ) );
    std::printf( "identity: %s\n", own ? subjectOf( own.get() ).c_str() : "none" );
    std::printf( "trust: %d certificates\n", (int)cryX509CertificatesCertificatesLength( trusted.get() ) );

    const struct
    {
        const char *file, *name, *time;
    } peers[] = {
        { "ec-chain.pem", "www.example.org", nullptr },
        { "ec-chain.pem", "www.example.com", nullptr },
        { "ec-chain.pem", "www.example.org", "2127-01-01T00:00:00Z" },
        { "rsa-chain.pem", "www.example.org", nullptr },
    };
    std::vector<pb::Ref<CRY_X509_VALIDATOR>> validators;
    for( auto &peer : peers )
        validators.push_back( judge( session.get(), folder + "/" + peer.file, policyFor( peer.name, peer.time ).get() ) );
    for( size_t index = 0; index < validators.size(); index++ )
    {
        CRY_X509_VALIDATOR *validator = validators[index].get();
        waitFor( validator );
        std::printf( "\n%s for %s, at %s:\n%s\n", peers[index].file, peers[index].name, peers[index].time ? peers[index].time : "this moment",
            verdictOf( validator ).c_str() );
    }
}
