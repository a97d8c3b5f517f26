// Values of options.
#pragma once

#include <pb/pb_string.h>
#include <pb/pb_time.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>

namespace tool
{

// A decimal number. Throws InputError, which names `what` it is, if the text is not a number in the
// range.
PB_INT number( const std::string &text, const std::string &what, PB_INT least, PB_INT most );

// A text. Throws InputError, which names the option, if the text is not UTF-8 or holds U+0000.
pb::Ref<PB_STRING> utf8Value( const std::string &text, const std::string &option );

// Throws InputError, which names the option and ends with `more`, if a text is not a domain name.
void checkDomainName( PB_STRING *name, const std::string &option, const std::string &more = "" );

// The time that --time gives, now if it is left out. Throws InputError, which names the option, if
// the text is not a time.
pb::Ref<PB_TIME> timeValue( const std::optional<std::string> &text, const std::string &option = "--time" );

}
