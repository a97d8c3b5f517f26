#include "material.hpp"
#include "pairs.hpp"

#include <cry/internal/cry_vault.h>

#include <fcntl.h>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <openssl/pem.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int identities = 10000;
// So many different keys and certificates are made; the items take them in rotation. After a load,
// each item has objects of its own.
constexpr int differentOnes = 32;

std::vector<bench::Certificate> leaves;
std::string                     extraPem, extraDer;

std::string nameOf( int number ) { return "identity-" + std::to_string( number ); }

pb::Ref<PB_IDENTIFIER> identifierOf( int number ) { return pb::adopt( pbIdentifierTryCreateFromCstr( nameOf( number ).c_str(), -1 ) ); }

pb::Ref<CRY_PEM> pemOf( const std::string &text ) { return pb::adopt( cryPemTryDecode( bench::buffer( text ).get() ) ); }

pb::Ref<CRY_X509_CERTIFICATE> certificateOf( const std::string &pem )
{
    return pb::adopt( cryX509CertificateTryCreateFromPem( pemOf( pem ).get() ) );
}

// Fills the vault at the first call, and saves and loads it.
void fillVault()
{
    if( !leaves.empty() )
        return;
    leaves                               = bench::differentLeaves( differentOnes );
    extraPem                             = bench::material().rsa[1].pem;
    extraDer                             = bench::material().rsa[1].der;
    pb::Ref<CRY_X509_CERTIFICATES> extra = pb::adopt( cryX509CertificatesCreate() );
    cryX509CertificatesAppendCertificate( extra.handle(), certificateOf( extraPem ).get() );
    std::vector<pb::Ref<CRY_X509_IDENTITY>> made;
    for( const bench::Certificate &leaf : leaves )
    {
        pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
        cryX509IdentitySetPrivateKey( ident.handle(), pb::adopt( cryPkeyPrivateTryCreateFromPem( pemOf( leaf.keyPem ).get() ) ).get() );
        cryX509IdentitySetCertificate( ident.handle(), certificateOf( leaf.pem ).get() );
        cryX509IdentitySetExtraCertificates( ident.handle(), extra.get() );
        made.push_back( ident );
    }
    for( int number = 0; number < identities; number++ )
    {
        pb::Ref<CRY_X509_IDENTITY> &ident = made[(size_t)number % made.size()];
        cryVaultSetItem( pb::adopt( cryVaultItemCreateIdentity( identifierOf( number ).get(), ident.get() ) ).get() );
    }
    if( !cry___VaultSave() || !cry___VaultLoad() )
        std::abort();
}

// The same keys and certificates as a program writes them that has one PEM file for all.
void plainSave( const std::string &path )
{
    static const std::vector<std::shared_ptr<EVP_PKEY>> keys = [] {
        std::vector<std::shared_ptr<EVP_PKEY>> all;
        for( const bench::Certificate &leaf : leaves )
            all.emplace_back( bench::plainPrivateKey( leaf.keyPem ), EVP_PKEY_free );
        return all;
    }();
    static const std::vector<std::shared_ptr<X509>> certificates = [] {
        std::vector<std::shared_ptr<X509>> all;
        for( const bench::Certificate &leaf : leaves )
            all.emplace_back( bench::plainCertificate( leaf.der ), X509_free );
        return all;
    }();
    static const std::shared_ptr<X509> extra( bench::plainCertificate( extraDer ), X509_free );
    BIO                               *bio = BIO_new_file( path.c_str(), "w" );
    for( size_t number = 0; number < identities; number++ )
    {
        PEM_write_bio_PKCS8PrivateKey( bio, keys[number % keys.size()].get(), nullptr, nullptr, 0, nullptr, nullptr );
        PEM_write_bio_X509( bio, certificates[number % keys.size()].get() );
        PEM_write_bio_X509( bio, extra.get() );
    }
    BIO_free( bio );
    int descriptor = open( path.c_str(), O_RDONLY | O_CLOEXEC );
    fsync( descriptor );
    close( descriptor );
}

void plainLoad( const std::string &path )
{
    BIO *bio = BIO_new_file( path.c_str(), "r" );
    for( int number = 0; number < identities; number++ )
    {
        EVP_PKEY *key   = PEM_read_bio_PrivateKey( bio, nullptr, nullptr, nullptr );
        X509     *own   = PEM_read_bio_X509( bio, nullptr, nullptr, nullptr );
        X509     *extra = PEM_read_bio_X509( bio, nullptr, nullptr, nullptr );
        if( !key || !own || !extra )
            std::abort();
        EVP_PKEY_free( key );
        X509_free( own );
        X509_free( extra );
    }
    BIO_free( bio );
}

}

void bench::registerVault( const std::string &directory )
{
    std::string file = directory + "/plain.pem";
    pair(
        "vault of 10,000 identities (RSA-2048) saved",
        [] {
            if( !cry___VaultSave() )
                std::abort();
        },
        [file] { plainSave( file ); }, 1, fillVault, 3 );
    pair(
        "vault of 10,000 identities (RSA-2048) loaded",
        [] {
            if( !cry___VaultLoad() )
                std::abort();
        },
        [file] { plainLoad( file ); }, 1,
        [file] {
            fillVault();
            if( access( file.c_str(), F_OK ) != 0 )
                plainSave( file );
        },
        3 );
    auto ident = std::make_shared<pb::Ref<PB_IDENTIFIER>>( identifierOf( identities / 2 ) );
    auto plain = std::make_shared<std::map<std::string, int>>();
    for( int number = 0; number < identities; number++ )
        ( *plain )[nameOf( number )] = number;
    pair(
        "vault item looked up among 10,000", [ident] { cryVaultItemRelease( cryVaultItem( ident->get() ) ); },
        [plain, name = nameOf( identities / 2 )] { benchmark::DoNotOptimize( plain->find( name ) ); }, 1, fillVault );
}
