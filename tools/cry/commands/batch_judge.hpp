// What is done for each line of `cry verify --batch`: a validator is made of it, and its verdict is
// written.
#pragma once

#include "input/bounded_cache.hpp"

#include <cry/cry_x509_validator.h>
#include <pb/ref.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace tool
{

struct BatchLine;

// A line that is judged.
struct BatchCase
{
    std::string                 id;        // as JSON
    pb::Ref<CRY_X509_VALIDATOR> validator; // null for a bad line
    bool                        comparesNames = false;
    std::string                 problem; // of a bad line
    PB_INT                      line = 0;
};

enum class BatchVerdict
{
    valid,
    notValid,
    badLine,
};

// Any thread may use it.
class BatchJudge
{
public:
    // What holds for lines that say nothing else.
    BatchJudge( CRY_X509_SESSION *session, CRY_X509_POLICY *policy );

    // Makes the validator of a line, which works by itself from then on.
    BatchCase begin( std::string_view text, PB_INT line );
    // Appends the answer to a line whose validator has ended.
    static BatchVerdict answer( const BatchCase &batchCase, std::string &answers );

private:
    using Texts = std::vector<std::string>;

    void                           begin( BatchLine &read, BatchCase &batchCase );
    pb::Ref<CRY_X509_CERTIFICATES> certificatesOf( std::string &&text, const char *member );
    pb::Ref<CRY_X509_CERTIFICATES> certificatesOf( Texts &&texts, const char *member );
    pb::Ref<CRY_X509_SESSION>      sessionOf( Texts &&trusted );

    pb::Ref<CRY_X509_SESSION>                    defaultSession;
    pb::Ref<CRY_X509_POLICY>                     defaultPolicy;
    CRY_X509_POLICY_FLAGS                        sessionFlags;
    BoundedCache<pb::Ref<CRY_X509_CERTIFICATES>> certificates;
    BoundedCache<pb::Ref<CRY_X509_SESSION>>      sessions;
};

}
