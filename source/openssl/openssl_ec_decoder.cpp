// The key data of the default provider are EC_KEY objects, so this file makes such objects. The
// functions for them are deprecated for programs.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "openssl_ec_decoder.hpp"

#include "openssl_der.hpp"
#include "openssl_shortcuts.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/containers.hpp>
#include <pb/locks.hpp>

#include <array>
#include <cstring>
#include <openssl/bio.h>
#include <openssl/core_dispatch.h>
#include <openssl/core_names.h>
#include <openssl/core_object.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

namespace openssl
{

namespace
{

constinit std::atomic<bool>   keptUsed{ false };
constinit thread_local size_t keysMade = 0;

// The parts of the default provider, set at the start.
OSSL_LIB_CTX                 *libraryOfKeys;
OSSL_FUNC_decoder_decode_fn  *decodeOriginally;
OSSL_FUNC_BIO_read_ex_fn     *readFrom;
OSSL_FUNC_BIO_ctrl_fn        *control;
std::array<OSSL_DISPATCH, 16> wrapped;

// A group as the original decoder made it for this curve. Never freed: there are at most as many as
// this libcrypto has curves.
struct KeptGroup
{
    KeptGroup      *next;
    const EC_GROUP *group;
    size_t          pointSize; // uncompressed
    size_t          size;
    PB_BYTE         curve[16]; // its OID
};

constexpr size_t longestCurve = sizeof KeptGroup::curve;

constinit std::atomic<KeptGroup *> groups{ nullptr };
constinit pb::PlainLock            groupsLock;

const KeptGroup *findGroup( Bytes curve )
{
    const KeptGroup *found = groups.load( std::memory_order_acquire );
    while( found && Bytes( found->curve, found->size ) != curve )
        found = found->next;
    return found;
}

void keepGroup( Bytes curve, const EC_GROUP *group )
{
    ErrorMark       detour;
    pb::InPlainLock in( groupsLock );
    if( findGroup( curve ) )
        return;
    const EC_GROUP *copy = EC_GROUP_dup( group );
    if( !copy )
        return;
    auto *made      = pb::make<KeptGroup, pb::ProcessMemory>();
    made->next      = groups.load( std::memory_order_relaxed );
    made->group     = copy;
    made->pointSize = 1 + 2 * ( ( (size_t)EC_GROUP_get_degree( group ) + 7 ) / 8 );
    made->size      = curve.size();
    std::memcpy( made->curve, curve.data(), curve.size() );
    groups.store( made, std::memory_order_release );
}

// A SubjectPublicKeyInfo in DER of a key on a named curve.
struct PublicKey
{
    Bytes curve; // null data if the bytes are something else
    Bytes point;
};

PublicKey publicKeyIn( Bytes spki )
{
    Bytes content   = takeMinimal( spki, tagSequence );
    Bytes rest      = content;
    Bytes algorithm = takeMinimal( rest, tagSequence );
    Bytes bits      = takeMinimal( rest, tagBitString );
    if( !spki.empty() || !rest.empty() || bits.size() < 2 || bits[0] != 0 || !isFastPathAlgorithm( algorithm ) )
        return {};
    // For an RSA key, the parameters are no OID.
    takeMinimal( algorithm, tagOid );
    Bytes curve = takeMinimal( algorithm, tagOid );
    return curve.empty() || curve.size() > longestCurve || !algorithm.empty() ? PublicKey() : PublicKey{ curve, bits.substr( 1 ) };
}

constexpr size_t longestSpki = 255 + 3;

// Reads one SEQUENCE with a short header. Null data if there is something else, and then any number
// of bytes may have been read.
Bytes readSequence( OSSL_CORE_BIO *from, PB_BYTE ( &memory )[longestSpki] )
{
    auto read = [&]( PB_BYTE *to, size_t size ) {
        size_t got = 0;
        return readFrom( from, to, size, &got ) == 1 && got == size;
    };
    size_t header = 2;
    if( !read( memory, header ) || memory[0] != tagSequence )
        return {};
    size_t size = memory[1];
    if( size == 0x81 )
    {
        if( !read( memory + header, 1 ) )
            return {};
        size = memory[header++];
    }
    else if( size >= 0x80 )
        return {};
    return size && read( memory + header, size ) ? Bytes( memory, header + size ) : Bytes();
}

// Only a valid, uncompressed point gives a key.
EC_KEY *tryMakeKey( const KeptGroup &kept, Bytes point )
{
    if( point.size() != kept.pointSize || point[0] != uncompressedPoint )
        return nullptr;
    ErrorMark detour;
    EC_KEY   *key = EC_KEY_new_ex( libraryOfKeys, nullptr );
    if( key && EC_KEY_set_group( key, kept.group ) == 1 && EC_KEY_oct2key( key, point.data(), point.size(), nullptr ) == 1 )
    {
        keysMade++;
        return key;
    }
    EC_KEY_free( key );
    return nullptr;
}

// Gives the key to OpenSSL in the form in which the original decoder does that. OpenSSL takes it by
// setting the pointer to null.
int handOver( EC_KEY *key, OSSL_CALLBACK *receive, void *receiver )
{
    static constexpr char keyType[] = "EC";

    int        type         = OSSL_OBJECT_PKEY;
    OSSL_PARAM parameters[] = { OSSL_PARAM_construct_int( OSSL_OBJECT_PARAM_TYPE, &type ),
        OSSL_PARAM_construct_utf8_string( OSSL_OBJECT_PARAM_DATA_TYPE, const_cast<char *>( keyType ), 0 ),
        OSSL_PARAM_construct_octet_string( OSSL_OBJECT_PARAM_REFERENCE, (void *)&key, sizeof key ), OSSL_PARAM_construct_end() };
    int        taken        = receive( parameters, receiver );
    EC_KEY_free( key );
    return taken;
}

// Stands between the original decoder and OpenSSL, to keep the group of a curve that is new.
struct Learner
{
    Bytes          curve;
    OSSL_CALLBACK *receive;
    void          *receiver;
};

int learn( const OSSL_PARAM parameters[], void *argument )
{
    auto             *learner   = (Learner *)argument;
    const OSSL_PARAM *reference = OSSL_PARAM_locate_const( parameters, OSSL_OBJECT_PARAM_REFERENCE );
    if( reference && reference->data_size == sizeof( EC_KEY * ) )
    {
        const EC_KEY   *key   = *(EC_KEY *const *)reference->data;
        const EC_GROUP *group = key ? EC_KEY_get0_group( key ) : nullptr;
        if( group && EC_GROUP_get_curve_name( group ) != NID_undef )
            keepGroup( learner->curve, group );
    }
    return learner->receive( parameters, learner->receiver );
}

int decode( void *context, OSSL_CORE_BIO *from, int selection, OSSL_CALLBACK *receive, void *receiver, OSSL_PASSPHRASE_CALLBACK *passPhrase,
    void *passPhraseArgument )
{
    auto decodeBy = [&]( OSSL_CALLBACK *receiveFirst, void *firstReceiver ) {
        return decodeOriginally( context, from, selection, receiveFirst, firstReceiver, passPhrase, passPhraseArgument );
    };
    bool used  = shortcutsUsed() && keptUsed.load( std::memory_order_relaxed ) && ( selection & OSSL_KEYMGMT_SELECT_PUBLIC_KEY );
    long start = used ? control( from, BIO_C_FILE_TELL, 0, nullptr ) : -1;
    if( start < 0 )
        return decodeBy( receive, receiver );

    PB_BYTE          memory[longestSpki];
    PublicKey        given = publicKeyIn( readSequence( from, memory ) );
    const KeptGroup *kept  = given.curve.empty() ? nullptr : findGroup( given.curve );
    if( EC_KEY *key = kept ? tryMakeKey( *kept, given.point ) : nullptr )
        return handOver( key, receive, receiver );

    // The original decoder reads the same bytes again.
    if( control( from, BIO_C_FILE_SEEK, start, nullptr ) < 0 )
        return 1;
    if( kept || given.curve.empty() )
        return decodeBy( receive, receiver );
    Learner learner = { given.curve, receive, receiver };
    return decodeBy( learn, &learner );
}

}

const OSSL_DISPATCH *wrapEcDecoder( const OSSL_DISPATCH *functions, OSSL_LIB_CTX *library, const OSSL_DISPATCH *core )
{
    for( ; core->function_id; core++ )
    {
        if( core->function_id == OSSL_FUNC_BIO_READ_EX )
            readFrom = OSSL_FUNC_BIO_read_ex( core );
        else if( core->function_id == OSSL_FUNC_BIO_CTRL )
            control = OSSL_FUNC_BIO_ctrl( core );
    }
    size_t count = 0;
    for( const OSSL_DISPATCH *each = functions; each->function_id; each++ )
    {
        if( count + 1 == wrapped.size() )
            return functions;
        wrapped[count] = *each;
        if( each->function_id == OSSL_FUNC_DECODER_DECODE )
        {
            decodeOriginally        = OSSL_FUNC_decoder_decode( each );
            wrapped[count].function = (void ( * )())decode;
        }
        count++;
    }
    wrapped[count] = {};
    libraryOfKeys  = library;
    return decodeOriginally && readFrom && control ? wrapped.data() : functions;
}

size_t keysOnKeptGroups() { return keysMade; }

void setKeptGroupsUsed( bool used ) { keptUsed.store( used, std::memory_order_relaxed ); }

}
