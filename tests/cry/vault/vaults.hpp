// Items and contents of the vault for tests.
#pragma once

#include <cry/internal/cry_vault.h>

#include "support/certificates.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

#include <map>
#include <string>
#include <vector>

namespace support
{

using Item = pb::Ref<CRY_VAULT_ITEM>;

inline pb::Ref<PB_IDENTIFIER> identifier( const std::string &name )
{
    return pb::adopt( pbIdentifierTryCreateFromCstr( name.data(), (PB_INT)name.size() ) );
}

// A key, its certificate and one extra certificate. A number always gives the same.
inline pb::Ref<CRY_X509_IDENTITY> identity( int number )
{
    static std::map<int, std::pair<Cert, Cert>> made;
    Pkey                                        own  = key( KeyKind::p256, number );
    auto                                       &both = made[number];
    auto makeOf = [&]( const char *name ) { return makeCertificate( { .subject = name + std::to_string( number ), .subjectKey = own } ); };
    if( !both.first )
        both = { makeOf( "CN=own " ), makeOf( "CN=extra " ) };
    pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( ident.handle(), privateKey( own ).get() );
    cryX509IdentitySetCertificate( ident.handle(), certificate( both.first ).get() );
    cryX509IdentitySetExtraCertificates( ident.handle(), certificates( { certificate( both.second ) } ).get() );
    return ident;
}

inline Item item( const std::string &name, int number )
{
    return pb::adopt( cryVaultItemCreateIdentity( identifier( name ).get(), identity( number ).get() ) );
}

inline void setItem( const std::string &name, int number = 0 ) { cryVaultSetItem( item( name, number ).get() ); }

inline std::string nameOf( CRY_VAULT_ITEM *item )
{
    return text( pb::adopt( pbIdentifierToString( pb::adopt( cryVaultItemIdentifier( item ) ).get() ) ) );
}

// The identifiers of the vault, in its order.
inline std::vector<std::string> filed()
{
    std::vector<std::string> names;
    pb::Ref<PB_VECTOR>       items = pb::adopt( cryVaultItemsVector() );
    for( PB_INT index = 0; index < pbVectorLength( items.get() ); index++ )
        names.push_back( nameOf( cryVaultItemFrom( pb___VectorPeekObjAt( items.get(), index ) ) ) );
    return names;
}

using Names = std::vector<std::string>;

// Everything in the vault, as text.
inline std::string content()
{
    pb::Ref<PB_STORE> store = pb::adopt( cry___VaultStore() );
    return bytes( pb::adopt( pbStoreEncode( store.get(), nullptr ) ) );
}

inline bool restore( const pb::Ref<PB_STORE> &store ) { return cry___VaultTryRestore( store.get() ); }

inline void emptyVault() { restore( pb::adopt( pbStoreCreate() ) ); }

}
