// The measured parts of wolfSSL. Its headers have the names of OpenSSL, so no other file has both.
#pragma once

#include <string>

namespace peers::wolf
{

// Each makes a key that signs, and frees it.
void readRsaKey( const std::string &pem );
void readEcKey( const std::string &pem );

// Trusts what was added.
class Manager
{
public:
    Manager();
    ~Manager();
    Manager( const Manager & )            = delete;
    Manager &operator=( const Manager & ) = delete;

    void addAuthority( const std::string &der );
    void addAuthoritiesOfFile( const char *path );
    // The certificate must be good.
    void verify( const std::string &der );

private:
    struct Handle;
    Handle *handle;
};

}
