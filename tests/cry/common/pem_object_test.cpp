// Tests for all types that hold an OpenSSL object and its canonical PEM.
#include "cry/common/pem_object_suite.hpp"
#include "support/environment.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <pb/fields.hpp>
#include <pb/pb_mem.h>
#include <pb/pb_runtime.h>
#include <set>
#include <thread>

using namespace support;

namespace
{

using PemObjectTypes = testing::Types<CertificateType, CsrType, CrlType, PrivateType, PublicType>;

template<class Type>
class CryPemObject : public testing::Test, public PemObjects<Type>
{
protected:
    using Objects = PemObjects<Type>;
    using Object  = typename Objects::Object;
    using Handle  = typename Type::Handle;

    void TearDown() override { ERR_clear_error(); }

    static bool isSensitive( CRY_PEM *pem ) { return pbBufferSensitive( pb::adopt( cryPemData( pem ) ).get() ); }

    static Object use( Handle *handle ) { return pb::adopt( Type::use( handle ) ); }
    static Object copy( Handle *handle ) { return pb::adopt( Type::copy( handle ) ); }

    // UpRef, or Copy for a type that does not have it.
    static Object upRef( Handle *handle )
    {
        if constexpr( requires { Type::upRef; } )
            return pb::adopt( Type::upRef( handle ) );
        else
            return copy( handle );
    }

    // The same object, made in every possible way.
    static std::vector<Object> madeInAllWays( Handle *handle )
    {
        Block               block = Objects::block( handle );
        std::vector<Object> list  = { Objects::fromText( Objects::text( handle ) ), Objects::fromBlock( block ), Objects::fromStore( block ),
             use( Type::dup( handle ) ), upRef( handle ), copy( handle ) };
        for( const Block &form : Type::otherForms( handle ) )
        {
            list.push_back( Objects::fromBlock( form ) );
            list.push_back( Objects::fromStore( form ) );
        }
        return list;
    }
};

TYPED_TEST_SUITE( CryPemObject, PemObjectTypes, PemObjectNames );

// Canonical and other blocks of some samples, first of one type, then of all types.
template<class Type>
std::vector<Block> blocksOf()
{
    std::vector<Block> list;
    auto               samples = Type::samples();
    for( size_t index = 0; index < samples.size(); index += 4 )
    {
        list.push_back( PemObjects<Type>::block( samples[index].handle.get() ) );
        std::ranges::move( Type::otherForms( samples[index].handle.get() ), std::back_inserter( list ) );
    }
    return list;
}

template<class... Types>
std::vector<Block> blocksOf( testing::Types<Types...> )
{
    std::vector<Block> list;
    ( std::ranges::move( blocksOf<Types>(), std::back_inserter( list ) ), ... );
    return list;
}

// The body of a block without its line ends.
std::string joined( const std::string &text )
{
    size_t      from = text.find( '\n' ) + 1;
    std::string body = text.substr( from, text.find( "-----END" ) - from );
    std::erase( body, '\n' );
    return body;
}

int sign( PB_INT order ) { return order < 0 ? -1 : order > 0; }

// An allocator that keeps the first words of one piece of memory when that is given back.
struct Observed
{
    static inline const void *memory = nullptr;
    static inline void       *words[4];

    static void give( void *given )
    {
        if( given == memory )
            std::memcpy( words, given, sizeof words );
        std::free( given );
    }
    static constexpr PB_MEM_ALLOCATOR allocator = { std::malloc, std::realloc, give };
};

}

TYPED_TEST( CryPemObject, IsTheSameHoweverItWasMade )
{
    for( const auto &each : TypeParam::samples() )
    {
        std::string wanted = this->text( each.handle.get() );
        ASSERT_TRUE( wanted.starts_with( std::string( "-----BEGIN " ) + TypeParam::label + "-----\n" ) ) << each.name;
        auto first = this->fromText( wanted );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            for( const auto &obj : this->madeInAllWays( each.handle.get() ) )
            {
                ASSERT_TRUE( obj ) << each.name;
                EXPECT_EQ( this->canonical( obj ), wanted ) << each.name;
                EXPECT_EQ( this->text( TypeParam::peek( obj.get() ) ), wanted ) << each.name;
                EXPECT_TRUE( TypeParam::equals( first.get(), obj.get() ) ) << each.name;
                EXPECT_EQ( TypeParam::compare( first.get(), obj.get() ), 0 ) << each.name;
            }
        }
    }
}

TYPED_TEST( CryPemObject, SharesAPemThatIsCanonical )
{
    for( const auto &each : TypeParam::samples() )
    {
        Block              block     = this->block( each.handle.get() );
        pb::Ref<CRY_PEM>   given     = pem( block.label, block.body );
        auto               obj       = this->fromPem( given );
        pb::Ref<PB_BUFFER> sensitive = buf( block.body );
        pbBufferSetSensitive( sensitive.handle() );
        pb::Ref<CRY_PEM> marked = pem( block.label, "" );
        cryPemSetData( marked.handle(), sensitive.get() );
        auto ofMarked = this->fromPem( marked );
        ASSERT_TRUE( obj && ofMarked ) << each.name;
        EXPECT_EQ( this->pemOf( obj ).get() == given.get(), each.shared ) << each.name;
        bool sharesMarked = each.shared && TypeParam::sharesSensitive;
        EXPECT_EQ( this->pemOf( ofMarked ).get() == marked.get(), sharesMarked ) << each.name;
        EXPECT_EQ( this->isSensitive( this->pemOf( ofMarked ).get() ), sharesMarked || TypeParam::sensitive ) << each.name;
        for( const Block &form : TypeParam::otherForms( each.handle.get() ) )
        {
            pb::Ref<CRY_PEM> other = pem( form.label, form.body );
            EXPECT_NE( this->pemOf( this->fromPem( other ) ).get(), other.get() ) << each.name << ", " << form.label;
        }
    }
}

TYPED_TEST( CryPemObject, TheCallersPemMayChangeAfterwards )
{
    for( const auto &each : TypeParam::samples() )
    {
        std::string      wanted = this->text( each.handle.get() );
        Block            block  = this->block( each.handle.get() );
        pb::Ref<CRY_PEM> given  = pem( block.label, block.body );
        auto             obj    = this->fromPem( given );
        cryPemSetLabel( given.handle(), str( "OTHER" ).get() );
        cryPemSetData( given.handle(), buf( "other" ).get() );
        EXPECT_EQ( this->canonical( obj ), wanted ) << each.name;
        // The caller may also edit the PEM object that it gets.
        pb::Ref<CRY_PEM> out = this->pemOf( obj );
        cryPemSetData( out.handle(), buf( "other" ).get() );
        EXPECT_EQ( this->canonical( obj ), wanted ) << each.name;
    }
}

TYPED_TEST( CryPemObject, TakesLabelsAndBodiesExactlyAsOpensslDoes )
{
    std::vector<std::string> own = { "", "nonsense", "\x30\x80", std::string( 200, '\xA5' ) };
    std::set<std::string>    labels;
    for( const Block &block : blocksOf<TypeParam>() )
    {
        own.push_back( block.body );
        labels.insert( block.label );
    }
    for( const char *label : { "CERTIFICATE", "X509 CERTIFICATE", "TRUSTED CERTIFICATE", "CERTIFICATES", "certificate", "CERTIFICATE REQUEST",
             "NEW CERTIFICATE REQUEST", "OLD CERTIFICATE REQUEST", "CERTIFICATE REQUESTS", "certificate request", "REQUEST", "X509 CRL", "PKCS7",
             "CMS", "PRIVATE KEY", "RSA PRIVATE KEY", "EC PRIVATE KEY", "DSA PRIVATE KEY", "DH PRIVATE KEY", "ANY PRIVATE KEY",
             "ENCRYPTED PRIVATE KEY", "ED25519 PRIVATE KEY", "X PRIVATE KEY", "private key", "PUBLIC KEY", "RSA PUBLIC KEY", "EC PUBLIC KEY",
             "ANY PUBLIC KEY", "public key", "EC PARAMETERS", "A", "" } )
    {
        ASSERT_TRUE( cryPemLabelOk( str( label ).get() ) ) << label;
        for( const std::string &body : own )
            this->judge( { label, body }, hex( body.substr( 0, 8 ) ) + "..., " + std::to_string( body.size() ) );
    }
    // Bodies of other types under the labels of this type.
    std::vector<std::string> others;
    for( const Block &block : blocksOf( PemObjectTypes() ) )
        others.push_back( block.body );
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        unsigned char *bits   = nullptr;
        int            length = i2d_PublicKey( key( kind ).get(), &bits );
        others.emplace_back( (const char *)bits, (size_t)length );
        OPENSSL_free( bits );
        others.push_back( bodyOf( protectedText( key( kind ).get(), "pass phrase" ) ) );
    }
    for( const std::string &body : TypeParam::bodiesToDamage() )
    {
        for( const std::string &changed : { body + "tail", withLongerLength( body ), body.substr( 0, body.size() - 1 ), body.substr( 0, 40 ) } )
            others.push_back( changed );
    }
    for( const std::string &label : labels )
    {
        for( const std::string &body : others )
            this->judge( { label, body }, hex( body.substr( 0, 8 ) ) + "..., " + std::to_string( body.size() ) );
    }
}

TYPED_TEST( CryPemObject, TakesNothingOfAnotherType )
{
    std::set<std::string> labels;
    for( const Block &block : blocksOf<TypeParam>() )
        labels.insert( block.label );
    for( const Block &block : blocksOf( PemObjectTypes() ) )
    {
        bool own = labels.contains( block.label );
        EXPECT_EQ( (bool)this->fromBlock( block ), own ) << block.label;
        EXPECT_EQ( (bool)this->fromStore( block ), own ) << block.label;
        if( !own )
            EXPECT_FALSE( this->fromBlock( { TypeParam::label, block.body } ) ) << block.label;
    }
}

TYPED_TEST( CryPemObject, RefusesWhatIsCutOffAnywhere )
{
    for( const std::string &body : TypeParam::bodiesToDamage() )
    {
        for( size_t length = 0; length < body.size(); length++ )
            ASSERT_FALSE( this->fromBlock( { TypeParam::label, body.substr( 0, length ) } ) ) << length;
    }
}

TYPED_TEST( CryPemObject, EveryDamageIsJudgedAsOpensslJudgesIt )
{
    int good = 0, bad = 0;
    for( const std::string &body : TypeParam::bodiesToDamage() )
    {
        for( size_t at = 0; at < body.size(); at++ )
        {
            for( int flip : { 0x01, 0x20, 0x80, 0xFF } )
            {
                Block changed    = { TypeParam::label, body };
                changed.body[at] = (char)( changed.body[at] ^ flip );
                ( this->isTaken( changed, std::to_string( at ) + " ^ " + std::to_string( flip ) ) ? good : bad )++;
            }
        }
    }
    EXPECT_GT( good, 50 ) << "numbers and names may be changed anywhere";
    EXPECT_GT( bad, 50 ) << "the headers of elements may hardly be changed";
}

TYPED_TEST( CryPemObject, RefusesAnEncryptedBody )
{
    Block       block     = this->block( TypeParam::samples()[0].handle.get() );
    std::string encrypted = written( [&]( BIO *bio ) {
        i2d_of_void *encode = []( const void *from, unsigned char **to ) {
            const std::string &body = *(const std::string *)from;
            if( to )
                *to = std::copy( body.begin(), body.end(), *to );
            return (int)body.size();
        };
        return PEM_ASN1_write_bio(
            encode, block.label.c_str(), bio, &block.body, EVP_aes_128_cbc(), (const unsigned char *)"pass phrase", 11, nullptr, nullptr );
    } );
    ASSERT_NE( encrypted.find( "Proc-Type: 4,ENCRYPTED" ), encrypted.npos );
    // With the headers, the text is not a block. Without them, the body does not decode as the
    // type.
    EXPECT_EQ( cryPemTryDecode( buf( encrypted ).get() ), nullptr );
    size_t head = encrypted.find( '\n' ) + 1, body = encrypted.find( "\n\n" ) + 2;
    EXPECT_FALSE( this->fromText( encrypted.substr( 0, head ) + encrypted.substr( body ) ) );
}

TYPED_TEST( CryPemObject, ReadsLinesOfAnyLengthAndEnd )
{
    std::string wanted = this->text( TypeParam::samples()[0].handle.get() ), body = joined( wanted );
    for( size_t width : { 1u, 4u, 76u, 10000u } )
    {
        for( const char *end : { "\n", "\r\n", "\r" } )
        {
            std::string text = std::string( "-----BEGIN " ) + TypeParam::label + "-----" + end;
            for( size_t at = 0; at < body.size(); at += width )
                text += body.substr( at, width ) + end;
            text += std::string( "-----END " ) + TypeParam::label + "-----" + end;
            EXPECT_EQ( this->canonical( this->fromText( text ) ), wanted ) << width;
        }
    }
}

TYPED_TEST( CryPemObject, UseTakesTheReferenceOverOnSuccess )
{
    auto     *handle = TypeParam::dup( TypeParam::samples()[0].handle.get() );
    FreeWatch watch  = TypeParam::watch( handle );
    auto      obj    = this->use( handle );
    ASSERT_TRUE( obj );
    EXPECT_EQ( TypeParam::peek( obj.get() ), handle );
    EXPECT_FALSE( watch.freed() );
    obj = {};
    EXPECT_TRUE( watch.freed() );
}

TYPED_TEST( CryPemObject, UseFreesOnFailure )
{
    auto     *handle = TypeParam::unwritable();
    FreeWatch watch  = TypeParam::watch( handle );
    EXPECT_FALSE( this->use( handle ) );
    EXPECT_TRUE( watch.freed() );
}

TYPED_TEST( CryPemObject, UpRefLeavesTheCallersReference )
{
    if constexpr( requires { TypeParam::upRef; } )
    {
        auto       *handle = TypeParam::dup( TypeParam::samples()[0].handle.get() );
        std::string wanted = this->text( handle );
        FreeWatch   watch  = TypeParam::watch( handle );
        auto        obj    = this->upRef( handle );
        EXPECT_EQ( TypeParam::peek( obj.get() ), handle );
        obj = {};
        EXPECT_FALSE( watch.freed() );
        EXPECT_EQ( this->text( handle ), wanted );
        TypeParam::destroy( handle );
        EXPECT_TRUE( watch.freed() );
    }
}

TYPED_TEST( CryPemObject, UpRefAndCopyDoNotFreeOnFailure )
{
    for( auto create : { &TestFixture::upRef, &TestFixture::copy } )
    {
        auto     *handle = TypeParam::unwritable();
        FreeWatch watch  = TypeParam::watch( handle );
        EXPECT_FALSE( create( handle ) );
        EXPECT_FALSE( watch.freed() );
        TypeParam::destroy( handle );
        EXPECT_TRUE( watch.freed() );
    }
}

TYPED_TEST( CryPemObject, CopySharesNothingWithTheCaller )
{
    for( const auto &each : TypeParam::samples() )
    {
        auto       *handle = TypeParam::dup( each.handle.get() );
        std::string wanted = this->text( handle );
        FreeWatch   watch  = TypeParam::watch( handle );
        auto        obj    = this->copy( handle );
        ASSERT_TRUE( obj ) << each.name;
        EXPECT_NE( TypeParam::peek( obj.get() ), handle );
        TypeParam::destroy( handle );
        EXPECT_TRUE( watch.freed() ) << each.name;
        EXPECT_EQ( this->canonical( obj ), wanted ) << each.name;
        EXPECT_EQ( this->text( TypeParam::peek( obj.get() ) ), wanted ) << each.name;
    }
}

TYPED_TEST( CryPemObject, ComesBackFromItsStore )
{
    for( const auto &each : TypeParam::samples() )
    {
        auto              obj   = this->upRef( each.handle.get() );
        pb::Ref<PB_STORE> store = pb::adopt( TypeParam::store( obj.get() ) );
        EXPECT_TRUE( pbStoreEquals( store.get(), pb::adopt( cryPemStore( this->pemOf( obj ).get() ) ).get() ) );
        EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 0 ) ) ), std::string( "-----BEGIN " ) + TypeParam::label + "-----" );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            auto        restored = pb::adopt( TypeParam::restore( store.get() ) );
            ASSERT_TRUE( restored ) << each.name;
            EXPECT_NE( restored.get(), obj.get() );
            EXPECT_TRUE( TypeParam::equals( restored.get(), obj.get() ) ) << each.name;
        }
    }
}

TYPED_TEST( CryPemObject, RestoresNothingFromAStoreWithoutOne )
{
    pb::Ref<PB_STORE> empty = pb::adopt( pbStoreCreateArray() ), keyed = pb::adopt( pbStoreCreate() );
    EXPECT_EQ( TypeParam::restore( empty.get() ), nullptr );
    EXPECT_EQ( TypeParam::restore( keyed.get() ), nullptr );
    Block own = this->block( TypeParam::samples()[0].handle.get() );
    for( const std::string &body : { std::string(), std::string( "nonsense" ), own.body.substr( 0, 50 ) } )
        EXPECT_FALSE( this->fromStore( { own.label, body } ) ) << body.size();
    for( const char *label : { "", "A", "CERTIFICATES", "REQUEST", "KEY" } )
        EXPECT_FALSE( this->fromStore( { label, own.body } ) ) << label;
}

TYPED_TEST( CryPemObject, IsAsSensitiveAsItsType )
{
    for( const auto &each : TypeParam::samples() )
    {
        for( const auto &obj : this->madeInAllWays( each.handle.get() ) )
        {
            pb::Ref<CRY_PEM>  pem   = this->pemOf( obj );
            pb::Ref<PB_STORE> store = pb::adopt( TypeParam::store( obj.get() ) );
            EXPECT_EQ( this->isSensitive( pem.get() ), TypeParam::sensitive ) << each.name;
            EXPECT_EQ( (bool)pbBufferSensitive( pb::adopt( cryPemEncode( pem.get() ) ).get() ), TypeParam::sensitive ) << each.name;
            for( PB_INT index = 1; index < pbStoreLength( store.get() ) - 1; index++ )
                EXPECT_EQ( (bool)pbStringSensitive( pb::adopt( pbStoreValueAt( store.get(), index ) ).get() ), TypeParam::sensitive ) << index;
        }
    }
}

TYPED_TEST( CryPemObject, SuccessLeavesTheErrorQueueAsItWas )
{
    for( const auto &each : TypeParam::samples() )
    {
        Block              block = this->block( each.handle.get() );
        std::vector<Block> forms = TypeParam::otherForms( each.handle.get() );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            auto       *own = TypeParam::dup( each.handle.get() );
            takeErrors();
            raiseError();
            EXPECT_TRUE( this->fromBlock( block ) );
            EXPECT_TRUE( this->fromStore( block ) );
            for( const Block &form : forms )
                EXPECT_TRUE( this->fromBlock( form ) );
            EXPECT_TRUE( this->upRef( own ) );
            EXPECT_TRUE( this->copy( own ) );
            EXPECT_TRUE( this->use( own ) );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << each.name << ", fast " << fast;
        }
    }
}

TYPED_TEST( CryPemObject, FailureLeavesOpensslsErrorsBehindThoseBefore )
{
    for( const char *label : { TypeParam::label, "OTHER" } )
    {
        std::vector<unsigned long> errors;
        EXPECT_EQ( this->byOpenssl( pemText( label, "nonsense" ), errors ), "" );
        ASSERT_FALSE( errors.empty() ) << label;
        EXPECT_FALSE( this->isTaken( { label, "nonsense" }, "nonsense" ) );
    }
}

TYPED_TEST( CryPemObject, OrderIsThatOfThePems )
{
    auto samples = TypeParam::samples();
    for( const auto &a : samples )
    {
        auto        objA  = this->copy( a.handle.get() );
        std::string bodyA = this->block( a.handle.get() ).body;
        for( const auto &b : samples )
        {
            auto objB   = this->copy( b.handle.get() );
            int  wanted = sign( bodyA.compare( this->block( b.handle.get() ).body ) );
            EXPECT_EQ( wanted == 0, a.name == b.name );
            EXPECT_EQ( sign( TypeParam::compare( objA.get(), objB.get() ) ), wanted ) << a.name << ", " << b.name;
            EXPECT_EQ( (bool)TypeParam::equals( objA.get(), objB.get() ), wanted == 0 ) << a.name << ", " << b.name;
        }
        EXPECT_FALSE( TypeParam::equals( objA.get(), nullptr ) );
        EXPECT_FALSE( TypeParam::equals( nullptr, objA.get() ) );
    }
    EXPECT_TRUE( TypeParam::equals( nullptr, nullptr ) );
}

TYPED_TEST( CryPemObject, IsAnObjectWithTheDefaultText )
{
    auto obj = this->copy( TypeParam::samples()[0].handle.get() );
    EXPECT_STREQ( pbSortName( TypeParam::sort() ), TypeParam::name );
    EXPECT_EQ( pbObjSort( TypeParam::obj( obj.get() ) ), TypeParam::sort() );
    EXPECT_EQ( TypeParam::from( obj.obj() ), obj.get() );
    EXPECT_TRUE( text( pb::adopt( TypeParam::toString( obj.get() ) ) ).starts_with( std::string( TypeParam::name ) + "(0x" ) );
    auto second = pb::adopt( TypeParam::retain( obj.get() ) );
    EXPECT_TRUE( pbObjIsShared( obj.obj() ) );
    TypeParam::release( second.take() );
    EXPECT_FALSE( pbObjIsShared( obj.obj() ) );
}

TYPED_TEST( CryPemObject, IsReadByManyThreadsAtOnce )
{
    std::string              wanted = this->text( TypeParam::samples()[0].handle.get() );
    auto                     obj    = this->fromText( wanted );
    std::atomic<int>         good   = 0;
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 50; round++ )
            {
                auto own  = obj;
                auto copy = this->copy( TypeParam::peek( own.get() ) );
                auto read = this->fromText( wanted );
                good += TypeParam::equals( own.get(), copy.get() ) && TypeParam::equals( own.get(), read.get() ) &&
                    this->canonical( own ) == wanted && TypeParam::works( own.get() );
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 200 );
}

TYPED_TEST( CryPemObject, LeavesPoisonInItsFieldsWhenItIsFreed )
{
    auto handle = TypeParam::samples()[0].handle;
    // No object may exist while the allocator changes.
    pbRuntimeStop();
    ASSERT_EQ( pbObjLiveCount(), 0 );
    pbMemSetAllocator( &Observed::allocator );
    startFamily();
    {
        auto  obj = this->copy( handle.get() );
        void *content[4], *pem = this->pemOf( obj ).get(), *held = TypeParam::peek( obj.get() );
        std::memcpy( content, obj.obj(), sizeof content );
        Observed::memory = obj.obj();
        obj              = {};
        Observed::memory = nullptr;
        int fields       = 0;
        for( int index = 0; index < 4; index++ )
        {
            if( content[index] != pem && content[index] != held )
                continue;
            fields++;
            EXPECT_EQ( Observed::words[index], pb::poison() ) << index;
        }
        EXPECT_EQ( fields, 2 );
    }
    pbRuntimeStop();
    EXPECT_EQ( pbObjLiveCount(), 0 );
    pbMemSetAllocator( nullptr );
    startFamily();
}
