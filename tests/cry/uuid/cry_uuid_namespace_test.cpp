#include <cry/cry_uuid.h>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

TEST( CryUuidNamespace, AreTheStandardOnes )
{
    struct
    {
        CRY_UUID *( *create )();
        const char *text;
    } spaces[] = {
        { cryUuidNamespaceDns, "6ba7b810-9dad-11d1-80b4-00c04fd430c8" },
        { cryUuidNamespaceUrl, "6ba7b811-9dad-11d1-80b4-00c04fd430c8" },
        { cryUuidNamespaceOid, "6ba7b812-9dad-11d1-80b4-00c04fd430c8" },
        { cryUuidNamespaceX500, "6ba7b814-9dad-11d1-80b4-00c04fd430c8" },
    };
    for( const auto &each : spaces )
    {
        pb::Ref<CRY_UUID> uuid = pb::adopt( each.create() );
        EXPECT_EQ( text( pb::adopt( cryUuidToString( uuid.get() ) ) ), each.text );
        EXPECT_EQ( cryUuidVariant( uuid.get() ), CRY_UUID_VARIANT_STANDARD );
        EXPECT_EQ( cryUuidVersion( uuid.get() ), 1 );
    }
}

TEST( CryUuidNamespace, AreNewObjectsEachTime )
{
    for( CRY_UUID *( *create )() : { cryUuidNamespaceDns, cryUuidNamespaceUrl, cryUuidNamespaceOid, cryUuidNamespaceX500 } )
    {
        pb::Ref<CRY_UUID> first = pb::adopt( create() ), second = pb::adopt( create() );
        EXPECT_NE( first.get(), second.get() );
        EXPECT_TRUE( cryUuidEquals( first.get(), second.get() ) );
        EXPECT_FALSE( pbObjIsShared( first.obj() ) );
    }
}
