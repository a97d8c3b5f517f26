// An immutable object that is an OpenSSL object together with its canonical PEM: the text that OpenSSL writes of it, by which it is compared and stored. Each such
// type has a struct with a field `pem`, and traits:
//
//   Object, Handle                   the struct and OpenSSL's type
//   Handle *Object::*const handle    the field of the OpenSSL object
//   Handle *tryRead( CRY_PEM * )     what OpenSSL reads from a PEM object, or null
//   pb::Ref<CRY_PEM> tryWrite( Handle * )
//   int upRef( Handle * )            1 on success
//   Handle *dup( Handle * )
//
// No contract is checked here; the exported functions check in their own words.
#pragma once

#include "base/cry_pem.hpp"
#include "common/cry_ossl.hpp"

#include <cry/internal/cry_pem.h>

namespace cry::ossl
{

template<class Traits>
struct PemObject
{
    using Object = typename Traits::Object;
    using Handle = typename Traits::Handle;

    // Takes the handle over, also when it fails.
    static Object *tryCreateUse( Handle *handle )
    {
        Object *obj = createUse( handle, Traits::tryWrite( handle ) );
        if( obj->pem )
            return obj;
        pb::releaseOrNull( obj );
        return nullptr;
    }

    // Where the canonical text is known.
    static Object *createUse( Handle *handle, pb::Ref<CRY_PEM> canonical )
    {
        Object *obj          = pb::create<Object>();
        obj->*Traits::handle = handle;
        obj->pem             = canonical.take();
        return obj;
    }

    static Object *tryCreateUpRef( Handle *handle ) { return Traits::upRef( handle ) == 1 ? tryCreateUse( handle ) : nullptr; }

    static Object *tryCreateCopy( Handle *handle ) { return tryCreateUseOrNull( Traits::dup( handle ) ); }

    static Object *tryCreateFromPem( CRY_PEM *pem ) { return tryCreateUseOrNull( Traits::tryRead( pem ) ); }

    static Object *tryRestore( PB_STORE *store )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryRestore( store ) );
        return pem ? tryCreateFromPem( pem.get() ) : nullptr;
    }

    static Object *tryCreateUseOrNull( Handle *handle ) { return handle ? tryCreateUse( handle ) : nullptr; }
};

// A memory BIO whose end is an end, not a reason to try again.
inline Ptr<BIO> memoryBio( pb::Site site )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    PB_CHECK_AT( site, bio );
    BIO_set_mem_eof_return( bio.get(), 0 );
    return bio;
}

// For OpenSSL's PEM readers: there is no pass phrase, so what is protected by one does not load.
inline int noPassPhrase( char *, int, int, void * ) { return 0; }

// What one of OpenSSL's PEM_read_bio functions makes of the text of a PEM object.
template<class Handle>
Handle *readThroughText( CRY_PEM *pem, Handle *( *read )(BIO *, Handle **, pem_password_cb *, void *), pb::Site site = pb::Site::here() )
{
    Ptr<BIO> bio = memoryBio( site );
    return cry___PemEncodeToBio( pem, bio.get() ) ? read( bio.get(), nullptr, noPassPhrase, nullptr ) : nullptr;
}

// The PEM object of the text that `write( bio )` writes; a result of exactly 1 is success.
pb::Ref<CRY_PEM> writeThroughText( auto write, pb::Site site = pb::Site::here() )
{
    Ptr<BIO> bio = memoryBio( site );
    if( write( bio.get() ) != 1 )
        return {};
    return pb::adopt( cry___PemTryDecodeFromBio( bio.get() ) );
}

}
