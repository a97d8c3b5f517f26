#include "x509/cry_x509_system.hpp"

#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_system.h>
#include <pb/locks.hpp>
#include <pb/pb_process.h>
#include <pb/pb_timer.h>
#include <pb/sort.hpp>

#include "x509/cry_x509_system_linux.hpp"

static constexpr PB_INT reloadTime = 43200000; // milliseconds: twelve hours
// While the roots are missing:
static constexpr PB_INT retryTime    = 30000; // milliseconds
static constexpr PB_INT retriesInDay = 86400000 / retryTime;

static PB_MONITOR                                                *cry___X509SystemMonitor;
static CRY_X509_CERTIFICATES *cry___X509SystemTrustedCertificates PB_GUARDED_BY( *cry___X509SystemMonitor );
static PB_SIGNAL *cry___X509SystemSignal                          PB_GUARDED_BY( *cry___X509SystemMonitor );
static PB_PROCESS                                                *cry___X509SystemProcess;
static PB_TIMER                                                  *cry___X509SystemTimer;
static bool cry___X509SystemHalted                                PB_GUARDED_BY( *cry___X509SystemMonitor );
// Loads have numbers in the order in which they began.
static PB_INT begunLoads    PB_GUARDED_BY( *cry___X509SystemMonitor );
static PB_INT publishedLoad PB_GUARDED_BY( *cry___X509SystemMonitor );
static PB_INT               emptyLoads; // of the process, one after another

namespace
{

struct Load
{
    PB_INT                         number;
    pb::Ref<CRY_X509_CERTIFICATES> known; // certificates of it are not parsed again
    pb::Ref<CRY_X509_CERTIFICATES> found;

    bool losesAll() const
    {
        return known && cryX509CertificatesCertificatesLength( known.get() ) > 0 && cryX509CertificatesCertificatesLength( found.get() ) == 0;
    }
};

// Reads the roots; the monitor is not held meanwhile.
Load load()
{
    Load load;
    {
        pb::InMonitor in( cry___X509SystemMonitor );
        load.number = ++begunLoads;
        load.known  = pb::share( cry___X509SystemTrustedCertificates );
    }
    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cry::x509::loadPlatformRoots( load.known.get() ) );
    PB_CHECK( certificates );
    load.found = std::move( certificates );
    return load;
}

// A load that began before the published one has older roots.
void publish( const Load &load ) PB_NEEDS( *cry___X509SystemMonitor )
{
    if( cry___X509SystemHalted || load.number < publishedLoad )
        return;
    publishedLoad = load.number;
    if( cry___X509SystemTrustedCertificates && cryX509CertificatesEquals( cry___X509SystemTrustedCertificates, load.found.get() ) )
        return;
    pb::assign( cry___X509SystemTrustedCertificates, load.found.get() );
    pbSignalAssert( cry___X509SystemSignal );
    pb::Ref<PB_SIGNAL> old = pb::adopt( std::exchange( cry___X509SystemSignal, pbSignalCreate() ) );
}

}

static void cry___X509SystemProcessFunc( PB_OBJ * )
{
    Load now   = load();
    emptyLoads = now.losesAll() ? emptyLoads + 1 : 0;
    // The roots may be missing only because somebody writes their file at this moment.
    bool          retry = now.losesAll() && emptyLoads <= retriesInDay;
    pb::InMonitor in( cry___X509SystemMonitor );
    if( cry___X509SystemHalted )
        return;
    if( !retry )
        publish( now );
    pbTimerSchedule( cry___X509SystemTimer, retry ? retryTime : reloadTime );
}

CRY_X509_CERTIFICATES *cryX509SystemTrustedCertificates()
{
    pb::InMonitor in( cry___X509SystemMonitor );
    return cry___X509SystemTrustedCertificates ? pb::shareOrNull( cry___X509SystemTrustedCertificates ) : cryX509CertificatesCreate();
}

void cryX509SystemTrustedCertificatesAddSignalable( PB_SIGNALABLE *sigb )
{
    PB_CHECK( sigb );
    pb::InMonitor in( cry___X509SystemMonitor );
    pbSignalAddSignalable( cry___X509SystemSignal, sigb );
}

void cryX509SystemTrustedCertificatesDelSignalable( PB_SIGNALABLE *sigb )
{
    PB_CHECK( sigb );
    pb::InMonitor in( cry___X509SystemMonitor );
    pbSignalDelSignalable( cry___X509SystemSignal, sigb );
}

void cry::x509::delSystemSignalableAtAnyTime( PB_SIGNALABLE *sigb )
{
    if( !pb___GateEnter() )
        return;
    cryX509SystemTrustedCertificatesDelSignalable( sigb );
    pb___GateLeave();
}

void cry___X509SystemTrustedCertificatesReload()
{
    Load          now = load();
    pb::InMonitor in( cry___X509SystemMonitor );
    publish( now );
}

void cry___X509SystemStartup() PB_UNCHECKED
{
    cry___X509SystemMonitor             = pbMonitorCreate();
    cry___X509SystemTrustedCertificates = cryX509CertificatesCreate();
    cry___X509SystemSignal              = pbSignalCreate();
    cry___X509SystemProcess             = pbProcessCreateCstr(
        cry___X509SystemProcessFunc, nullptr, "cry___X509SystemProcessFunc", -1, PB_PROCESS_CLASS_BACKGROUND );
    cry___X509SystemTimer  = pbTimerCreateProcess( cry___X509SystemProcess );
    cry___X509SystemHalted = false;
    begunLoads             = 0;
    publishedLoad          = 0;
    emptyLoads             = 0;
    pb___ProcessRunInline( cry___X509SystemProcess );
}

void cry___X509SystemHalt()
{
    pb::InMonitor in( cry___X509SystemMonitor );
    PB_CHECK( !cry___X509SystemHalted );
    cry___X509SystemHalted = true;
    pb::clear( cry___X509SystemTrustedCertificates );
    pbTimerUnschedule( cry___X509SystemTimer );
    pbProcessHalt( cry___X509SystemProcess );
}

void cry___X509SystemShutdown() PB_UNCHECKED
{
    PB_CHECK( pbProcessHalted( cry___X509SystemProcess ) );
    pb___ProcessEndWait( cry___X509SystemProcess );
    pb::Field<PB_TIMER *>::release( cry___X509SystemTimer );
    pb::Field<PB_PROCESS *>::release( cry___X509SystemProcess );
    pb::Field<PB_SIGNAL *>::release( cry___X509SystemSignal );
    pb::Field<CRY_X509_CERTIFICATES *>::release( cry___X509SystemTrustedCertificates );
    pb::Field<PB_MONITOR *>::release( cry___X509SystemMonitor );
}
