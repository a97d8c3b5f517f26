// The contracts of every type that holds an OpenSSL object and its canonical PEM.
#pragma once

#include "support/certificates.hpp"
#include "support/standard_functions.hpp"

// EXPECT_PEM_OBJECT_CHECKS( file, Type, STRUCT, name, OpensslType, handle, object ): `name` and
// `handle` are the names of the object and of the OpenSSL object in the checks of the type's
// functions. UpRef is not checked here, since not all types have it.
#define EXPECT_PEM_OBJECT_CHECKS( file, Type, STRUCT, name, OpensslType, handle, object )        \
    do                                                                                           \
    {                                                                                            \
        EXPECT_STANDARD_CHECKS( file, cry, Type, STRUCT, name, object );                         \
        EXPECT_ABORT( file, "pem", cry##Type##TryCreateFromPem( nullptr ) );                     \
        EXPECT_ABORT( file, "store", cry##Type##TryRestore( nullptr ) );                         \
        EXPECT_ABORT( file, name, cry##Type##Pem( nullptr ) );                                   \
        EXPECT_ABORT( file, name, cry##Type##Store( nullptr ) );                                 \
        EXPECT_ABORT( file, name, cry___##Type##Peek##OpensslType( nullptr ) );                  \
        EXPECT_ABORT( file, handle, cry___##Type##TryCreateFrom##OpensslType##Use( nullptr ) );  \
        EXPECT_ABORT( file, handle, cry___##Type##TryCreateFrom##OpensslType##Copy( nullptr ) ); \
    }                                                                                            \
    while( 0 )

// EXPECT_CERTIFIED_KEY_CHECKS: the contracts of a type that holds a subject's public key.
#define EXPECT_CERTIFIED_KEY_CHECKS( file, Type, name, object, privateKey )                \
    do                                                                                     \
    {                                                                                      \
        EXPECT_ABORT( file, name, cry##Type##PublicKey( nullptr ) );                       \
        EXPECT_ABORT( file, name, cry##Type##HasPublicKey( nullptr ) );                    \
        EXPECT_ABORT( file, name, cry##Type##CheckPrivateKey( nullptr, privateKey ) );     \
        EXPECT_ABORT( file, name, cry##Type##CheckPrivateKey( nullptr, nullptr ) );        \
        EXPECT_ABORT( file, "privateKey", cry##Type##CheckPrivateKey( object, nullptr ) ); \
        EXPECT_TRUE( cry##Type##CheckPrivateKey( object, privateKey ) );                   \
    }                                                                                      \
    while( 0 )

namespace support
{

// The DER of something with a P-256 key, changed so that OpenSSL does not know the key's algorithm:
// id-ecPublicKey, 1.2.840.10045.2.1, becomes 1.2.840.10045.2.127.
inline std::string withUnknownKey( std::string der )
{
    static constexpr std::string_view ecPublicKey = "\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01";
    size_t                            at          = der.find( ecPublicKey );
    EXPECT_NE( at, der.npos );
    der.at( at + ecPublicKey.size() - 1 ) = 0x7F;
    return der;
}

}
