#include "input/protected_key.hpp"

#include "output/error.hpp"
#include "output/openssl_reason.hpp"

#include <cstring>
#include <memory>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/proverr.h>
#include <openssl/x509.h>
#include <openssl_module/internal/openssl_key_limits.h>

namespace
{

template<auto free>
struct Freer
{
    void operator()( auto *object ) const { free( object ); }
};

// Asks for the password if OpenSSL wants one. Exceptions must not pass through OpenSSL, so an error
// is kept and thrown afterwards.
struct Asked
{
    tool::PasswordOptions            &options;
    const std::string                &path;
    std::unique_ptr<tool::InputError> problem;

    static int callback( char *to, int room, int, void *self )
    {
        Asked &asked = *(Asked *)self;
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

// DER that OpenSSL allocated, which is freed.
pb::Ref<PB_BUFFER> secretBuffer( unsigned char *der, long length )
{
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( buffer.handle() );
    pbBufferAppendBytes( buffer.handle(), der, length );
    OPENSSL_clear_free( der, (size_t)length );
    return buffer;
}

// Why the decryption failed, by the first error of OpenSSL. Those that do not come from the
// password are not blamed on it.
std::string decryptionProblem()
{
    unsigned long error   = ERR_peek_error();
    int           library = ERR_GET_LIB( error ), reason = ERR_GET_REASON( error );
    bool          scrypt  = library == ERR_LIB_EVP && ( reason == EVP_R_MEMORY_LIMIT_EXCEEDED || reason == EVP_R_ILLEGAL_SCRYPT_PARAMETERS );
    bool          unknown = library == ERR_LIB_EVP &&
        ( reason == EVP_R_UNSUPPORTED_ALGORITHM || reason == EVP_R_UNKNOWN_PBE_ALGORITHM || reason == EVP_R_UNSUPPORTED_KEY_DERIVATION_FUNCTION ||
            reason == EVP_R_UNSUPPORTED_CIPHER || reason == ERR_R_UNSUPPORTED );
    std::string text = tool::opensslReasonInBrackets();
    if( scrypt )
        return "the key is encrypted with scrypt, with more memory than OpenSSL gives it or with numbers that it refuses" + text;
    if( unknown )
        return "the key is encrypted in a way that OpenSSL does not know" + text;
    return "the password is wrong, or the key is damaged" + text;
}

}

pb::Ref<PB_BUFFER> tool::tidiedPem( const PB_BYTE *bytes, PB_INT length )
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

tool::Unprotected tool::decryptPkcs8( const X509_SIG *sig, PasswordOptions &password, const std::string &path )
{
    const X509_ALGOR *algorithm;
    X509_SIG_get0( sig, &algorithm, nullptr );
    if( !openssl___DerivationIsBounded( algorithm ) )
        return { {}, "", "the key's encryption asks for more work than is done for a password: 10,000,000 rounds, or 1 GiB of scrypt" };
    pb::Ref<PB_BUFFER> given = password.get( path );
    ERR_clear_error();
    std::unique_ptr<PKCS8_PRIV_KEY_INFO, Freer<PKCS8_PRIV_KEY_INFO_free>> info(
        PKCS8_decrypt( sig, (const char *)pbBufferBytes( given.get() ), (int)pbBufferLength( given.get() ) ) );
    unsigned char *der    = nullptr;
    int            length = info ? i2d_PKCS8_PRIV_KEY_INFO( info.get(), &der ) : 0;
    if( length <= 0 )
        return { {}, "", decryptionProblem() };
    return { secretBuffer( der, length ), PEM_STRING_PKCS8INF, "" };
}

tool::Unprotected tool::decryptOldPem( const PB_BYTE *text, PB_INT length, PasswordOptions &password, const std::string &path )
{
    pb::Ref<PB_BUFFER>                    tidy = tidiedPem( text, length );
    std::unique_ptr<BIO, Freer<BIO_free>> bio( BIO_new_mem_buf( pbBufferBytes( tidy.get() ), (int)pbBufferLength( tidy.get() ) ) );
    Asked                                 asked{ password, path, nullptr };
    unsigned char                        *der       = nullptr;
    char                                 *name      = nullptr;
    long                                  derLength = 0;
    ERR_clear_error();
    int read = PEM_bytes_read_bio( &der, &derLength, &name, PEM_STRING_EVP_PKEY, bio.get(), Asked::callback, &asked );
    if( asked.problem )
        throw *asked.problem;
    if( read != 1 )
        return { {}, "", decryptionProblem() };
    Unprotected result{ secretBuffer( der, derLength ), name, "" };
    OPENSSL_free( name );
    return result;
}
