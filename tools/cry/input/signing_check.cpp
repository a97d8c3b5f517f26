#include "input/signing_check.hpp"

#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"

#include <cry/cry_sign.h>
#include <cry/internal/cry_hash.h>
#include <memory>
#include <openssl/err.h>

namespace
{

tool::InputError cannot( const tool::Key &key, const std::string &what, const std::string &reason = "" )
{
    return tool::InputError( key.file, "OpenSSL cannot " + what + " with this key (" + tool::keyText( key.peek() ) + ") and this digest" + reason );
}

}

void tool::checkCanSign( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    if( !crySignCanSign( algorithm, key.privateKey.get() ) )
        throw cannot( key, "sign" );
    pb::Ref<PB_BUFFER> sample    = pb::adopt( pbBufferCreate() );
    pb::Ref<PB_BUFFER> signature = pb::adopt( crySignTrySign( algorithm, key.privateKey.get(), sample.get() ) );
    if( !signature || !crySignVerify( algorithm, key.publicKey.get(), signature.get(), sample.get() ) )
        throw InputError(
            key.file, "the private key contradicts itself: its own public half does not confirm what it signs ('cry key info' tells more)" );
    ERR_clear_error();
}

void tool::checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    std::unique_ptr<EVP_MD, decltype( &EVP_MD_free )> md(
        EVP_MD_fetch( nullptr, cry___HashAlgorithmOpensslDigestName( algorithm ), nullptr ), EVP_MD_free );
    std::unique_ptr<EVP_PKEY_CTX, decltype( &EVP_PKEY_CTX_free )> context( EVP_PKEY_CTX_new( pkey, nullptr ), EVP_PKEY_CTX_free );
    if( !md || !context || EVP_PKEY_verify_init( context.get() ) != 1 || EVP_PKEY_CTX_set_signature_md( context.get(), md.get() ) != 1 )
        throw cannot( key, "verify", opensslReasonInBrackets() );
}
