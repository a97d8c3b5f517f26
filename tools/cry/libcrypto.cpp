#include "libcrypto.hpp"

#include "output/error.hpp"
#include "text/printable.hpp"

#include <cstdlib>
#include <openssl/conf.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <string>

void tool::requireAlgorithms()
{
    EVP_MD      *digest = EVP_MD_fetch( nullptr, "SHA256", nullptr );
    EVP_KEYMGMT *rsa    = EVP_KEYMGMT_fetch( nullptr, "RSA", nullptr );
    bool         both   = digest && rsa;
    EVP_MD_free( digest );
    EVP_KEYMGMT_free( rsa );
    ERR_clear_error();
    if( both )
        return;
    char       *file = CONF_get1_default_config_file();
    std::string text = file ? file : "";
    OPENSSL_free( file );
    throw InputError( "libcrypto has no provider with SHA-256 and RSA, so that nothing can be computed or checked; its configuration is " +
        shown( text ) + ( std::getenv( "OPENSSL_CONF" ) ? ", which OPENSSL_CONF names" : "" ) );
}
