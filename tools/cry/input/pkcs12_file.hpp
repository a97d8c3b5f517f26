// PKCS#12 files.
#pragma once

#include <cry/cry_pkcs12.h>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

// One attempt to open a PKCS#12 file with a password, or without one if it is null. It leaves no
// error in OpenSSL's queue.
struct Pkcs12Attempt
{
    pb::Ref<CRY_PKCS12> pkcs12; // null if it failed
    std::string         diagnostics;

    Pkcs12Attempt( PB_BUFFER *content, const pb::Ref<PB_BUFFER> &password );

    bool wrongPassword() const;
    bool withoutMac() const;

private:
    bool isReason( int library, int reason ) const;

    int32_t code = 0;
};

}
