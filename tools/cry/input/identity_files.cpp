#include "input/identity_files.hpp"

#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/key_file.hpp"
#include "input/signing_check.hpp"
#include "options/command.hpp"
#include "output/error.hpp"

#include <cry/cry_sign.h>

void tool::IdentityFiles::addTo( CLI::App &command )
{
    addOption( command, "--key", key, "FILE", "the private key" );
    addOption( command, "--certificate", certificate, "FILE", "its certificate; the others in the file are further ones" );
    addRepeated( command, "--extra", extra, "FILE", "further certificates; may be given several times" );
}

void tool::checkBelongs( const Key &key, CRY_X509_CERTIFICATE *certificate, const std::string &certificateFile )
{
    if( !cryX509CertificateHasPublicKey( certificate ) )
        throw InputError( certificateFile, "the key of the certificate cannot be read" );
    if( !cryX509CertificateCheckPrivateKey( certificate, key.privateKey.get() ) )
        throw InputError( key.file, "the private key does not belong to the certificate in " + nameOf( certificateFile ) );
}

pb::Ref<CRY_X509_IDENTITY> tool::IdentityFiles::read()
{
    std::vector<std::string> inputs = extra;
    inputs.insert( inputs.end(), { key, certificate } );
    checkStandardInput( inputs );
    Key                                        read   = readPrivateKey( key, password );
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain  = readCertificates( certificate );
    pb::Ref<CRY_X509_CERTIFICATES>             extras = pb::adopt( cryX509CertificatesCreate() );
    append( extras, chain, 1 );
    appendFiles( extras, extra );
    checkBelongs( read, chain[0].get(), certificate );
    if( crySignCanSign( CRY_HASH_ALGORITHM_SHA2_256, read.privateKey.get() ) )
        checkCanSign( read, CRY_HASH_ALGORITHM_SHA2_256 );
    pb::Ref<CRY_X509_IDENTITY> identity = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( identity.handle(), read.privateKey.get() );
    cryX509IdentitySetCertificate( identity.handle(), chain[0].get() );
    cryX509IdentitySetExtraCertificates( identity.handle(), extras.get() );
    return identity;
}
