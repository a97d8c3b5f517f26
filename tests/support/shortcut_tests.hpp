// Common to the tests of shortcuts inside of the key-decoding context.
#pragma once

#include <openssl_module/openssl_module.h>

#include "support/shortcuts.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <string>

namespace support
{

// Uses shortcuts, also if the other tests do not.
class ShortcutTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if( !opensslKeyDecodingContextUsed() )
            GTEST_SKIP() << "the key-decoding context is not used";
    }

    Shortcuts on{ true };
};

// The errors of the queue with all their parts except the thread, and the queue is empty after it.
inline std::string takeQueue()
{
    std::string out;
    const char *file, *function, *data;
    int         line, flags;
    while( unsigned long code = ERR_get_error_all( &file, &line, &function, &data, &flags ) )
        out += std::to_string( code ) + " " + file + " " + std::to_string( line ) + " " + function + " " + data + "\n";
    return out;
}

}
