// An immutable object that holds an OpenSSL object and its canonical PEM. The canonical PEM is the
// text that OpenSSL writes for it; comparing and storing use that text. Each such type has a struct
// with a field `pem`, and traits:
//
//   Object, Handle                          the struct and OpenSSL's type
//   Handle *Object::*const handle           the field of the OpenSSL object
//   Reading<Handle> tryRead( CRY_PEM * )    what OpenSSL reads from a PEM object
//   pb::Ref<CRY_PEM> tryWrite( Handle * )   the canonical text, or null if OpenSSL cannot write it
//   int upRef( Handle * )                   1 on success
//   Handle *dup( Handle * )
//
// If the canonical text is the DER in base 64 under one label, tryWrite uses encodeUnderLabel, and
// tryRead ends with withCanonical. No contract is checked here: the exported functions check, with
// texts of their own.
//
// A type can make its OpenSSL object at the first use. Then the field is a pb::Published, the
// struct has a field `deferred`, and the traits also have:
//
//   bool isCanonical( CRY_PEM * )           whether the PEM object is canonical, and OpenSSL surely
//                                           reads it
//   Handle *parse( CRY_PEM * )              the OpenSSL object of such a PEM object
#pragma once

#include "base/cry_pem.hpp"
#include "base/cry_pem_lines.hpp"
#include "common/cry_ossl.hpp"

#include <cry/internal/cry_pem.h>

#include <cstring>
#include <pb/published.hpp>

namespace cry::ossl
{

// Reading: an OpenSSL object that was read, or null, and its canonical text if that is known.
template<class Handle>
struct Reading
{
    Handle          *handle;
    pb::Ref<CRY_PEM> canonical;
};

// Deferring: the traits of a type that can make its OpenSSL object at the first use.
template<class Traits>
concept Deferring = requires( CRY_PEM *pem ) {
    Traits::isCanonical( pem );
    Traits::parse( pem );
};

template<class Traits>
struct PemObject
{
    using Object = typename Traits::Object;
    using Handle = typename Traits::Handle;

    // Takes the handle over, also on failure.
    static Object *tryCreateUse( Handle *handle )
    {
        Object *obj = createUse( handle, Traits::tryWrite( handle ) );
        if( obj->pem )
            return obj;
        pb::releaseOrNull( obj );
        return nullptr;
    }

    // For a handle whose canonical text is known.
    static Object *createUse( Handle *handle, pb::Ref<CRY_PEM> canonical )
    {
        Object *obj = pb::create<Object>();
        if constexpr( Deferring<Traits> )
            ( obj->*Traits::handle ).set( handle );
        else
            obj->*Traits::handle = handle;
        obj->pem = canonical.take();
        return obj;
    }

    // For a canonical text that OpenSSL surely reads.
    static Object *createDeferred( pb::Ref<CRY_PEM> canonical )
    {
        Object *obj   = createUse( nullptr, std::move( canonical ) );
        obj->deferred = PB_TRUE;
        return obj;
    }

    // The OpenSSL object; null only if there is no memory for making it.
    static Handle *handleOf( Object *obj )
    {
        if constexpr( Deferring<Traits> )
            return ( obj->*Traits::handle ).getOrMake( [obj] { return Traits::parse( obj->pem ); } );
        else
            return obj->*Traits::handle;
    }

    static Object *tryCreateUpRef( Handle *handle ) { return Traits::upRef( handle ) == 1 ? tryCreateUse( handle ) : nullptr; }

    static Object *tryCreateCopy( Handle *handle ) { return tryCreateUseOrNull( Traits::dup( handle ) ); }

    static Object *tryCreateFromPem( CRY_PEM *pem )
    {
        if constexpr( Deferring<Traits> )
        {
            if( Traits::isCanonical( pem ) )
                return createDeferred( pb::share( pem ) );
        }
        Reading<Handle> reading = Traits::tryRead( pem );
        if( reading.canonical )
            return createUse( reading.handle, std::move( reading.canonical ) );
        return tryCreateUseOrNull( reading.handle );
    }

    static Object *tryRestore( PB_STORE *store )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryRestore( store ) );
        return pem ? tryCreateFromPem( pem.get() ) : nullptr;
    }

    static Object *tryCreateUseOrNull( Handle *handle ) { return handle ? tryCreateUse( handle ) : nullptr; }
};

// A memory BIO that reports the end of its data as the end, not as a reason to try again.
inline Ptr<BIO> memoryBio( pb::Site site )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    PB_CHECK_AT( site, bio );
    BIO_set_mem_eof_return( bio.get(), 0 );
    return bio;
}

// Gives OpenSSL's PEM readers an empty pass phrase, so a text with another pass phrase does not
// load.
inline int noPassPhrase( char *, int, int, void * ) { return 0; }

// The object that one of OpenSSL's PEM_read_bio functions reads from the text of a PEM object.
template<class Handle>
Handle *readThroughText( CRY_PEM *pem, Handle *( *read )(BIO *, Handle **, pem_password_cb *, void *), pb::Site site = pb::Site::here() )
{
    Ptr<BIO> bio = memoryBio( site );
    return cry___PemEncodeToBio( pem, bio.get() ) ? read( bio.get(), nullptr, noPassPhrase, nullptr ) : nullptr;
}

// The PEM object of the text that `write( bio )` writes; only the result 1 of `write` means
// success.
pb::Ref<CRY_PEM> writeThroughText( auto write, pb::Site site = pb::Site::here() )
{
    Ptr<BIO> bio = memoryBio( site );
    if( write( bio.get() ) != 1 )
        return {};
    return pb::adopt( cry___PemTryDecodeFromBio( bio.get() ) );
}

// Encode: one of OpenSSL's i2d functions, for example i2d_X509.
template<class Handle>
using Encode = int( const Handle *handle, unsigned char **to );

// The PEM object with the DER of a handle under a label; null if OpenSSL cannot encode it.
template<class Handle>
pb::Ref<CRY_PEM> encodeUnderLabel( Encode<Handle> *encode, const Handle *handle, const char *label )
{
    int length = encode( handle, nullptr );
    if( length <= 0 )
        return {};
    PB_BYTE           *der;
    pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( length, &der ) );
    if( encode( handle, &der ) != length )
        return {};
    return pem::create( pem::labelString( label ), std::move( data ) );
}

// Whether the data of a PEM object is the DER that OpenSSL writes for a handle. It may be BER,
// which OpenSSL reads but does not write.
template<class Handle>
bool isEncodingOf( Encode<Handle> *encode, const Handle *handle, PB_BUFFER *data )
{
    PB_BYTE        room[4096];
    unsigned char *at     = room;
    int            length = encode( handle, nullptr );
    return length > 0 && length <= (int)sizeof room && length == pbBufferLength( data ) && encode( handle, &at ) == length &&
        std::memcmp( room, pbBufferBytes( data ), (size_t)length ) == 0;
}

// The handle that was read from a PEM object. The canonical text of this type is the DER under a
// label. If the PEM object is canonical already, the result shares it.
template<class Handle>
Reading<Handle> withCanonical( Handle *handle, Encode<Handle> *encode, CRY_PEM *pem, const char *label )
{
    if( handle && pem::hasLabel( pem, label ) && !pbBufferSensitive( pem::data( pem ) ) && isEncodingOf( encode, handle, pem::data( pem ) ) )
        return { handle, pb::share( pem ) };
    return { handle, {} };
}

}
