#include <pb/pb.h>

#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char vectorFile[] = "source/pb/containers/pb_vector.cpp";
static constexpr char dictFile[]   = "source/pb/containers/pb_dict.cpp";

TEST( PbContainersContracts, StandardFunctions )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a" } );
    pb::Ref<PB_DICT>   dict   = pb::adopt( pbDictCreate() );
    EXPECT_STANDARD_CHECKS( vectorFile, pb, Vector, PB_VECTOR, "vector", vector.get() );
    EXPECT_STANDARD_CHECKS( dictFile, pb, Dict, PB_DICT, "dict", dict.get() );
}

TEST( PbContainersContracts, VectorReaders )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
    EXPECT_ABORT( vectorFile, "source", pbVectorCreateFrom( nullptr ) );
    EXPECT_ABORT( vectorFile, "vector", pbVectorLength( nullptr ) );
    for( auto at : { pbVectorObjAt, pb___VectorPeekObjAt } )
    {
        EXPECT_ABORT( vectorFile, "vector", at( nullptr, 0 ) );
        EXPECT_ABORT( vectorFile, "index >= 0", at( vector.get(), -1 ) );
        EXPECT_ABORT( vectorFile, "index < pbVectorLength( vector )", at( vector.get(), 2 ) );
    }
    EXPECT_ABORT( vectorFile, "sort", pbVectorContainsOnly( vector.get(), nullptr ) );
    EXPECT_ABORT( vectorFile, "sort", pbVectorContainsOnly( nullptr, nullptr ) );
}

TEST( PbContainersContracts, VectorEditors )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
    pb::Ref<PB_VECTOR> empty  = pb::adopt( pbVectorCreate() );
    pb::Ref<PB_STRING> text   = str( "x" );
    PB_VECTOR         *none   = nullptr;
    for( auto add : { pbVectorAppendObj, pbVectorPrependObj } )
    {
        EXPECT_ABORT( vectorFile, "vector", add( nullptr, text.obj() ) );
        EXPECT_ABORT( vectorFile, "*vector", add( &none, text.obj() ) );
        EXPECT_ABORT( vectorFile, "obj", add( vector.handle(), nullptr ) );
    }

    EXPECT_ABORT( vectorFile, "vector", pbVectorInsertObj( nullptr, 0, text.obj() ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorInsertObj( &none, 0, text.obj() ) );
    EXPECT_ABORT( vectorFile, "index >= 0", pbVectorInsertObj( vector.handle(), -1, text.obj() ) );
    EXPECT_ABORT( vectorFile, "index <= pbVectorLength( *vector )", pbVectorInsertObj( vector.handle(), 3, text.obj() ) );
    EXPECT_ABORT( vectorFile, "obj", pbVectorInsertObj( vector.handle(), 2, nullptr ) );

    EXPECT_ABORT( vectorFile, "vector", pbVectorSetObjAt( nullptr, 0, text.obj() ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorSetObjAt( &none, 0, text.obj() ) );
    EXPECT_ABORT( vectorFile, "index >= 0", pbVectorSetObjAt( vector.handle(), -1, text.obj() ) );
    EXPECT_ABORT( vectorFile, "index < pbVectorLength( *vector )", pbVectorSetObjAt( vector.handle(), 2, text.obj() ) );
    EXPECT_ABORT( vectorFile, "obj", pbVectorSetObjAt( vector.handle(), 1, nullptr ) );

    EXPECT_ABORT( vectorFile, "vector", pbVectorDelObjAt( nullptr, 0 ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorDelObjAt( &none, 0 ) );
    EXPECT_ABORT( vectorFile, "index >= 0", pbVectorDelObjAt( vector.handle(), -1 ) );
    EXPECT_ABORT( vectorFile, "index < pbVectorLength( *vector )", pbVectorDelObjAt( vector.handle(), 2 ) );

    EXPECT_ABORT( vectorFile, "vector", pbVectorTakeFirst( nullptr ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorTakeFirst( &none ) );
    EXPECT_ABORT( vectorFile, "pbVectorLength( *vector ) > 0", pbVectorTakeFirst( empty.handle() ) );

    EXPECT_ABORT( vectorFile, "vector", pbVectorInsert( nullptr, 0, empty.get() ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorInsert( &none, 0, empty.get() ) );
    EXPECT_ABORT( vectorFile, "index >= 0", pbVectorInsert( vector.handle(), -1, empty.get() ) );
    EXPECT_ABORT( vectorFile, "index <= pbVectorLength( *vector )", pbVectorInsert( vector.handle(), 3, empty.get() ) );
    EXPECT_ABORT( vectorFile, "other", pbVectorInsert( vector.handle(), 2, nullptr ) );

    EXPECT_ABORT( vectorFile, "vector", pbVectorClear( nullptr ) );
    EXPECT_ABORT( vectorFile, "*vector", pbVectorClear( &none ) );

    // The refused calls edited nothing.
    EXPECT_EQ( texts( vector.get() ), ( std::vector<std::string>{ "a", "b" } ) );
}

TEST( PbContainersContracts, DictKeys )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    EXPECT_ABORT( dictFile, "source", pbDictCreateFrom( nullptr ) );
    // A null dictionary has no keys, but a null key breaks the contract.
    for( PB_DICT *each : { dict.get(), (PB_DICT *)nullptr } )
    {
        EXPECT_ABORT( dictFile, "key", pbDictObjKey( each, nullptr ) );
        EXPECT_ABORT( dictFile, "key", pbDictStringKey( each, nullptr ) );
        EXPECT_ABORT( dictFile, "key", pbDictHasObjKey( each, nullptr ) );
        EXPECT_ABORT( dictFile, "key", pbDictHasStringKey( each, nullptr ) );
        EXPECT_ABORT( dictFile, "key", pbDictIdentifierKey( each, nullptr ) );
        EXPECT_ABORT( dictFile, "key", pbDictHasIdentifierKey( each, nullptr ) );
        EXPECT_EQ( pbDictIntKey( each, 1 ), nullptr );
        EXPECT_FALSE( pbDictHasIntKey( each, 1 ) );
        EXPECT_EQ( pbDictLength( each ), 0 );
    }
}

TEST( PbContainersContracts, DictEditors )
{
    pb::Ref<PB_DICT>   dict = pb::adopt( pbDictCreate() );
    pb::Ref<PB_STRING> text = str( "x" );
    PB_DICT           *none = nullptr;
    EXPECT_ABORT( dictFile, "dict", pbDictSetObjKey( nullptr, text.obj(), text.obj() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictSetObjKey( &none, text.obj(), text.obj() ) );
    EXPECT_ABORT( dictFile, "key", pbDictSetObjKey( dict.handle(), nullptr, text.obj() ) );
    EXPECT_ABORT( dictFile, "value", pbDictSetObjKey( dict.handle(), text.obj(), nullptr ) );
    EXPECT_ABORT( dictFile, "dict", pbDictSetStringKey( nullptr, text.get(), text.obj() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictSetStringKey( &none, text.get(), text.obj() ) );
    EXPECT_ABORT( dictFile, "key", pbDictSetStringKey( dict.handle(), nullptr, text.obj() ) );
    EXPECT_ABORT( dictFile, "value", pbDictSetStringKey( dict.handle(), text.get(), nullptr ) );
    pb::Ref<PB_IDENTIFIER> ident = pb::adopt( pbIdentifierCreate() );
    EXPECT_ABORT( dictFile, "dict", pbDictSetIdentifierKey( nullptr, ident.get(), text.obj() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictSetIdentifierKey( &none, ident.get(), text.obj() ) );
    EXPECT_ABORT( dictFile, "key", pbDictSetIdentifierKey( dict.handle(), nullptr, text.obj() ) );
    EXPECT_ABORT( dictFile, "value", pbDictSetIdentifierKey( dict.handle(), ident.get(), nullptr ) );
    EXPECT_ABORT( dictFile, "dict", pbDictSetIntKey( nullptr, 1, text.obj() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictSetIntKey( &none, 1, text.obj() ) );
    EXPECT_ABORT( dictFile, "value", pbDictSetIntKey( dict.handle(), 1, nullptr ) );

    EXPECT_ABORT( dictFile, "dict", pbDictDelObjKey( nullptr, text.obj() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictDelObjKey( &none, text.obj() ) );
    EXPECT_ABORT( dictFile, "key", pbDictDelObjKey( dict.handle(), nullptr ) );
    EXPECT_ABORT( dictFile, "dict", pbDictDelStringKey( nullptr, text.get() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictDelStringKey( &none, text.get() ) );
    EXPECT_ABORT( dictFile, "key", pbDictDelStringKey( dict.handle(), nullptr ) );
    EXPECT_ABORT( dictFile, "dict", pbDictDelIdentifierKey( nullptr, ident.get() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictDelIdentifierKey( &none, ident.get() ) );
    EXPECT_ABORT( dictFile, "key", pbDictDelIdentifierKey( dict.handle(), nullptr ) );
    EXPECT_ABORT( dictFile, "dict", pbDictDelIntKey( nullptr, 1 ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictDelIntKey( &none, 1 ) );

    EXPECT_ABORT( dictFile, "dict", pbDictInclude( nullptr, dict.get() ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictInclude( &none, dict.get() ) );
    EXPECT_ABORT( dictFile, "dict", pbDictClear( nullptr ) );
    EXPECT_ABORT( dictFile, "*dict", pbDictClear( &none ) );
    EXPECT_EQ( pbDictLength( dict.get() ), 0 );
}

TEST( PbContainersContracts, ExhaustedMemory )
{
    pb::Ref<PB_STRING> value = str( "value" );
    // One object for the dictionary, one for the tree, one for each pair and each boxed key.
    EXPECT_EQ( expectAbortWhereverMemoryEnds( [&] {
        pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
        for( PB_INT key = 0; key < 10; key++ )
            pbDictSetIntKey( dict.handle(), key, value.obj() );
        pb::Ref<PB_DICT> copy = pb::adopt( pbDictCreateFrom( dict.get() ) );
        pbDictInclude( copy.handle(), dict.get() );
    } ),
        2u + 20u + 2u + 10u );
    // Here only the tree and the pair need memory.
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    EXPECT_EQ( expectAbortWhereverMemoryEnds( [&] { pbDictSetStringKey( dict.handle(), value.get(), value.obj() ); } ), 2u );

    // To compare nested vectors takes memory that grows with their depth.
    auto nested = [] {
        pb::Ref<PB_OBJ> inner = pb::share( pbStringObj( pbStringCreate() ) );
        for( int level = 0; level < 20; level++ )
        {
            pb::Ref<PB_VECTOR> outer = pb::adopt( pbVectorCreate() );
            pbVectorAppendObj( outer.handle(), inner.get() );
            inner = pb::share( outer.obj() );
        }
        return inner;
    };
    pb::Ref<PB_OBJ> a = nested(), b = nested();
    EXPECT_GE( expectAbortWhereverMemoryEnds( [&] { pbObjEquals( a.get(), b.get() ); } ), 1u );
}
