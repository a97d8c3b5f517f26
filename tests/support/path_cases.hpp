// The cases of the public corpora for path validation, and what OpenSSL says of each in this
// process.
#pragma once

#include "support/certificates.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>

namespace support
{

// A certificate of the corpora, parsed once in both ways. Both are null if it does not parse.
struct Parsed
{
    Cert                          openssl;
    pb::Ref<CRY_X509_CERTIFICATE> ours;
};

struct PathCase
{
    std::string                                id;
    bool                                       parses = true; // all certificates of the case do
    Parsed                                     leaf;
    std::vector<Cert>                          extra, trusted;
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> ourExtra, ourTrusted;
    pb::Ref<PB_TIME>                           time;
    time_t                                     seconds = 0;
    bool                                       wanted  = false; // the corpus's own expectation: the chain and the name are good
    std::optional<std::string>                 peerName;
    std::map<std::string, std::string>         recorded; // the row of the table beside the corpus, by the heading of the column
};

// Calls `use` for every case of every corpus; fails the test if a case has no row, or a row no
// case.
void forEachPathCase( const std::filesystem::path &folder, const std::function<void( const PathCase & )> &use );

// The tables beside the corpora were made with OpenSSL's default parameters: OpenSSL then looks for
// trusted certificates first. The library's parameters replace them, so OpenSSL follows the
// untrusted certificates first, as far as possible. In these cases the result differs: OpenSSL uses
// an expired intermediate and does not find the trusted root.
bool needsTrustedFirst( const PathCase &one );

// What OpenSSL says in its default context, with the parameters of the library and these flags.
struct OpensslVerdict
{
    std::vector<std::string> chain; // DER; empty if it refuses
    int                      error = 0;
    int                      depth = 0;
};

OpensslVerdict verifiedByOpenssl( const PathCase &one, unsigned long flags = 0 );

}
