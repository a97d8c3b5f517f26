// What several pairs measure of the family.
#pragma once

#include "material.hpp"
#include "pairs.hpp"

#include <cry/cry_mac.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_uuid.h>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <cry/internal/cry_x509_certificates.h>
#include <openssl_module/internal/openssl_module.h>

#include <cstdlib>

namespace bench
{

// While it exists, everything is computed each time.
class WithoutShortcuts
{
public:
    WithoutShortcuts() : before( openssl___SetShortcutsUsed( PB_FALSE ) ) {}
    ~WithoutShortcuts() { openssl___SetShortcutsUsed( before ); }
    WithoutShortcuts( const WithoutShortcuts & )            = delete;
    WithoutShortcuts &operator=( const WithoutShortcuts & ) = delete;

private:
    PB_BOOL before;
};

inline pb::Ref<CRY_X509_CERTIFICATE> certificateFromDer( const std::string &der )
{
    return pb::adopt( cryX509CertificateTryCreateFromDer( buffer( der ).get() ) );
}

inline pb::Ref<CRY_X509_CERTIFICATE> certificateFromPem( PB_BUFFER *text )
{
    return pb::adopt( cryX509CertificateTryCreateFromPem( pb::adopt( cryPemTryDecode( text ) ).get() ) );
}

inline pb::Ref<CRY_PKEY_PRIVATE> privateKeyFromPem( PB_BUFFER *text )
{
    return pb::adopt( cryPkeyPrivateTryCreateFromPem( pb::adopt( cryPemTryDecode( text ) ).get() ) );
}

inline pb::Ref<CRY_X509_CERTIFICATES> collectionOf( const std::string &der )
{
    auto certificates = pb::adopt( cryX509CertificatesCreate() );
    cryX509CertificatesAppendCertificate( certificates.handle(), certificateFromDer( der ).get() );
    return certificates;
}

// Leaf and intermediate of a chain.
struct Presented
{
    pb::Ref<CRY_X509_CERTIFICATE>  leaf;
    pb::Ref<CRY_X509_CERTIFICATES> extra;

    explicit Presented( const Chain &chain ) : leaf( certificateFromDer( chain[0].der ) ), extra( collectionOf( chain[1].der ) ) {}

    void verify( CRY_X509_CERTIFICATES *trusted, PB_TIME *now ) const
    {
        if( !pb::adopt( cry___X509CertificateChainTryVerifyCertificate( leaf.get(), extra.get(), trusted, now ) ) )
            std::abort();
    }
};

inline pb::Ref<PB_BUFFER> hmacSha256( PB_BUFFER *key, PB_BUFFER *data )
{
    return pb::adopt( cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA2_256, key, data ) );
}

inline pb::Ref<PB_STRING> uuidText() { return pb::adopt( cryUuidToString( pb::adopt( cryUuidCreate() ).get() ) ); }

// Chains that nobody has seen, one after another; none is given twice.
class NewChains
{
public:
    static constexpr int count = 512; // until they are made anew

    NewChains( const Chain &from, bool newIntermediates ) : chain( from ), intermediatesToo( newIntermediates ) {}

    void make()
    {
        chains = newChains( chain, count, intermediatesToo );
        given  = 0;
    }
    const Chain &next() { return chains.at( given++ ); }

private:
    const Chain       &chain;
    bool               intermediatesToo;
    std::vector<Chain> chains;
    size_t             given = 0;
};

}
