#include "commands/commands.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/subject.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"

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
        nlohmann::ordered_json json{ { "certificate", tool::Facts( certificate.get() ).json() }, { "pem", tool::textOf( text.get() ) } };
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

}

void tool::addCertificateGenerate( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, generate,
        "It is valid from yesterday on, has the serial number 1, and is signed with SHA-256. The domain name becomes the\n"
        "subject alternative name, in ASCII form.\n"
        "Exit: 0 done; 2 wrong use, a name that is not valid, or a key that cannot sign." );
    options.subject.addTo( command );
    addOption( command, "--days", options.days, "N", "valid for this many days from now" )->capture_default_str();
    command.add_flag( "--client-auth", options.clientAuth, "for authentication of clients (extended key usage)" );
    command.add_flag( "--server-auth", options.serverAuth, "for authentication of servers" );
    options.output.addTo( command, "the certificate" );
}
