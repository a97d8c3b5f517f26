#include "output/weakness.hpp"

#include "input/file.hpp"
#include "output/certificate_facts.hpp"
#include "output/notices.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <openssl/err.h>
#include <openssl/x509.h>

namespace
{

// The fewest bits that a key of this type should have; 0 for a type whose keys all have one length.
int fewestBits( const std::string &type )
{
    if( type == "RSA" || type == "RSA-PSS" || type == "DSA" || type == "DH" || type == "DHX" )
        return 2048;
    return type == "EC" || type == "SM2" ? 224 : 0;
}

// The weak digest of a signature; empty if there is none.
std::string weakDigest( X509 *certificate )
{
    int digest = NID_undef;
    if( X509_get_signature_info( certificate, &digest, nullptr, nullptr, nullptr ) != 1 )
        OBJ_find_sigid_algs( X509_get_signature_nid( certificate ), &digest, nullptr );
    ERR_clear_error();
    switch( digest )
    {
    case NID_md2:
        return "MD2";
    case NID_md4:
        return "MD4";
    case NID_md5:
        return "MD5";
    case NID_mdc2:
        return "MDC-2";
    case NID_ripemd160:
        return "RIPEMD-160";
    case NID_sha:
        return "SHA-0";
    case NID_sha1:
        return "SHA-1";
    default:
        return "";
    }
}

}

void tool::warnOfWeakness( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &chain, const std::optional<std::string> &file )
{
    const std::string place = file ? nameOf( *file ) + ": " : "";
    for( size_t depth = 0; depth < chain.size(); depth++ )
    {
        Facts facts( chain[depth].get() );
        auto  say = [&]( const std::string &what ) {
            warn(
                { place + "the certificate at depth " + std::to_string( depth ) + " (" + nameOrNone( facts.subject ) + "): " + what, file, depth } );
        };
        if( int fewest = fewestBits( facts.key.type ); facts.key.bits < fewest )
            say( "its " + facts.key.type + " key has " + std::to_string( facts.key.bits ) + " bits; fewer than " + std::to_string( fewest ) +
                " are weak" );
        std::string digest = depth + 1 < chain.size() ? weakDigest( cry___X509CertificatePeekOpensslX509( chain[depth].get() ) ) : "";
        if( !digest.empty() )
            say( "it is signed with " + digest + ", which is weak" );
    }
}
