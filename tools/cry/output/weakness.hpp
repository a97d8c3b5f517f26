// Warnings of certificates that verify although they are weak.
#pragma once

#include <cry/cry_x509_certificate.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>
#include <vector>

namespace tool
{

// Warns of each short key in a chain from the leaf to the trusted certificate, and of each
// signature with a weak digest. The last one's own signature proves nothing, so it does not matter.
// `file` is for commands that read several chains.
void warnOfWeakness( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &chain, const std::optional<std::string> &file = {} );

}
