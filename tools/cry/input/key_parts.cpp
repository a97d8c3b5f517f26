#include "input/key_parts.hpp"

#include "input/pem.hpp"
#include "output/openssl_reason.hpp"

#include <memory>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl_module/internal/openssl_key_limits.h>

std::string tool::formOf( const std::string &label )
{
    if( label == "PRIVATE KEY" )
        return "PKCS#8";
    if( label == "ENCRYPTED PRIVATE KEY" )
        return "PKCS#8, protected by a password";
    if( label == "EC PRIVATE KEY" )
        return "SEC 1";
    return "traditional";
}

std::string tool::problemInKey( PB_BUFFER *der )
{
    switch( openssl___KeyProblem( pbBufferBytes( der ), pbBufferLength( der ) ) )
    {
    case OPENSSL___KEY_PROBLEM_NUMBER:
        return "the key has a number of more than 16,384 bits, the limit";
    case OPENSSL___KEY_PROBLEM_FORM:
        return "the private key does not parse: it is nested deeper than any key is, or is in pieces";
    case OPENSSL___KEY_PROBLEM_NONE:
        break;
    }
    return "";
}

void tool::readPlainKey( CRY_PEM *pem, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem )
{
    problem = problemInKey( pb::adopt( cryPemData( pem ) ).get() );
    if( !problem.empty() )
        return;
    ERR_clear_error();
    key = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem ) );
    if( !key )
        problem = "the private key does not parse" + opensslReasonInBrackets();
}

void tool::takeUnprotected( const Unprotected &unprotected, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem )
{
    problem = unprotected.problem;
    if( !unprotected.der )
        return;
    readPlainKey( pemOf( unprotected.label, unprotected.der.get() ).get(), key, problem );
    if( !key && !problem.starts_with( "the key has" ) )
        problem = "the password is wrong, or the key is damaged: " + problem;
}

void tool::readEncryptedKey(
    PB_BUFFER *der, PasswordOptions &password, const std::string &path, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem )
{
    ERR_clear_error();
    const unsigned char                                  *at = pbBufferBytes( der );
    std::unique_ptr<X509_SIG, decltype( &X509_SIG_free )> sig( d2i_X509_SIG( nullptr, &at, (long)pbBufferLength( der ) ), X509_SIG_free );
    if( sig )
        takeUnprotected( decryptPkcs8( sig.get(), password, path ), key, problem );
    else
        problem = "the private key does not parse" + opensslReasonInBrackets();
}
