// Keys: with the key-decoding context and without it the same keys load, with the same canonical
// text and of the same kind, and the text of a public key is what plain OpenSSL reads and writes.
#include <openssl_module/internal/openssl_module.h>

#include "openssl.hpp"

#include <iterator>
#include <openssl/pem.h>

using namespace fuzz;

namespace
{

constexpr const char *labels[] = { "PRIVATE KEY", "PUBLIC KEY", "RSA PRIVATE KEY", "EC PRIVATE KEY", "DSA PRIVATE KEY", "ENCRYPTED PRIVATE KEY" };

// PEM text; anything else is a byte that chooses the label, and the DER, so that its bytes can be
// changed directly.
pb::Ref<CRY_PEM> pemOf( std::string_view input )
{
    if( pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buffer( input ).get() ) ) )
        return pem;
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), pb::adopt( pbStringCreateFromCstr( labels[takeByte( input ) % std::size( labels )], -1 ) ).get() );
    cryPemSetData( pem.handle(), buffer( input ).get() );
    return pem;
}

// What a key is, as far as it can be seen from outside.
struct Seen
{
    pb::Ref<CRY_PEM> pem;
    PB_INT           type = -1, bits = -1, curve = -1;

    void take( const pb::Ref<CRY_PEM> &canonical, const pb::Ref<CRY_PKEY_INFO> &info )
    {
        pem   = canonical;
        type  = cryPkeyInfoType( info.get() );
        bits  = cryPkeyInfoBits( info.get() );
        curve = cryPkeyInfoEcNamedCurve( info.get() );
    }

    bool operator==( const Seen &other ) const
    {
        return cryPemEquals( pem.get(), other.pem.get() ) && type == other.type && bits == other.bits && curve == other.curve;
    }
};

Seen seenOf( const pb::Ref<CRY_PKEY_PUBLIC> &pub )
{
    Seen seen;
    if( pub )
        seen.take( pb::adopt( cryPkeyPublicPem( pub.get() ) ), pb::adopt( cryPkeyPublicInfo( pub.get() ) ) );
    return seen;
}

Seen seenOf( const pb::Ref<CRY_PKEY_PRIVATE> &priv )
{
    Seen seen;
    if( priv )
        seen.take( pb::adopt( cryPkeyPrivatePem( priv.get() ) ), pb::adopt( cryPkeyPrivateInfo( priv.get() ) ) );
    return seen;
}

struct Loaded
{
    Seen priv, half, pub;

    bool operator==( const Loaded &other ) const { return priv == other.priv && half == other.half && pub == other.pub; }
};

Loaded load( const pb::Ref<CRY_PEM> &pem, PB_BOOL fast )
{
    openssl___SetKeyDecodingContextUsed( fast );
    Loaded                    loaded;
    pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) );
    loaded.priv                    = seenOf( priv );
    if( priv )
        loaded.half = seenOf( pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ) );
    loaded.pub = seenOf( pb::adopt( cryPkeyPublicTryCreateFromPem( pem.get() ) ) );
    return loaded;
}

// What plain OpenSSL makes of a public key.
pb::Ref<CRY_PEM> plainPublic( const pb::Ref<CRY_PEM> &pem )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem.get() ) );
    BIO               *in = BIO_new_mem_buf( pbBufferBytes( text.get() ), (int)pbBufferLength( text.get() ) ), *out = BIO_new( BIO_s_mem() );
    EVP_PKEY          *pkey = PEM_read_bio_PUBKEY(
        in, nullptr, []( char *, int, int, void          *) { return 0; }, nullptr );
    char            *bytes;
    pb::Ref<CRY_PEM> canonical;
    if( pkey && PEM_write_bio_PUBKEY( out, pkey ) == 1 )
    {
        size_t length = (size_t)BIO_get_mem_data( out, &bytes );
        canonical     = pb::adopt( cryPemTryDecode( buffer( { bytes, length } ).get() ) );
        FUZZ_CHECK( canonical );
    }
    EVP_PKEY_free( pkey );
    BIO_free( in );
    BIO_free( out );
    return canonical;
}

// Whether a fast path takes it; all else is OpenSSL's own matter. What is taken and written again
// is taken again as the same, which costs little to check.
bool isTaken( const pb::Ref<CRY_PEM> &pem )
{
    pb::Ref<PB_BUFFER> data   = pb::adopt( cryPemData( pem.get() ) );
    auto               closed = []( EVP_PKEY *pkey ) {
        EVP_PKEY_free( pkey );
        return pkey != nullptr;
    };
    auto labelled = [&]( const char *label ) { return view( pb::adopt( cryPemLabel( pem.get() ) ) ) == label; };
    if( labelled( PEM_STRING_PKCS8INF ) && closed( openssl___TryParsePrivateKeyFast( pbBufferBytes( data.get() ), pbBufferLength( data.get() ) ) ) )
    {
        pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) );
        FUZZ_CHECK( priv );
        pb::Ref<CRY_PKEY_PRIVATE> again = pb::adopt( cryPkeyPrivateTryCreateFromPem( pb::adopt( cryPkeyPrivatePem( priv.get() ) ).get() ) );
        FUZZ_CHECK( again && cryPkeyPrivateEquals( priv.get(), again.get() ) );
        return true;
    }
    if( labelled( PEM_STRING_PUBLIC ) && closed( openssl___TryParsePublicKeyFast( pbBufferBytes( data.get() ), pbBufferLength( data.get() ) ) ) )
    {
        pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cryPkeyPublicTryCreateFromPem( pem.get() ) );
        FUZZ_CHECK( pub );
        pb::Ref<CRY_PKEY_PUBLIC> again = pb::adopt( cryPkeyPublicTryCreateFromPem( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ) );
        FUZZ_CHECK( again && cryPkeyPublicEquals( pub.get(), again.get() ) );
        return true;
    }
    return false;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors      clean;
    std::string_view input( (const char *)bytes, size );
    pb::Ref<CRY_PEM> pem = pemOf( input );
    if( roundsIn( view( pb::adopt( cryPemData( pem.get() ) ) ) ) > mostRounds )
        return 0;
    ERR_clear_error();
    // Each question to plain OpenSSL takes it a millisecond to list its decoders, whatever the key
    // is.
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
    if( !chosen( input, isTaken( pem ) ? 8 : 64 ) )
        return 0;
    Loaded fast = load( pem, PB_TRUE );
    FUZZ_CHECK( fast == load( pem, PB_FALSE ) );
    FUZZ_CHECK( cryPemEquals( fast.pub.pem.get(), plainPublic( pem ).get() ) );
    return 0;
}
