#include "output/openssl_reason.hpp"

#include <openssl/err.h>

std::string tool::opensslReason()
{
    unsigned long code   = ERR_get_error();
    const char   *reason = code ? ERR_reason_error_string( code ) : nullptr;
    ERR_clear_error();
    return reason ? reason : "";
}

std::string tool::opensslReasonInBrackets()
{
    std::string reason = opensslReason();
    return reason.empty() ? "" : " (" + reason + ")";
}
