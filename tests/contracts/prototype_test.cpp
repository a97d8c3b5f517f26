// The patterns of which every type of the module is made, used by small test types. A pattern needs
// two users to show that each reports its own texts, so there are two types for each pattern.

#include <pb/pb.h>
#include <pb/sort.hpp>

#include "base/cry_pem_lines.hpp"
#include "common/cry_ossl_pem_object.hpp"
#include "common/cry_state_machine.hpp"
#include "common/cry_update.hpp"
#include "support/contract.hpp"
#include "support/text.hpp"

#include <mutex>
#include <openssl/pem.h>
#include <thread>

using namespace support;

static constexpr char here[] = "tests/contracts/prototype_test.cpp";

static PB_BOOL                       startToy() { return PB_TRUE; }
static void                          stopToy() {}
extern "C" PB_EXPORT const PB_MODULE toy___module;
extern "C" const PB_MODULE           toy___module = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), nullptr, startToy, stopToy, stopToy, stopToy };

PB_OBJECT_TYPE( TOY_PLAIN );
PB_OBJECT_TYPE( TOY_FIELDS );
PB_OBJECT_TYPE( TOY_SUM );
PB_OBJECT_TYPE( TOY_XOR );
PB_OBJECT_TYPE( TOY_CERTIFICATE );
PB_OBJECT_TYPE( TOY_REQUEST );
PB_OBJECT_TYPE( TOY_WORKER );

// A sort with one slot.

struct TOY_PLAIN : PB_OBJ
{
    PB_INT value;
};

static PB_STRING *plainToString( TOY_PLAIN *plain )
{
    PB_CHECK( plain );
    return pbStringCreateFromFormatCstr( "plain %i", -1, plain->value );
}

PB_SORT_DEFINE( toy, Plain, TOY_PLAIN, .toString = pb::slot<plainToString> )

// A type with all kinds of fields, and with the usual slots, getter and setter.

struct TOY_FIELDS : PB_OBJ
{
    PB_BOOL    flag;
    PB_STRING *name;
    PB_BUFFER *data;
    PB_INT     count;
};

static constexpr auto toyFields = pb::fields<&TOY_FIELDS::flag, &TOY_FIELDS::name, &TOY_FIELDS::data, &TOY_FIELDS::count>;

// A copy of the released object, since its memory is freed after that.
static TOY_FIELDS afterRelease;

static void freeFields( TOY_FIELDS *toy )
{
    PB_CHECK( toy );
    toyFields.release( toy );
    afterRelease = *toy;
}

static PB_INT compareFields( TOY_FIELDS *toyA, TOY_FIELDS *toyB )
{
    PB_CHECK( toyA );
    PB_CHECK( toyB );
    return toyFields.compare( toyA, toyB );
}

PB_SORT_DEFINE( toy, Fields, TOY_FIELDS, .free = pb::slot<freeFields>, .compare = pb::slot<compareFields> )

static TOY_FIELDS *toyFieldsCreateFrom( TOY_FIELDS *source )
{
    PB_CHECK( source );
    TOY_FIELDS *toy = pb::create<TOY_FIELDS>();
    toyFields.copy( toy, source );
    return toy;
}

static void toyFieldsSetName( TOY_FIELDS **toy, PB_STRING *name )
{
    PB_CHECK_HANDLE( toy );
    PB_CHECK( name != NULL && pbStringLength( name ) > (PB_INT)0 );
    pb::assign( pb::makeWritable( toy, toyFieldsCreateFrom )->name, name );
}

// Two types with update functions.

struct TOY_SUM : PB_OBJ
{
    PB_BOOL final;
    PB_INT  sum;
};

struct TOY_XOR : PB_OBJ
{
    PB_BOOL final;
    PB_INT  bits;
};

PB_SORT_DEFINE( toy, Sum, TOY_SUM )
PB_SORT_DEFINE( toy, Xor, TOY_XOR )

static void toySumUpdateBytes( TOY_SUM *sum, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( !sum->final );
    for( ; byteCount; byteCount-- )
        sum->sum += *data++;
}
static void toySumUpdateOuter( TOY_SUM *sum, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateOuter( data, byteOffset, byteCount, [sum]( const PB_BYTE *bytes, PB_INT count ) { toySumUpdateBytes( sum, bytes, count ); } );
}

static void toyXorUpdateBytes( TOY_XOR *xored, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( !xored->final );
    for( ; byteCount; byteCount-- )
        xored->bits ^= *data++;
}
static void toyXorUpdateTrailing( TOY_XOR *xored, PB_BUFFER *data, PB_INT byteCount )
{
    cry::updateTrailing( data, byteCount, [xored]( const PB_BYTE *bytes, PB_INT count ) { toyXorUpdateBytes( xored, bytes, count ); } );
}

// Two types made from the template of an OpenSSL object with its canonical PEM.

static inline void freeToyRequest( X509_REQ *request ) { X509_REQ_free( request ); }
template<>
struct pb::Field<X509_REQ *>
{
    static void release( X509_REQ *&field )
    {
        freeToyRequest( field );
        pb::setPoison( field );
    }
};

struct TOY_CERTIFICATE : PB_OBJ
{
    CRY_PEM *pem;
    X509    *x509;
};
struct TOY_REQUEST : PB_OBJ
{
    CRY_PEM  *pem;
    X509_REQ *request;
};

template<class Struct>
static void freeAll( Struct *obj );
template<>
void freeAll( TOY_CERTIFICATE *obj )
{
    pb::fields<&TOY_CERTIFICATE::pem, &TOY_CERTIFICATE::x509>.release( obj );
}
template<>
void freeAll( TOY_REQUEST *obj )
{
    pb::fields<&TOY_REQUEST::pem, &TOY_REQUEST::request>.release( obj );
}

PB_SORT_DEFINE( toy, Certificate, TOY_CERTIFICATE, .free = pb::slot<freeAll<TOY_CERTIFICATE>> )
PB_SORT_DEFINE( toy, Request, TOY_REQUEST, .free = pb::slot<freeAll<TOY_REQUEST>> )

struct ToyCertificateTraits
{
    using Object                 = TOY_CERTIFICATE;
    using Handle                 = X509;
    static constexpr auto handle = &Object::x509;

    static cry::ossl::Reading<X509> tryRead( CRY_PEM *pem ) { return { cry::ossl::readThroughText( pem, PEM_read_bio_X509 ), {} }; }
    static pb::Ref<CRY_PEM>         tryWrite( X509 *x509 )
    {
        return cry::ossl::writeThroughText( [x509]( BIO *bio ) { return PEM_write_bio_X509( bio, x509 ); } );
    }
    static int   upRef( X509 *x509 ) { return X509_up_ref( x509 ); }
    static X509 *dup( X509 *x509 ) { return X509_dup( x509 ); }
};

struct ToyRequestTraits
{
    using Object                 = TOY_REQUEST;
    using Handle                 = X509_REQ;
    static constexpr auto handle = &Object::request;

    static cry::ossl::Reading<X509_REQ> tryRead( CRY_PEM *pem )
    {
        return cry::ossl::withCanonical( cry::ossl::readThroughText( pem, PEM_read_bio_X509_REQ ), i2d_X509_REQ, pem, PEM_STRING_X509_REQ );
    }
    static pb::Ref<CRY_PEM> tryWrite( X509_REQ *request )
    {
        return cry::ossl::writeThroughText( [request]( BIO *bio ) { return PEM_write_bio_X509_REQ( bio, request ); } );
    }
    static int       upRef( X509_REQ       *) { return 0; }
    static X509_REQ *dup( X509_REQ *request ) { return X509_REQ_dup( request ); }
};

using ToyCertificate = cry::ossl::PemObject<ToyCertificateTraits>;
using ToyRequest     = cry::ossl::PemObject<ToyRequestTraits>;

// A machine with one slow state. Its handler unlocks the lock during its work.

struct TOY_WORKER : PB_OBJ
{
    std::mutex *lock;
    PB_INT      state;
    PB_INT      result;
    PB_BOOL     lockWasFree;
};

PB_SORT_DEFINE( toy, Worker, TOY_WORKER )

enum : PB_INT
{
    idle,
    working,
    done
};

constexpr PB_INT began = 1, ended = 4;

static cry::Step handleIdle( TOY_WORKER * ) { return { working, began }; }
static cry::Step handleWorking( TOY_WORKER *worker )
{
    worker->lock->unlock();
    // Another thread can lock it while the slow work runs.
    bool free = false;
    std::thread( [&] {
        free = worker->lock->try_lock();
        if( free )
            worker->lock->unlock();
    } ).join();
    worker->lock->lock();
    worker->lockWasFree = free;
    worker->result      = 42;
    return { done, ended };
}
static cry::Step handleBroken( TOY_WORKER * ) { return idle; }
static cry::Step handleLost( TOY_WORKER * ) { return 3; }
static cry::Step handleWaiting( TOY_WORKER *worker ) { return worker->result ? working : idle; }

static constexpr cry::StateRow<TOY_WORKER> workerStates[] = {
    { "idle", handleIdle, { working } },
    { "working", handleWorking, { done } },
    { "done" },
};
static constexpr cry::StateRow<TOY_WORKER> brokenStates[] = {
    { "idle", handleIdle, { working } },
    { "working", handleBroken, { done } },
    { "done" },
};
static constexpr cry::StateRow<TOY_WORKER> lostStates[] = {
    { "idle", handleLost, { working } },
    { "working", handleWorking, { done } },
    { "done" },
};
static constexpr cry::StateRow<TOY_WORKER> waitingStates[] = {
    { "idle", handleWaiting, { working } },
    { "working", handleWorking, { done } },
    { "done" },
};

TEST( Prototype, SortWithOneSlotHasDefaultsForTheOthers )
{
    pb::Ref<TOY_PLAIN> a = pb::adopt( pb::create<TOY_PLAIN>() ), b = pb::adopt( pb::create<TOY_PLAIN>() );
    a.get()->value = 7;
    EXPECT_EQ( text( pb::adopt( toyPlainToString( a.get() ) ) ), "plain 7" );
    EXPECT_EQ( toyPlainSort()->slots.free, nullptr );
    EXPECT_NE( toyPlainCompare( a.get(), b.get() ), 0 );
    EXPECT_TRUE( toyPlainEquals( a.get(), a.get() ) );
    EXPECT_TRUE( toyPlainEquals( nullptr, nullptr ) );
    EXPECT_EQ( toyPlainFrom( nullptr ), nullptr );
    EXPECT_EQ( toyPlainFrom( toyPlainObj( a.get() ) ), a.get() );
}

TEST( Prototype, StandardTextsNameTheSort )
{
    pb::Ref<PB_STRING> other = str( "x" );
    pb::Ref<TOY_PLAIN> plain = pb::adopt( pb::create<TOY_PLAIN>() );
    EXPECT_ABORT_IN( "stdfunc from", here, "!obj || pbObjSort(obj)==&toy___sort_TOY_PLAIN", toyPlainFrom( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", here, "!obj || pbObjSort(obj)==&toy___sort_TOY_PLAIN", toyPlainSort()->slots.toString( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc retain", here, "obj", toyPlainRetain( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc release", here, "obj", toyPlainRelease( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare a", here, "objA", toyPlainCompare( nullptr, plain.get() ) );
    EXPECT_ABORT_IN( "stdfunc compare b", here, "objB", toyPlainCompare( plain.get(), nullptr ) );
    EXPECT_ABORT_IN( "stdfunc tostring", here, "obj", toyPlainToString( nullptr ) );
    EXPECT_ABORT( here, "plain", toyPlainSort()->slots.toString( nullptr ) );
}

TEST( Prototype, FieldsAreReleasedInOrderAndPoisoned )
{
    TOY_FIELDS *toy = pb::create<TOY_FIELDS>();
    toy->name       = str( "name" ).take();
    toyFieldsRelease( toy );
    EXPECT_TRUE( pb::isPoison( afterRelease.name ) );
    EXPECT_TRUE( pb::isPoison( afterRelease.data ) );
}

TEST( Prototype, FieldsCompareNullFirstAndStopAtTheFirstDifference )
{
    pb::Ref<TOY_FIELDS> a = pb::adopt( pb::create<TOY_FIELDS>() ), b = pb::adopt( pb::create<TOY_FIELDS>() );
    EXPECT_EQ( toyFieldsCompare( a.get(), b.get() ), 0 );
    b.get()->name = str( "b" ).take();
    EXPECT_EQ( toyFieldsCompare( a.get(), b.get() ), -1 );
    EXPECT_EQ( toyFieldsCompare( b.get(), a.get() ), 1 );
    a.get()->name  = str( "a" ).take();
    a.get()->count = 5;
    EXPECT_LT( toyFieldsCompare( a.get(), b.get() ), 0 );
    a.get()->flag = PB_TRUE;
    EXPECT_GT( toyFieldsCompare( a.get(), b.get() ), 0 );
    EXPECT_ABORT( here, "toyA", toyFieldsSort()->slots.compare( nullptr, b.get() ) );
    EXPECT_ABORT( here, "toyB", toyFieldsSort()->slots.compare( b.get(), nullptr ) );
}

TEST( Prototype, SettersCopyWhatOthersHold )
{
    pb::Ref<TOY_FIELDS> mine   = pb::adopt( pb::create<TOY_FIELDS>() );
    mine.get()->name           = str( "old" ).take();
    pb::Ref<TOY_FIELDS> theirs = mine;
    toyFieldsSetName( mine.handle(), str( "new" ).get() );
    EXPECT_NE( mine.get(), theirs.get() );
    EXPECT_EQ( text( theirs.get()->name ), "old" );
    EXPECT_EQ( text( mine.get()->name ), "new" );
    TOY_FIELDS *before = mine.get();
    toyFieldsSetName( mine.handle(), mine.get()->name );
    EXPECT_EQ( mine.get(), before );

    TOY_FIELDS *none = nullptr;
    EXPECT_ABORT( here, "toy", toyFieldsSetName( nullptr, mine.get()->name ) );
    EXPECT_ABORT( here, "*toy", toyFieldsSetName( &none, mine.get()->name ) );
    // Macros in a text stay as they are written.
    EXPECT_ABORT( here, "name != NULL && pbStringLength( name ) > (PB_INT)0", toyFieldsSetName( mine.handle(), nullptr ) );
}

TEST( Prototype, UpdateFamilySharesRangesAndKeepsItsOwnTexts )
{
    pb::Ref<TOY_SUM>   sum   = pb::adopt( pb::create<TOY_SUM>() );
    pb::Ref<TOY_XOR>   xored = pb::adopt( pb::create<TOY_XOR>() );
    pb::Ref<PB_BUFFER> data  = buf( "\x01\x02\x04\x08" );
    toySumUpdateOuter( sum.get(), data.get(), 1, 2 );
    toyXorUpdateTrailing( xored.get(), data.get(), 2 );
    EXPECT_EQ( sum.get()->sum, 9 );
    EXPECT_EQ( xored.get()->bits, 12 );
    EXPECT_ABORT( here, "pbBufferLength( data ) >= byteOffset + byteCount", toySumUpdateOuter( sum.get(), data.get(), 4, 1 ) );
    EXPECT_ABORT( here, "pbBufferLength( data ) >= byteCount", toyXorUpdateTrailing( xored.get(), data.get(), 5 ) );
    sum.get()->final = xored.get()->final = PB_TRUE;
    EXPECT_ABORT( here, "!sum->final", toySumUpdateOuter( sum.get(), data.get(), 0, 0 ) );
    EXPECT_ABORT( here, "!xored->final", toyXorUpdateTrailing( xored.get(), data.get(), 0 ) );
}

static X509_REQ *makeRequest()
{
    EVP_PKEY *key     = EVP_EC_gen( "P-256" );
    X509_REQ *request = X509_REQ_new();
    X509_REQ_set_pubkey( request, key );
    X509_REQ_sign( request, key, EVP_sha256() );
    EVP_PKEY_free( key );
    return request;
}

static X509 *makeCertificate()
{
    EVP_PKEY *key  = EVP_EC_gen( "P-256" );
    X509     *x509 = X509_new();
    X509_set_pubkey( x509, key );
    X509_gmtime_adj( X509_getm_notBefore( x509 ), 0 );
    X509_gmtime_adj( X509_getm_notAfter( x509 ), 60 );
    X509_sign( x509, key, EVP_sha256() );
    EVP_PKEY_free( key );
    return x509;
}

TEST( Prototype, OpensslObjectsAreHeldWithTheirCanonicalPem )
{
    pb::Ref<TOY_CERTIFICATE> certificate = pb::adopt( ToyCertificate::tryCreateUse( makeCertificate() ) );
    pb::Ref<TOY_REQUEST>     request     = pb::adopt( ToyRequest::tryCreateUse( makeRequest() ) );
    ASSERT_TRUE( certificate && request );
    EXPECT_EQ( text( pb::adopt( cryPemLabel( certificate.get()->pem ) ) ), "CERTIFICATE" );
    EXPECT_EQ( text( pb::adopt( cryPemLabel( request.get()->pem ) ) ), "CERTIFICATE REQUEST" );

    pb::Ref<TOY_CERTIFICATE> again = pb::adopt( ToyCertificate::tryCreateFromPem( certificate.get()->pem ) );
    ASSERT_TRUE( again );
    EXPECT_TRUE( cryPemEquals( again.get()->pem, certificate.get()->pem ) );
    // Each type reads only its own kind of PEM.
    EXPECT_FALSE( pb::adopt( ToyCertificate::tryCreateFromPem( request.get()->pem ) ) );
    EXPECT_FALSE( pb::adopt( ToyRequest::tryCreateFromPem( certificate.get()->pem ) ) );
    // A copy has another OpenSSL object; a further reference has the same one. If OpenSSL gives no
    // reference, the result is null.
    pb::Ref<TOY_CERTIFICATE> copy   = pb::adopt( ToyCertificate::tryCreateCopy( certificate.get()->x509 ) );
    pb::Ref<TOY_CERTIFICATE> shared = pb::adopt( ToyCertificate::tryCreateUpRef( certificate.get()->x509 ) );
    EXPECT_NE( copy.get()->x509, certificate.get()->x509 );
    EXPECT_EQ( shared.get()->x509, certificate.get()->x509 );
    EXPECT_FALSE( pb::adopt( ToyRequest::tryCreateUpRef( request.get()->request ) ) );

    pb::Ref<PB_STORE>    store    = pb::adopt( cryPemStore( request.get()->pem ) );
    pb::Ref<TOY_REQUEST> restored = pb::adopt( ToyRequest::tryRestore( store.get() ) );
    ASSERT_TRUE( restored );
    EXPECT_TRUE( cryPemEquals( restored.get()->pem, request.get()->pem ) );
}

TEST( Prototype, MachineRunsUntilAStateStaysAndLeavesTheLockAroundSlowWork )
{
    std::mutex          lock;
    pb::Ref<TOY_WORKER> worker = pb::adopt( pb::create<TOY_WORKER>() );
    worker.get()->lock         = &lock;
    {
        std::scoped_lock held( lock );
        EXPECT_EQ( cry::runStateMachine( workerStates, worker.get()->state, worker.get() ), began | ended );
    }
    EXPECT_EQ( worker.get()->state, done );
    EXPECT_EQ( worker.get()->result, 42 );
    EXPECT_TRUE( worker.get()->lockWasFree );
    EXPECT_EQ( cry::stateMachineDiagram( workerStates ),
        "stateDiagram-v2\n    [*] --> idle\n    idle --> working\n    working --> done\n    done --> [*]\n" );
}

TEST( Prototype, MachineRefusesAStepThatItsTableDoesNotHave )
{
    pb::Ref<TOY_WORKER> worker = pb::adopt( pb::create<TOY_WORKER>() );
    EXPECT_ABORT( here, "step.next >= 0 && step.next < (PB_INT)count && states[state].mayBeFollowedBy( step.next )",
        cry::runStateMachine( brokenStates, worker.get()->state, worker.get() ) );
}

TEST( Prototype, MachineRefusesAStateThatItDoesNotHave )
{
    pb::Ref<TOY_WORKER> worker = pb::adopt( pb::create<TOY_WORKER>() );
    EXPECT_ABORT( here, "step.next >= 0 && step.next < (PB_INT)count && states[state].mayBeFollowedBy( step.next )",
        cry::runStateMachine( lostStates, worker.get()->state, worker.get() ) );
    for( PB_INT outside : { (PB_INT)-1, (PB_INT)3, PB_INT_MAX, PB_INT_MIN } )
    {
        worker.get()->state = outside;
        EXPECT_ABORT( here, "state >= 0 && state < (PB_INT)count", cry::runStateMachine( workerStates, worker.get()->state, worker.get() ) );
    }
}

TEST( Prototype, MachineStopsWhereAHandlerKeepsTheStateOrTheStateIsTerminal )
{
    pb::Ref<TOY_WORKER> worker = pb::adopt( pb::create<TOY_WORKER>() );
    EXPECT_EQ( cry::runStateMachine( waitingStates, worker.get()->state, worker.get() ), 0 );
    EXPECT_EQ( worker.get()->state, idle );
    worker.get()->state = done;
    EXPECT_EQ( cry::runStateMachine( waitingStates, worker.get()->state, worker.get() ), 0 );
    EXPECT_EQ( worker.get()->state, done );
}
