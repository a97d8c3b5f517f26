#include "ours.hpp"
#include "peers.hpp"
#include "wolfssl.hpp"

#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>

#include <fstream>
#include <memory>

namespace
{

using bench::Chain;

void registerKey( const std::string &kind, const std::string &pem, void ( *readKey )( const std::string &pem ) )
{
    auto text = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( pem ) );
    bench::pair(
        "private key from PEM, " + kind + ": wolfSSL", [text] { bench::privateKeyFromPem( text->get() ); }, [&pem, readKey] { readKey( pem ); } );
}

// Root and intermediate are known to both. Ours gets leaf and intermediate from the peer, and reads
// both. wolfSSL verifies both, or the leaf alone, since its manager has the intermediate.
void registerChain( const std::string &kind, const Chain &chain )
{
    auto manager = std::make_shared<peers::wolf::Manager>();
    manager->addAuthority( chain[2].der );
    manager->addAuthority( chain[1].der );
    auto chains  = std::make_shared<bench::NewChains>( chain, false );
    auto trusted = std::make_shared<pb::Ref<CRY_X509_CERTIFICATES>>( bench::collectionOf( chain[2].der ) );
    auto now     = std::make_shared<pb::Ref<PB_TIME>>( pb::adopt( pbTimeNow() ) );
    bench::Presented( chain ).verify( trusted->get(), now->get() ); // now it is known
    for( bool leafAlone : { false, true } )
    {
        std::string end    = ", " + kind + ( leafAlone ? ": wolfSSL, leaf alone" : ": wolfSSL" );
        auto        verify = [manager, leafAlone]( const Chain &of ) {
            if( !leafAlone )
                manager->verify( of[1].der );
            manager->verify( of[0].der );
        };
        bench::pair(
            "chain from DER, new leaf" + end, [chains, trusted, now] { bench::Presented( chains->next() ).verify( trusted->get(), now->get() ); },
            [chains, verify] { verify( chains->next() ); }, 1, [chains] { chains->make(); }, 0, bench::NewChains::count );
        bench::pair(
            "chain from DER, same bytes again" + end, [&chain, trusted, now] { bench::Presented( chain ).verify( trusted->get(), now->get() ); },
            [&chain, verify] { verify( chain ); } );
    }
}

// The first chain is a new one each time. It ends at one more root, as nobody has the keys of the
// platform's.
void registerRoots( const Chain &chain )
{
    const char *bundle = cry___x509SystemPlaces[0];
    if( !std::ifstream( bundle ) )
        return;
    auto load = [bundle] { peers::wolf::Manager().addAuthoritiesOfFile( bundle ); };
    bench::pair(
        "platform roots loaded: wolfSSL", [] { cryX509CertificatesRelease( cry___X509SystemPlatformTrustedCertificatesLoad() ); }, load );
    auto chains = std::make_shared<bench::NewChains>( chain, true );
    auto now    = std::make_shared<pb::Ref<PB_TIME>>( pb::adopt( pbTimeNow() ) );
    bench::pair(
        "platform roots loaded, first chain verified: wolfSSL, load alone",
        [chains, now, root = std::make_shared<pb::Ref<CRY_X509_CERTIFICATE>>( bench::certificateFromDer( chain[2].der ) )] {
            auto trusted = pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() );
            cryX509CertificatesAppendCertificate( trusted.handle(), root->get() );
            bench::Presented( chains->next() ).verify( trusted.get(), now->get() );
        },
        load, 1, [chains] { chains->make(); }, 0, 64 );
}

}

void peers::registerWolfSsl()
{
    const bench::Material &material = bench::material();
    registerKey( "RSA", material.rsa[0].keyPem, wolf::readRsaKey );
    registerKey( "P-256", material.ec[0].keyPem, wolf::readEcKey );
    registerChain( "RSA", material.rsa );
    registerChain( "EC", material.ec );
    registerRoots( material.ec );
}
