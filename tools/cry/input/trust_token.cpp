#include "input/trust_token.hpp"

#include "commands/verify_session.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/store_file.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cry_trust_root.inc>
#include <pb/pb_module.h>
#include <pb/pb_store_codec.h>

namespace
{

constexpr char   fileType[] = "CRY_TRUST_TOKEN";
constexpr PB_INT fileMost   = 64 << 20;

// The parts of a token's store.
constexpr const char *certificateKey = "certificate", *extraKey = "extraCertificates", *timeKey = "time", *metadataKey = "metaData",
                     *algorithmKey = "hashAlgorithm", *signatureKey = "signature";

bool has( PB_STORE *store, const char *key ) { return pbStoreIndexCstr( store, key, -1 ) >= 0; }

// What the module passed over in a store without a word.
std::string lostParts( PB_STORE *store, CRY_TRUST_TOKEN *tok )
{
    pb::Ref<CRY_X509_CERTIFICATES> extra      = pb::adopt( cryTrustTokenExtraCertificates( tok ) );
    pb::Ref<PB_STORE>              extraStore = pb::adopt( pbStoreStoreCstr( store, extraKey, -1 ) );
    pb::Ref<PB_STRING>             algorithm  = pb::adopt( pbStoreValueCstr( store, algorithmKey, -1 ) );
    bool        allExtra = extra && extraStore && cryX509CertificatesCertificatesLength( extra.get() ) == pbStoreLength( extraStore.get() );
    std::string lost;
    auto        look = [&]( const char *key, bool kept ) {
        if( has( store, key ) && !kept )
            lost += ( lost.empty() ? "" : ", " ) + std::string( key );
    };
    look( certificateKey, cryTrustTokenHasCertificate( tok ) );
    look( extraKey, allExtra );
    look( timeKey, cryTrustTokenHasTime( tok ) );
    look( metadataKey, (bool)pb::adopt( pbStoreStoreCstr( store, metadataKey, -1 ) ) );
    look( algorithmKey, algorithm && CRY_HASH_ALGORITHM_OK( cryHashAlgorithmFromString( algorithm.get() ) ) );
    look( signatureKey, cryTrustTokenHasSignature( tok ) );
    return lost;
}

}

pb::Ref<CRY_TRUST_TOKEN> tool::readToken( const std::string &path )
{
    StoreFile file = readStore( path );
    if( file.type && *file.type != fileType )
        throw InputError( path, "is of the type " + shown( *file.type ) + ", not a trust token" );
    return tokenIn( file.store.get(), path );
}

pb::Ref<CRY_TRUST_TOKEN> tool::tokenIn( PB_STORE *store, const std::string &path )
{
    auto known = { certificateKey, extraKey, timeKey, metadataKey, algorithmKey, signatureKey };
    if( std::none_of( known.begin(), known.end(), [store]( const char *key ) { return has( store, key ); } ) )
        throw InputError( path, "holds nothing that a trust token has" );
    pb::Ref<CRY_TRUST_TOKEN> tok = pb::adopt( cryTrustTokenRestore( store ) );
    if( std::string lost = lostParts( store, tok.get() ); !lost.empty() )
        warn( { nameOf( path ) + ": what cannot be read in the token counts as missing: " + lost, path, {} } );
    return tok;
}

pb::Ref<PB_BUFFER> tool::tokenFile( CRY_TRUST_TOKEN *tok )
{
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( fileType, -1 ) );
    pbStoreHeaderSetModuleVersion( header.handle(), pb::adopt( pbModuleVersion( cryTrustTokenSort()->module ) ).get() );
    pbStoreHeaderGenerateInfo( header.handle() );
    pb::Ref<PB_BUFFER> content = pb::adopt( pbStoreTryEncode( pb::adopt( cryTrustTokenStore( tok ) ).get(), header.get() ) );
    if( !content || pbBufferLength( content.get() ) > fileMost )
        throw InputError( "the metadata is too large or nested too deep for a token" );
    return content;
}

pb::Ref<CRY_X509_CERTIFICATE> tool::trustRoot()
{
    std::string text = CRY_TRUST_ROOT_TEXT;
    std::replace( text.begin(), text.end(), '|', '\n' );
    pb::Ref<PB_BUFFER>            bytes = pb::adopt( pbBufferCreateFromBytes( text.data(), (PB_INT)text.size() ) );
    pb::Ref<CRY_PEM>              pem   = pb::adopt( cryPemTryDecode( bytes.get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> root  = pem ? pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) ) : pb::Ref<CRY_X509_CERTIFICATE>();
    if( !root )
        throw InputError( "the built-in root of trust tokens does not parse" );
    return root;
}

bool tool::isDevelopmentRoot() { return CRY_TRUST_ROOT_IS_FOR_DEVELOPMENT; }

tool::WayToRoot::WayToRoot( CRY_TRUST_TOKEN *tok )
{
    pb::Ref<PB_TIME> tm = pb::adopt( cryTrustTokenTime( tok ) );
    if( !tm )
        tm = timeValue( {} );
    time                                      = take( pbTimeToString( tm.get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryTrustTokenCertificate( tok ) );
    if( !certificate )
    {
        problem = "the token has no certificate";
        return;
    }
    if( !cryX509CertificateHasPublicKey( certificate.get() ) )
    {
        problem = "OpenSSL cannot read the key of its certificate";
        return;
    }
    pb::Ref<CRY_X509_CERTIFICATES> extra = pb::adopt( cryTrustTokenExtraCertificates( tok ) ), trusted = pb::adopt( cryX509CertificatesCreate() );
    append( trusted, { trustRoot() } );
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509StackOptionsCreate() );
    cryX509StackOptionsSetTrustedCertificates( options.handle(), trusted.get() );
    pb::Ref<CRY_X509_POLICY> policy = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetTime( policy.handle(), tm.get() );
    Validation validation( createSession( options.get() ).get(), policy.get(), certificate.get(), extra.get() );
    validation.wait();
    pb::Ref<CRY_X509_CERTIFICATES> found = pb::adopt( cryX509ValidatorCertificateChain( validation.get() ) );
    if( !found )
    {
        Failure failure( pb::adopt( cryX509ValidatorFailure( validation.get() ) ).get() );
        problem = "its certificate does not lead to the built-in root at " + time + ": " +
            ( failure.code ? failure.codeText + " (error " + std::to_string( *failure.code ) + " at depth " +
                        std::to_string( failure.depth.value_or( -1 ) ) + ")"
                           : failure.sentence );
    }
    else if( cryX509CertificatesCertificatesLength( found.get() ) < 2 )
        problem = "its certificate is the root itself, whose own signature does not count";
    else
        chain = elements( found.get() );
}
