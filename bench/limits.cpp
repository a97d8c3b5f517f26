// Prints what is no ratio to libcrypto. Memory of stacks, sessions and validators: what the
// allocator gives out more after many of them were made, divided by their number; of a CRL of a
// million entries: the same, for one. Waiting times: the longest of many, in a process that has as
// much to do as the row says.
#include "crls.hpp"
#include "material.hpp"
#include <algorithm>
#include <bn/internal/bn_int.h>
#include <chrono>
#include <cry/cry.h>
#include <cry/internal/cry_x509_system.h>
#include <cstdio>
#include <functional>
#include <malloc.h>
#include <pb/pb.h>
#include <pb/runtime.hpp>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

long long inUse()
{
    struct mallinfo2 info = mallinfo2();
    return (long long)( info.uordblks + info.hblkhd );
}

long long residentKilobytes()
{
    long long pages = 0;
    if( FILE *file = std::fopen( "/proc/self/statm", "r" ) )
    {
        if( std::fscanf( file, "%*d %lld", &pages ) != 1 )
            pages = 0;
        std::fclose( file );
    }
    return pages * sysconf( _SC_PAGESIZE ) / 1024;
}

void print( const char *name, int count, std::function<PB_OBJ *()> make )
{
    std::vector<PB_OBJ *> objects( (size_t)count );
    pbObjRelease( make() ); // what is made only once
    long long before = inUse();
    for( PB_OBJ *&each : objects )
        each = make();
    std::printf( "%-50s %8lld bytes\n", name, ( inUse() - before ) / count );
    for( PB_OBJ *each : objects )
        pbObjRelease( each );
}

PB_OBJ *makeStack( CRY_X509_STACK_IDENTITY_MODE identity, CRY_X509_STACK_TRUST_MODE trust )
{
    auto options = pb::adopt( cryX509StackOptionsCreate() );
    cryX509StackOptionsSetIdentityMode( options.handle(), identity );
    cryX509StackOptionsSetTrustMode( options.handle(), trust );
    return cryX509StackObj( cryX509StackCreate( options.get(), nullptr ) );
}

using Clock = std::chrono::steady_clock;

double millisecondsSince( Clock::time_point begin ) { return std::chrono::duration<double, std::milli>( Clock::now() - begin ).count(); }

// Measures `work` again and again, for that many seconds. `prepare` is not measured.
void printLongest(
    const char *name, int seconds, std::function<void()> work, std::function<void()> prepare = [] {} )
{
    std::vector<double> times;
    for( Clock::time_point begin = Clock::now(); millisecondsSince( begin ) < 1000.0 * seconds; )
    {
        prepare();
        Clock::time_point one = Clock::now();
        work();
        times.push_back( millisecondsSince( one ) );
    }
    std::sort( times.begin(), times.end() );
    std::printf( "%-50s %8.3f ms the longest, %.3f ms the middle one of %zu\n", name, times.back(), times[times.size() / 2], times.size() );
}

// What a CRL of a million entries holds while its text is kept, and how long it takes.
void printCrl()
{
    constexpr uint64_t entries = 1000000;
    std::string        made    = bench::crlText( entries );
    long long          before  = inUse();
    auto               print   = [before]( const char *name ) { std::printf( "%-50s %8lld KiB\n", name, ( inUse() - before ) / 1024 ); };
    Clock::time_point  begin   = Clock::now();
    auto               text    = pb::adopt( pbBufferCreateFromBytes( made.data(), (PB_INT)made.size() ) );
    auto               crl     = pb::adopt( cryX509CrlTryCreateFromPem( pb::adopt( cryPemTryDecode( text.get() ) ).get() ) );
    auto               isOn    = [&]( uint64_t entry ) {
        std::vector<unsigned char> bytes = bench::serialOf( entry );
        auto                       serial = pb::adopt( bn___IntCreateFromBignumUse( BN_bin2bn( bytes.data(), (int)bytes.size(), nullptr ) ) );
        return cryX509CrlRevokedBySerial( crl.get(), serial.get() );
    };
    bool right = isOn( 7 ) && !isOn( entries );
    std::printf( "%-50s %8.0f ms\n", "CRL of 1,000,000 entries, read and asked", millisecondsSince( begin ) );
    print( "CRL of 1,000,000 entries, its text kept" );
    begin = Clock::now();
    for( uint64_t entry = 0; entry < entries; entry++ )
        right &= isOn( entry ) != PB_FALSE;
    std::printf( "%-50s %8.3f us\n", "CRL of 1,000,000 entries, asked for another", millisecondsSince( begin ) * 1000 / entries );
    auto dictionary = pb::adopt( cryX509CrlRevokedSerials( crl.get() ) );
    print( "CRL of 1,000,000 entries, text and dictionary kept" );
    if( !right || pbDictLength( dictionary.get() ) != (PB_INT)entries )
        std::printf( "the answers are wrong\n" );
}

// Has validated when it returns.
void validate( CRY_X509_SESSION *session, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *leaf )
{
    auto end       = pb::adopt( pbSignalCreate() );
    auto validator = pb::adopt( cryX509ValidatorCreate( session, policy, leaf, nullptr, nullptr ) );
    cryX509ValidatorEndAddSignalable( validator.get(), pb::adopt( pbSignalableCreateSignal( end.get() ) ).get() );
    pbSignalWait( end.get(), -1 );
}

pb::Ref<CRY_X509_STACK_OPTIONS> generating()
{
    auto options = pb::adopt( cryX509StackOptionsCreate() );
    cryX509StackOptionsSetIdentityMode( options.handle(), CRY_X509_STACK_IDENTITY_MODE_GENERATE );
    return options;
}

}

int main()
{
    pb::Runtime runtime( { "cry" } );
    if( !runtime.started() )
        return 1;
    printCrl();
    auto options = pb::adopt( cryX509StackOptionsCreate() );
    auto stack   = pb::adopt( cryX509StackCreate( options.get(), nullptr ) );
    auto session = pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
    auto policy  = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetFlags( policy.handle(), CRY_X509_POLICY_FLAG_DISABLE_VALIDATION );
    const std::string &bytes = bench::material().ec[0].der;
    auto               der   = pb::adopt( pbBufferCreateFromBytes( bytes.data(), (PB_INT)bytes.size() ) );
    auto               leaf  = pb::adopt( cryX509CertificateTryCreateFromDer( der.get() ) );

    print( "stack, options shared", 1000, [&] { return cryX509StackObj( cryX509StackCreate( options.get(), nullptr ) ); } );
    print( "stack, identity of the vault, options of its own", 1000,
        [] { return makeStack( CRY_X509_STACK_IDENTITY_MODE_VAULT, CRY_X509_STACK_TRUST_MODE_FIXED ); } );
    print( "stack, platform's roots, options of its own", 1000,
        [] { return makeStack( CRY_X509_STACK_IDENTITY_MODE_FIXED, CRY_X509_STACK_TRUST_MODE_SYSTEM ); } );
    print( "session", 1000, [&] { return cryX509SessionObj( cryX509SessionCreate( stack.get(), nullptr ) ); } );

    auto makeValidator = [&] { return cryX509ValidatorCreate( session.get(), policy.get(), leaf.get(), nullptr, nullptr ); };
    print( "validator", 1000, [&] { return cryX509ValidatorObj( makeValidator() ); } );
    for( int index = 0; index < 1000; index++ )
        cryX509ValidatorRelease( makeValidator() );
    long long before = residentKilobytes();
    for( int index = 0; index < 100000; index++ )
        cryX509ValidatorRelease( makeValidator() );
    std::printf( "%-50s %8lld KiB\n", "100,000 validators dropped: resident more", residentKilobytes() - before );

    auto   roots = pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() );
    PB_INT count = cryX509CertificatesCertificatesLength( roots.get() );
    print( ( "platform's roots, loaded and held, " + std::to_string( count ) ).c_str(), 4,
        [] { return cryX509CertificatesObj( cry___X509SystemPlatformTrustedCertificatesLoad() ); } );

    printLongest( "validator", 2, [&] { validate( session.get(), policy.get(), leaf.get() ); } );
    {
        // Setting other options while a generation runs asks for no second one, so these stacks
        // generate one key each, one after another.
        std::vector<pb::Ref<CRY_X509_STACK>> stacks;
        for( int index = 0; index < 8; index++ )
        {
            stacks.push_back( pb::adopt( cryX509StackCreate( options.get(), nullptr ) ) );
            cryX509StackSetOptions( stacks.back().get(), generating().get() );
        }
        printLongest( "validator, eight stacks generate keys", 2, [&] { validate( session.get(), policy.get(), leaf.get() ); } );
        cryX509StackSetOptions( stacks[0].get(), options.get() );
        cryX509StackSetOptions( stacks[0].get(), generating().get() );
        printLongest(
            "session of a stack that generates a key", 1, [&] { cryX509SessionRelease( cryX509SessionCreate( stacks[0].get(), nullptr ) ); } );
    }
    {
        auto policyOfAll = pb::adopt( cryX509PolicyCreate() );
        printLongest( "release of a validator that verifies", 1, [&] {
            CRY_X509_VALIDATOR *validator = cryX509ValidatorCreate( session.get(), policyOfAll.get(), leaf.get(), nullptr, nullptr );
            cryX509ValidatorRelease( validator );
        } );
    }
    {
        auto system = pb::adopt( cryX509StackOptionsCreate() );
        cryX509StackOptionsSetTrustMode( system.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
        auto live = pb::adopt( cryX509StackCreate( system.get(), nullptr ) );
        printLongest( "options set that change nothing", 1, [&] { cryX509StackSetOptions( live.get(), system.get() ); } );
    }
    {
        std::vector<pb::Ref<CRY_X509_STACK>> stacks;
        auto                                 vault = pb::adopt( cryX509StackOptionsCreate() );
        cryX509StackOptionsSetIdentityMode( vault.handle(), CRY_X509_STACK_IDENTITY_MODE_VAULT );
        for( int index = 0; index < 10000; index++ )
            stacks.push_back( pb::adopt( cryX509StackCreate( vault.get(), nullptr ) ) );
        auto identifier = pb::adopt( pbIdentifierCreate() );
        // All stacks follow the change before the next one.
        printLongest(
            "change of the vault with 10,000 stacks", 3, [&] { cryVaultDelItem( identifier.get() ); },
            [] { std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) ); } );
    }
}
