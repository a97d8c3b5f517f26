#include "output/identity_facts.hpp"

#include "input/certificate_file.hpp"
#include "output/certificate_facts.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_pkey_private.h>

tool::IdentityFacts::IdentityFacts( CRY_X509_IDENTITY *identity ) :
    key( pb::adopt( cryX509IdentityPrivateKey( identity ) ) ), certificate( pb::adopt( cryX509IdentityCertificate( identity ) ) ),
    others( elements( pb::adopt( cryX509IdentityExtraCertificates( identity ) ).get() ) )
{
}

tool::KeyFacts tool::IdentityFacts::keyFacts() const { return KeyFacts( cry___PkeyPrivatePeekOpensslEvpPkey( key.get() ) ); }
std::string    tool::IdentityFacts::keyText() const { return key ? printable( keyFacts().text() ) : "no private key"; }

nlohmann::ordered_json tool::IdentityFacts::json() const
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    if( !identifier.empty() )
        json["identifier"] = identifier;
    if( key )
        json["key"] = keyFacts().json();
    if( certificate )
        json["certificate"] = Facts( certificate.get() ).json();
    json["certificates"] = factsJson( others );
    return json;
}
