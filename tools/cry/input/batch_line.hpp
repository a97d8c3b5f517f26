// One line of `cry verify --batch`: a JSON object that says what to judge.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{

struct BatchLine
{
    std::string                             id = "null"; // as JSON in ASCII
    std::string                             certificate;
    std::vector<std::string>                extraCertificates;
    std::optional<std::vector<std::string>> trustedCertificates;
    std::optional<std::string>              time;
    std::optional<std::vector<std::string>> names;
    std::vector<std::string>                policyFlags;
    std::string                             problem; // why it is no such line; empty if it is one
};

// The texts are not looked at yet. The id is known as far as the line can be read.
BatchLine readBatchLine( std::string_view line );

}
