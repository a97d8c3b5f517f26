#include "input/input.hpp"
#include "options/group.hpp"
#include "options/subject.hpp"
#include "output/describe.hpp"
#include "output/output.hpp"
#include "output/terminal.hpp"

#include <cry/internal/cry_generate_certificate.h>
#include <openssl/err.h>

namespace
{

struct Options
{
    tool::SubjectOptions subject;
    std::string          days       = "365";
    bool                 clientAuth = false, serverAuth = false, json = false;
    tool::Output         output;
};

int generate( Options &options )
{
    options.output.check();
    PB_INT        days = tool::number( options.days, "--days", 0, 3650000 );
    tool::Subject subject( options.subject );
    ERR_clear_error();
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cry___TryGenerateCertificate(
        subject.key.privateKey.get(), subject.domain.get(), subject.commonName.get(), days, options.clientAuth, options.serverAuth ) );
    if( !certificate )
        throw tool::InputError(
            "no certificate can be made of this" + tool::opensslReasonInBrackets() + "; the validity must end before the year 10000" );
    pb::Ref<PB_BUFFER> text = tool::pemText( pb::adopt( cryX509CertificatePem( certificate.get() ) ).get() );
    options.output.writeBeside( options.json, text.get(), tool::Secrecy::open );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "format", 1 } };
        json.update( tool::Facts( certificate.get() ).json() );
        json["certificate"] = tool::textOf( text.get() );
        tool::printJson( json );
    }
    return tool::exitGood;
}

}

void tool::addCertificate( CLI::App &app, int &exit )
{
    CLI::App &group         = addGroup( app, "certificate", "make certificates" );
    auto [command, options] = addMember<Options>( group, exit, "generate", "make a self-signed certificate", generate,
        "It is valid from yesterday on, has the serial number 1, and is signed with SHA-256.\nExit: 0 done; 2 wrong use, a name that is none, or a key that cannot sign." );
    options->subject.addTo( *command );
    command->add_option( "--days", options->days, "valid for this many days from now" )->type_name( "N" )->transform( plain )->capture_default_str();
    command->add_flag( "--client-auth", options->clientAuth, "for authentication of clients (extended key usage)" );
    command->add_flag( "--server-auth", options->serverAuth, "for authentication of servers" );
    options->output.addTo( *command, "the certificate" );
}
