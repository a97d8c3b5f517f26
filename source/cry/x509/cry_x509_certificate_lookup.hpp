// OpenSSL stores that find certificates in place of holding them.
#pragma once

#include <cry/cry_x509_certificates.h>
#include <pb/containers.hpp>
#include <pb/sort.hpp>

#include <openssl/x509.h>
#include <span>

namespace cry::x509
{

// SubjectIndex: the places of certificates in a vector, by their subjects.
class SubjectIndex
{
public:
    explicit SubjectIndex( PB_VECTOR *certificates );

    struct Entry
    {
        PB_INT key; // of openssl___TrySubjectKey
        PB_INT place;
    };

    // False if the key of a subject is not known. Then a store must hold all certificates.
    bool complete() const { return known; }

    // The certificates whose subject may have this key, each once, in the order of the vector.
    std::span<const Entry> find( PB_INT key ) const;

    // All certificates, each once; those of one subject are in the order of the vector.
    std::span<const Entry> all() const { return entries; }

    // All certificates, each once, in the order of the vector.
    pb::StdVector<Entry> inOrder() const;

private:
    pb::StdVector<Entry> entries; // in the order of their keys, then of their places
    bool                 known = true;
};

// The index of a collection, which is made at the first use and kept.
const SubjectIndex &subjectIndex( CRY_X509_CERTIFICATES *certs );

// A new OpenSSL store with all certificates of a collection, as X509_STORE_add_cert makes it: each
// once, and in order. That function is slower, since it sorts the whole store for each certificate.
X509_STORE *createStore( CRY_X509_CERTIFICATES *certs );

enum class Collection
{
    lent, // it lives longer than the store
    held  // the store keeps a reference
};

// A new OpenSSL store that takes a certificate from the collection when a verification asks for its
// subject, with all others of that subject, in their order. The others are never parsed.
X509_STORE *createLookupStore( CRY_X509_CERTIFICATES *certs, Collection collection );

// Adds the certificates that such a store does not hold yet. They are in the order of the
// collection as long as no verification used the store. For stores that others see.
void fillLookupStore( X509_STORE *x509Store );

}

template<>
struct pb::Field<cry::x509::SubjectIndex *>
{
    static void release( cry::x509::SubjectIndex *&field )
    {
        pb::destroy( field );
        pb::setPoison( field );
    }
};
