#include "output/token_facts.hpp"

#include "input/certificate_file.hpp"
#include "options/algorithm.hpp"
#include "output/certificate_facts.hpp"
#include "output/form.hpp"
#include "output/print.hpp"
#include "output/store_json.hpp"
#include "text/convert.hpp"

namespace
{

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> extraOf( CRY_TRUST_TOKEN *tok )
{
    pb::Ref<CRY_X509_CERTIFICATES> extra = pb::adopt( cryTrustTokenExtraCertificates( tok ) );
    return extra ? tool::elements( extra.get() ) : std::vector<pb::Ref<CRY_X509_CERTIFICATE>>();
}

}

nlohmann::ordered_json tool::tokenJson( CRY_TRUST_TOKEN *tok )
{
    nlohmann::ordered_json        json        = nlohmann::ordered_json::object();
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryTrustTokenCertificate( tok ) );
    pb::Ref<PB_TIME>              time        = pb::adopt( cryTrustTokenTime( tok ) );
    pb::Ref<PB_BUFFER>            signature   = pb::adopt( cryTrustTokenSignature( tok ) );
    if( certificate )
        json["certificate"] = Facts( certificate.get() ).json();
    json["certificates"] = factsJson( extraOf( tok ) );
    if( time )
        json["time"] = take( pbTimeToString( time.get() ) );
    json["algorithm"] = nameOfAlgorithm( cryTrustTokenHashAlgorithm( tok ) );
    json["metadata"]  = storeJson( pb::adopt( cryTrustTokenMetaData( tok ) ).get() );
    if( signature )
        json["signature"] = { { "length", pbBufferLength( signature.get() ) }, { "hex", textInForm( signature.get(), Form::hex ) } };
    return json;
}

std::string tool::tokenText( CRY_TRUST_TOKEN *tok )
{
    const std::string             indent( 13, ' ' );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryTrustTokenCertificate( tok ) );
    pb::Ref<PB_TIME>              time        = pb::adopt( cryTrustTokenTime( tok ) );
    pb::Ref<PB_STORE>             metadata    = pb::adopt( cryTrustTokenMetaData( tok ) );
    pb::Ref<PB_BUFFER>            signature   = pb::adopt( cryTrustTokenSignature( tok ) );
    auto                          block       = [&indent]( const char *what, CRY_X509_CERTIFICATE *each ) {
        Facts facts( each );
        return what + nameOrNone( facts.subject ) + "\n" + facts.details( indent );
    };
    std::string text = certificate ? block( "certificate  ", certificate.get() ) : "certificate  no certificate\n";
    for( const pb::Ref<CRY_X509_CERTIFICATE> &each : extraOf( tok ) )
        text += block( "further      ", each.get() );
    text += "time         " + ( time ? take( pbTimeToString( time.get() ) ) : "no time" ) + "\n";
    text += "digest       " + nameOfAlgorithm( cryTrustTokenHashAlgorithm( tok ) ) + "\n";
    text += "signature    " + ( signature ? counted( (size_t)pbBufferLength( signature.get() ), "byte" ) : "no signature" ) + "\n";
    if( !pbStoreLength( metadata.get() ) )
        return text + "metadata     no metadata\n";
    // JSON in ASCII cannot play with the terminal.
    text += "metadata     ";
    for( char each : storeJson( metadata.get() ).dump( 2, ' ', true ) )
    {
        text += each;
        if( each == '\n' )
            text += indent;
    }
    return text + "\n";
}
