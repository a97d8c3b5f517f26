// What the fuzzers of keys, certificates and their files share: OpenSSL's errors, and the cost of
// what an input asks for.
#pragma once

#include "start.hpp"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <string>
#include <vector>

namespace fuzz
{

// The error queue is empty when an input starts and when it ends. Errors that are left hold memory,
// which libFuzzer takes for a leak, and looking for that takes longer than any input.
struct CleanErrors
{
    CleanErrors() { ERR_clear_error(); }
    ~CleanErrors() { ERR_clear_error(); }
    CleanErrors( const CleanErrors & )            = delete;
    CleanErrors &operator=( const CleanErrors & ) = delete;
};

// All errors of the queue, oldest first, with what OpenSSL says besides.
inline std::vector<std::string> takeErrors()
{
    std::vector<std::string> errors;
    const char              *data;
    int                      flags;
    while( unsigned long code = ERR_get_error_all( nullptr, nullptr, nullptr, &data, &flags ) )
        errors.push_back( std::to_string( code ) + ( flags & ERR_TXT_STRING ? data : "" ) );
    return errors;
}

// How many rounds of key derivation some DER asks for: in every algorithm the numbers that say it
// come behind an octet string, the salt.
inline uint64_t roundsIn( std::string_view der, int depth = 0 )
{
    constexpr uint64_t most = UINT32_MAX;
    uint64_t           sum = 0, product = 0;
    while( !der.empty() && depth < 40 )
    {
        const unsigned char *at = (const unsigned char *)der.data();
        long                 length;
        int                  tag, kind, form = ASN1_get_object( &at, &length, &tag, &kind, (long)der.size() );
        if( form & 0x80 )
            break;
        std::string_view content( (const char *)at, (size_t)length );
        if( tag == V_ASN1_INTEGER && product )
        {
            uint64_t value = length > 4 ? most : 0;
            for( char byte : content.substr( 0, value ? 0 : 4 ) )
                value = value << 8 | (uint8_t)byte;
            product = product * value > most ? most : product * value;
        }
        else
        {
            sum += product > 1 ? product : 0;
            product = tag == V_ASN1_OCTET_STRING;
        }
        // Octet strings hold DER, too.
        if( form & V_ASN1_CONSTRUCTED || tag == V_ASN1_OCTET_STRING )
            sum += roundsIn( content, depth + 1 );
        der.remove_prefix( (size_t)( at - (const unsigned char *)der.data() ) + (size_t)length );
    }
    return sum + ( product > 1 ? product : 0 );
}

// Inputs that ask for more are left out: they take long and show nothing more.
constexpr uint64_t mostRounds = 3000;

}
