// How keys and PKCS#12 files are protected, as far as that can be said without the password.
#pragma once

#include <pb/pb_buffer.h>

#include <string>
#include <vector>

namespace tool
{

// The encryption of a key in encrypted PKCS#8: "PBES2, PBKDF2, aes-256-cbc, 2048 rounds".
std::string protectionOfPkcs8( PB_BUFFER *der );

// What a PKCS#12 file says of itself.
struct Pkcs12Cover
{
    std::string              mac;      // its digest and rounds; empty if there is no MAC
    std::vector<std::string> contents; // one text for each part

    explicit Pkcs12Cover( PB_BUFFER *der );
};

}
