// With what `cry verify` judges certificates: trust, a policy, and validators of a session.
#pragma once

#include "options/policy_flags.hpp"
#include "output/general_names.hpp"

#include <CLI/CLI.hpp>
#include <cry/cry_x509_validator.h>
#include <pb/ref.hpp>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool
{

// The options for whom to trust, and by which rules.
struct TrustOptions
{
    std::vector<std::string>   trust, trustedSans, policy;
    std::optional<std::string> lenientAddress;
    std::optional<std::string> time; // now if not given
    bool                       noSystem = false;

    void addTo( CLI::App &command );
};

// All flags of --policy. Throws InputError for a text that is no flag.
CRY_X509_POLICY_FLAGS policyFlagsOf( const TrustOptions &options );

// The trust and the flags for a stack. Its mode is SYSTEM, or FIXED with --no-system. Throws
// InputError, also if nothing would be trusted and that is not allowed.
pb::Ref<CRY_X509_STACK_OPTIONS> createStackOptions( const TrustOptions &options, bool mayTrustNothing = false );
// A session of a new stack, which it holds.
pb::Ref<CRY_X509_SESSION> createSession( CRY_X509_STACK_OPTIONS *options );
// A policy with the time, which is now if --time is left out, and the lenient address. The flags
// are those of the stack. Throws InputError.
pb::Ref<CRY_X509_POLICY> createPolicy( const TrustOptions &options );

// A validator that works, and its end.
class Validation
{
public:
    // `extra` may be null.
    Validation( CRY_X509_SESSION *session, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extra );

    bool ended() const { return pbSignalAsserted( end.get() ); }
    // Waits for the end; true if the certificate is accepted.
    bool wait() const;

    CRY_X509_VALIDATOR *get() const { return validator.get(); } // lent

private:
    pb::Ref<PB_SIGNAL>          end;
    pb::Ref<CRY_X509_VALIDATOR> validator;
};

// Why a certificate was refused.
struct Failure
{
    explicit Failure( CRY_X509_VALIDATOR_FAILURE *failure );

    std::string                      reason;      // the check: time, chain, result, trusted-names or acceptable-names
    std::string                      sentence;    // printable, without a full stop
    std::optional<PB_INT>            code;        // OpenSSL's X509_V_ERR_...
    std::string                      codeText;    // OpenSSL's words for it
    std::optional<PB_INT>            depth;       // 0 is the leaf
    pb::Ref<CRY_X509_CERTIFICATE>    certificate; // may be null
    std::optional<std::vector<Name>> wanted;      // of a check of names: those of which one is needed
    std::optional<std::vector<Name>> names;       // and those of the certificate; nothing if it has no such extension

    bool isOfNames() const { return wanted.has_value(); }

    nlohmann::ordered_json json() const;
    // Several lines.
    std::string text() const;
};

}
