#include "input/protected_key.hpp"

#include "output/error.hpp"
#include "output/openssl_reason.hpp"

#include <cry/internal/cry_pkey_private.h>
#include <cstring>
#include <memory>
#include <openssl/bio.h>
#include <openssl/err.h>

namespace
{

// Asks for the password if OpenSSL wants one. Exceptions must not pass through OpenSSL, so an error
// is kept and thrown afterwards.
struct Asked
{
    tool::PasswordOptions            &options;
    const std::string                &path;
    bool                              asked = false;
    std::unique_ptr<tool::InputError> problem;

    static int callback( char *to, int room, int, void *self )
    {
        Asked &asked = *(Asked *)self;
        asked.asked  = true;
        if( asked.problem ) // OpenSSL asks each of its decoders
            return -1;
        try
        {
            pb::Ref<PB_BUFFER> password = asked.options.get( asked.path );
            int                length   = (int)pbBufferLength( password.get() );
            if( length > room )
                throw tool::InputError( "a password of more than " + std::to_string( room ) + " bytes" );
            std::memcpy( to, pbBufferBytes( password.get() ), (size_t)length );
            return length;
        }
        catch( const tool::InputError &error )
        {
            asked.problem = std::make_unique<tool::InputError>( error );
            return -1;
        }
    }
};

}

pb::Ref<PB_BUFFER> tool::tidied( const PB_BYTE *bytes, PB_INT length )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( text.handle() );
    auto isBlank = []( PB_BYTE c ) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; };
    for( PB_INT begin = 0, end; begin < length; begin = end + ( end + 1 < length && bytes[end] == '\r' && bytes[end + 1] == '\n' ? 2 : 1 ) )
    {
        for( end = begin; end < length && bytes[end] != '\r' && bytes[end] != '\n'; )
            end++;
        PB_INT first = begin, last = end;
        while( first < last && isBlank( bytes[first] ) )
            first++;
        while( last > first && isBlank( bytes[last - 1] ) )
            last--;
        pbBufferAppendBytes( text.handle(), bytes + first, last - first );
        pbBufferAppendByte( text.handle(), '\n' );
    }
    return text;
}

pb::Ref<CRY_PKEY_PRIVATE> tool::unprotected( const PB_BYTE *bytes, PB_INT length, PasswordOptions &password, const std::string &path,
    EVP_PKEY *( *read )(BIO *, EVP_PKEY **, pem_password_cb *, void *), std::string &problem )
{
    Asked                                       asked{ password, path, false, nullptr };
    std::unique_ptr<BIO, decltype( &BIO_free )> bio( BIO_new_mem_buf( bytes, (int)length ), BIO_free );
    ERR_clear_error();
    EVP_PKEY *pkey = read( bio.get(), nullptr, Asked::callback, &asked );
    if( asked.problem )
        throw *asked.problem;
    if( pkey )
    {
        pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) );
        if( key )
            return key;
    }
    std::string reason = opensslReasonInBrackets();
    problem            = asked.asked ? "the password is wrong, or the key is damaged" + reason : "the private key does not parse" + reason;
    return {};
}
