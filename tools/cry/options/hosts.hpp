// Hosts that a certificate should be for, compared with its names.
#pragma once

#include "output/general_names.hpp"

#include <CLI/CLI.hpp>
#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_sans.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

// The name that an option gives. Throws InputError, which names the option, for a text that is
// neither a domain name nor an IP address.
pb::Ref<CRY_X509_SAN> sanValue( const std::string &text, const std::string &option );
// All names that it gives.
pb::Ref<CRY_X509_SANS> sansValue( const std::vector<std::string> &texts, const std::string &option );

// The options --host and --no-wildcards of a command.
struct HostOptions
{
    std::vector<std::string> hosts;
    bool                     noWildcards = false;

    void addTo( CLI::App &command );
};

class Hosts
{
public:
    // Throws InputError for a text that is neither a domain name nor an IP address.
    explicit Hosts( const HostOptions &options );

    bool           given() const { return !all.empty(); }
    CRY_X509_SANS *wanted() const { return sans.get(); } // all of them, lent

    // Finds the name of a certificate for each host; `accepted` is a validator's verdict on the
    // names. The other functions are for use after this one.
    void compare( CRY_X509_CERTIFICATE *certificate, bool accepted );

    const std::string &reason() const { return problem; } // why it is for none; empty if it is for one
    std::string        text() const;                      // lines
    void               addTo( nlohmann::ordered_json &json ) const;

private:
    struct Host
    {
        std::string            given;
        pb::Ref<CRY_X509_SANS> wanted;
        std::optional<Name>    found; // the certificate's name that is for it
    };

    // Tells the name of the certificate that is for each host; true if one host has one.
    bool find( CRY_X509_CERTIFICATE *certificate );

    std::vector<Host>      all;
    pb::Ref<CRY_X509_SANS> sans;
    PB_BOOL                wildcards;
    std::vector<Name>      names;
    std::string            problem;
    bool                   lenient = false; // accepted although no name matches
};

}
