#include "x509/cry_x509_certificate_lookup.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <openssl_module/internal/openssl_module.h>
#include <pb/ref.hpp>

#include "x509/cry_x509_certificate.hpp"
#include "x509/cry_x509_certificates.hpp"

#include <algorithm>
#include <atomic>
#include <string_view>

using cry::x509::SubjectIndex;

namespace
{

std::string_view derOf( PB_VECTOR *certificates, PB_INT place )
{
    PB_BUFFER *der = cry::x509::peekDer( pb::peekAt<CRY_X509_CERTIFICATE>( certificates, place ) );
    return { (const char *)pbBufferBytes( der ), (size_t)pbBufferLength( der ) };
}

// Lookup: the part of a store that finds certificates in a collection.
struct Lookup
{
    pb::Ref<CRY_X509_CERTIFICATES> held; // null if the collection is lent
    PB_VECTOR                     *certificates;
    const SubjectIndex            *index;
    // 1 for each that the store holds. The store's lock guards it; it is atomic only because
    // ThreadSanitizer does not see OpenSSL's locks.
    pb::StdVector<std::atomic<PB_BYTE>> added;
    std::atomic<bool>                   asked{ false };  // a verification searched the store
    std::atomic<bool>                   filled{ false }; // the store holds all
};

X509 *peekAt( const Lookup *lookup, PB_INT place )
{
    return cry___X509CertificatePeekOpensslX509( pb::peekAt<CRY_X509_CERTIFICATE>( lookup->certificates, place ) );
}

void push( STACK_OF( X509_OBJECT ) * objects, X509 *x509 )
{
    X509_OBJECT *object = X509_OBJECT_new();
    PB_CHECK( object );
    PB_CHECK( X509_OBJECT_set1_X509( object, x509 ) > 0 );
    PB_CHECK( sk_X509_OBJECT_push( objects, object ) > 0 );
}

// Adds the certificates that the store does not hold yet. A verification on another thread sees all
// of them or none, since those of one subject compete.
void add( X509_STORE *x509Store, Lookup *lookup, std::span<const SubjectIndex::Entry> entries )
{
    // Parsed before the lock is taken.
    for( const SubjectIndex::Entry &entry : entries )
        peekAt( lookup, entry.place );
    PB_CHECK( X509_STORE_lock( x509Store ) );
    STACK_OF( X509_OBJECT ) *objects = X509_STORE_get0_objects( x509Store );
    for( const SubjectIndex::Entry &entry : entries )
    {
        if( !lookup->added[(size_t)entry.place].exchange( 1, std::memory_order_relaxed ) )
            push( objects, peekAt( lookup, entry.place ) );
    }
    // OpenSSL sorts them at each search.
    if( lookup->asked.load( std::memory_order_relaxed ) )
        sk_X509_OBJECT_sort( objects );
    X509_STORE_unlock( x509Store );
}

// OpenSSL has searched the store before it asks. Another thread may have filled it since then.
int findHeld( X509_STORE *x509Store, const X509_NAME *name, X509_OBJECT *result )
{
    PB_CHECK( X509_STORE_lock( x509Store ) );
    X509_OBJECT *held  = X509_OBJECT_retrieve_by_subject( X509_STORE_get0_objects( x509Store ), X509_LU_X509, name );
    X509        *x509  = held ? X509_OBJECT_get0_X509( held ) : nullptr;
    bool         found = x509 && X509_OBJECT_set1_X509( result, x509 ) == 1;
    if( found )
        X509_free( x509 );
    X509_STORE_unlock( x509Store );
    return found;
}

// Called by OpenSSL for a name that no certificate of the store has. OpenSSL takes a reference of
// its own to the result.
int findBySubject( X509_LOOKUP *x509Lookup, X509_LOOKUP_TYPE type, const X509_NAME *name, X509_OBJECT *result )
{
    auto *lookup = (Lookup *)X509_LOOKUP_get_method_data( x509Lookup );
    if( type != X509_LU_X509 || !lookup )
        return 0;
    X509_STORE *x509Store = X509_LOOKUP_get_store( x509Lookup );
    if( lookup->filled.load( std::memory_order_acquire ) )
        return findHeld( x509Store, name, result );
    lookup->asked.store( true, std::memory_order_relaxed );
    PB_INT                               key;
    std::span<const SubjectIndex::Entry> found = openssl___TryNameKey( name, &key ) ? lookup->index->find( key ) : lookup->index->all();
    if( found.empty() )
        return 0;
    add( x509Store, lookup, found );
    for( const SubjectIndex::Entry &entry : found )
    {
        X509 *x509 = peekAt( lookup, entry.place );
        if( X509_NAME_cmp( X509_get_subject_name( x509 ), name ) != 0 )
            continue;
        if( X509_OBJECT_set1_X509( result, x509 ) != 1 )
            return -1;
        X509_free( x509 );
        return 1;
    }
    return 0;
}

void freeLookup( X509_LOOKUP *x509Lookup ) { pb::destroy( (Lookup *)X509_LOOKUP_get_method_data( x509Lookup ) ); }

X509_LOOKUP_METHOD *createMethod()
{
    X509_LOOKUP_METHOD *made = X509_LOOKUP_meth_new( "collection of certificates" );
    PB_CHECK( made );
    X509_LOOKUP_meth_set_get_by_subject( made, findBySubject );
    X509_LOOKUP_meth_set_free( made, freeLookup );
    return made;
}

// OpenSSL cannot list the lookups of a store, so a store has its lookup beside it, too.
int lookupPlace()
{
    static int place = X509_STORE_get_ex_new_index( 0, nullptr, nullptr, nullptr, nullptr );
    return place;
}

X509_LOOKUP_METHOD *method()
{
    static X509_LOOKUP_METHOD *only = createMethod();
    return only;
}

}

cry::x509::SubjectIndex::SubjectIndex( PB_VECTOR *certificates )
{
    PB_INT length = pbVectorLength( certificates );
    entries.reserve( (size_t)length );
    for( PB_INT place = 0; place < length; place++ )
    {
        std::string_view der = derOf( certificates, place );
        Entry            entry{ 0, place };
        known = known && openssl___TrySubjectKey( (const PB_BYTE *)der.data(), (PB_INT)der.size(), &entry.key );
        entries.push_back( entry );
    }
    if( !known )
    {
        for( Entry &entry : entries )
            entry.key = 0;
    }
    // Equal certificates stand together for a moment, so that only the first one of them is kept.
    std::sort( entries.begin(), entries.end(), [=]( const Entry &a, const Entry &b ) {
        int order = a.key != b.key ? 0 : derOf( certificates, a.place ).compare( derOf( certificates, b.place ) );
        return a.key != b.key ? a.key < b.key : order ? order < 0 : a.place < b.place;
    } );
    auto end = std::unique( entries.begin(), entries.end(),
        [=]( const Entry &a, const Entry &b ) { return a.key == b.key && derOf( certificates, a.place ) == derOf( certificates, b.place ); } );
    entries.erase( end, entries.end() );
    std::sort( entries.begin(), entries.end(), []( const Entry &a, const Entry &b ) { return a.key != b.key ? a.key < b.key : a.place < b.place; } );
}

std::span<const SubjectIndex::Entry> cry::x509::SubjectIndex::find( PB_INT key ) const
{
    auto [first, last] = std::equal_range(
        entries.begin(), entries.end(), Entry{ key, 0 }, []( const Entry &a, const Entry &b ) { return a.key < b.key; } );
    return { first, last };
}

pb::StdVector<SubjectIndex::Entry> cry::x509::SubjectIndex::inOrder() const
{
    pb::StdVector<Entry> list = entries;
    std::sort( list.begin(), list.end(), []( const Entry &a, const Entry &b ) { return a.place < b.place; } );
    return list;
}

X509_STORE *cry::x509::createStore( CRY_X509_CERTIFICATES *certs )
{
    X509_STORE *x509Store = X509_STORE_new();
    PB_CHECK( x509Store );
    STACK_OF( X509_OBJECT ) *objects = X509_STORE_get0_objects( x509Store );
    for( const SubjectIndex::Entry &entry : subjectIndex( certs ).inOrder() )
        push( objects, cry___X509CertificatePeekOpensslX509( pb::peekAt<CRY_X509_CERTIFICATE>( peekVector( certs ), entry.place ) ) );
    return x509Store;
}

X509_STORE *cry::x509::createLookupStore( CRY_X509_CERTIFICATES *certs, Collection collection )
{
    const SubjectIndex &index = subjectIndex( certs );
    if( !openssl___ShortcutsUsed() || !index.complete() )
        return createStore( certs );
    X509_STORE *x509Store = X509_STORE_new();
    PB_CHECK( x509Store );
    X509_LOOKUP *x509Lookup = X509_STORE_add_lookup( x509Store, method() );
    PB_CHECK( x509Lookup );
    PB_VECTOR *vec    = peekVector( certs );
    auto      *lookup = pb::make<Lookup>( collection == Collection::held ? pb::share( certs ) : pb::Ref<CRY_X509_CERTIFICATES>(), vec, &index,
        pb::StdVector<std::atomic<PB_BYTE>>( (size_t)pbVectorLength( vec ) ) );
    PB_CHECK( X509_LOOKUP_set_method_data( x509Lookup, lookup ) );
    PB_CHECK( X509_STORE_set_ex_data( x509Store, lookupPlace(), lookup ) );
    return x509Store;
}

void cry::x509::fillLookupStore( X509_STORE *x509Store )
{
    auto *lookup = (Lookup *)X509_STORE_get_ex_data( x509Store, lookupPlace() );
    if( !lookup || lookup->filled.load( std::memory_order_acquire ) )
        return;
    add( x509Store, lookup, lookup->index->inOrder() );
    lookup->filled.store( true, std::memory_order_release );
}
