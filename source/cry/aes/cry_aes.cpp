#include <cry/cry_aes.h>

#include "common/cry_ossl.hpp"

#include <openssl_module/internal/openssl_module.h>

struct CRY_AES : PB_OBJ
{
    PB_INT          mode;
    PB_INT          operation;
    PB_BUFFER      *key;
    EVP_CIPHER_CTX *intCipherCtx;
};

static constexpr auto aesFields = pb::fields<&CRY_AES::mode, &CRY_AES::operation, &CRY_AES::key, &CRY_AES::intCipherCtx>;

PB_SORT_DEFINE( cry, Aes, CRY_AES, PB_FREE_FIELDS( CRY_AES, aes, aesFields ) )

PB_BOOL cryAesValidateKeyLength( PB_INT bits ) { return bits == 128 || bits == 192 || bits == 256; }

PB_BOOL cryAesValidateKey( PB_BUFFER *key ) { return PB_CHECK( key ), cryAesValidateKeyLength( pbBufferBitLength( key ) ); }

static const EVP_CIPHER *cipherOf( PB_INT keyBits )
{
    return openssl___Cipher( keyBits == 128 ? "AES-128-ECB" : keyBits == 192 ? "AES-192-ECB" : "AES-256-ECB" );
}

CRY_AES *cryAesTryCreate( CRY_AES_MODE mode, CRY_AES_OPERATION op, PB_BUFFER *key )
{
    PB_CHECK( CRY_AES_MODE_OK( mode ) );
    PB_CHECK( CRY_AES_OPERATION_OK( op ) );
    PB_CHECK( cryAesValidateKey( key ) );
    CRY_AES *aes   = pb::create<CRY_AES>();
    aes->mode      = mode;
    aes->operation = op;
    aes->key       = pb::shareOrNull( key );

    const EVP_CIPHER *cipher = cipherOf( pbBufferBitLength( key ) );
    aes->intCipherCtx        = EVP_CIPHER_CTX_new();
    // Padding is off. With padding, a decrypting context would keep each block back until the next
    // one.
    if( aes->intCipherCtx && cipher &&
        EVP_CipherInit_ex2( aes->intCipherCtx, cipher, pbBufferBytes( key ), nullptr, op == CRY_AES_OPERATION_ENCRYPT, nullptr ) == 1 &&
        EVP_CIPHER_CTX_set_padding( aes->intCipherCtx, 0 ) == 1 )
        return aes;
    cryAesRelease( aes );
    return nullptr;
}

CRY_AES_MODE cryAesMode( CRY_AES *aes ) { return PB_CHECK( aes ), aes->mode; }

CRY_AES_OPERATION cryAesOperation( CRY_AES *aes ) { return PB_CHECK( aes ), aes->operation; }

PB_BUFFER *cryAesKey( CRY_AES *aes ) { return PB_CHECK( aes ), pb::shareOrNull( aes->key ); }

void cryAesProcessBlock( CRY_AES *aes, PB_BYTE *dest, const PB_BYTE *source )
{
    PB_CHECK( aes );
    PB_CHECK( dest );
    PB_CHECK( source );
    PB_CHECK( dest != source );
    int outl = 0;
    PB_CHECK( 1 == EVP_CipherUpdate( aes->intCipherCtx, dest, &outl, source, 16 ) );
    PB_CHECK( outl == 16 );
}
