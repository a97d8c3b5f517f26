// The files of which an identity is made.
#pragma once

#include "input/key_file.hpp"
#include "input/password.hpp"

#include <cry/cry_x509_identity.h>
#include <pb/ref.hpp>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tool
{

// Throws InputError if the key of the certificate cannot be read, or if it is not that of the
// private key.
void checkBelongs( const Key &key, CRY_X509_CERTIFICATE *certificate, const std::string &certificateFile );

// The options --key, --certificate and --extra of a command.
struct IdentityFiles
{
    std::string              key, certificate;
    std::vector<std::string> extra;
    PasswordOptions          password; // whose own options the command adds

    void addTo( CLI::App &command );
    // Throws InputError if something cannot be read, or if the key is not the certificate's.
    pb::Ref<CRY_X509_IDENTITY> read();
};

}
