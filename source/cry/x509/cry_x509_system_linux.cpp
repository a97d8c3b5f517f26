#include "x509/cry_x509_system_linux.hpp"

#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>
#include <pb/containers.hpp>
#include <pb/pb_path_file.h>
#include <pb/ref.hpp>
#include <rfc/rfc_encapsulation.h>

#include <algorithm>
#include <dirent.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <string_view>
#include <sys/stat.h>

#include "base/cry_pem_lines.hpp"

namespace
{

// An order of PEM objects that is cheap to find out: most data differ in their length or soon after
// the start.
struct Before
{
    bool operator()( const pb::Ref<CRY_PEM> &a, const pb::Ref<CRY_PEM> &b ) const
    {
        PB_BUFFER *dataA = cry::pem::data( a.get() ), *dataB = cry::pem::data( b.get() );
        PB_INT     length = pbBufferLength( dataA );
        if( length != pbBufferLength( dataB ) )
            return length < pbBufferLength( dataB );
        int order = std::memcmp( pbBufferBytes( dataA ), pbBufferBytes( dataB ), (size_t)length );
        return order ? order < 0 : pbStringCompare( cry::pem::label( a.get() ), cry::pem::label( b.get() ) ) < 0;
    }
};

// Certificates by their PEM.
using CertificateMap = pb::StdMap<pb::Ref<CRY_PEM>, pb::Ref<CRY_X509_CERTIFICATE>, Before>;

// The roots that were read so far, each once.
class Roots
{
public:
    explicit Roots( CRY_X509_CERTIFICATES *knownCertificates )
    {
        for( PB_INT index = 0; knownCertificates && index < cryX509CertificatesCertificatesLength( knownCertificates ); index++ )
        {
            pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509CertificatesCertificateAt( knownCertificates, index ) );
            pb::Ref<CRY_PEM>              pem  = pb::adopt( cryX509CertificatePem( cert.get() ) );
            parsed.insert_or_assign( std::move( pem ), std::move( cert ) );
        }
    }

    // Adds every certificate of a file. Text between blocks and blocks that do not parse are
    // skipped.
    void addFile( const pb::StdString<> &path )
    {
        pb::Ref<PB_STRING> name = pb::adopt( pbStringCreateFromCstr( path.c_str(), -1 ) );
        pb::Ref<PB_BUFFER> text = pb::adopt( pbPathFileTryReadBuffer( name.get(), CRY___X509_SYSTEM_PLACE_MAX_LENGTH ) );
        if( !text )
            return;
        std::string_view rest( (const char *)pbBufferBytes( text.get() ), (size_t)pbBufferLength( text.get() ) );
        for( ;; )
        {
            // Nearly all bundles have one usual block after the other. No search is needed there.
            cry::pem::TextLines lines( rest );
            if( pb::Ref<CRY_PEM> pem = cry::pem::tryReadUsual( lines ) )
            {
                add( pem );
                rest = lines.rest();
                continue;
            }
            RFC_ENCAPSULATION block;
            if( !rfcEncapsulationFindNext( (const PB_BYTE *)rest.data(), (PB_INT)rest.size(), 0, 1, &block ) )
                return;
            rest.remove_prefix( (size_t)block.offset );
            if( pb::Ref<CRY_PEM> pem = pb::adopt( cry::pem::tryReadSingle( cry::pem::TextLines( rest.substr( 0, (size_t)block.length ) ) ) ) )
                add( pem );
            rest.remove_prefix( (size_t)block.length );
            rest.remove_prefix( rest.starts_with( "\r\n" ) ? 2 : !rest.empty() );
        }
    }

    // Adds the files of a directory that are named by a hash, in the order of their names.
    void addDirectory( const pb::StdString<> &path )
    {
        pb::StdVector<pb::StdString<>> names;
        if( DIR *directory = opendir( path.c_str() ) )
        {
            while( const dirent *entry = readdir( directory ) )
            {
                if( isHashed( entry->d_name ) )
                    names.emplace_back( entry->d_name );
            }
            closedir( directory );
        }
        std::sort( names.begin(), names.end() );
        for( const pb::StdString<> &name : names )
            addFile( path + "/" + name );
    }

    CRY_X509_CERTIFICATES *take() { return certificates.take(); }

private:
    static bool isHashed( std::string_view name )
    {
        auto isHex = []( char c ) { return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'f' ); };
        return name.size() >= 10 && name[8] == '.' && std::all_of( name.begin(), name.begin() + 8, isHex ) &&
            name.find_first_not_of( "0123456789", 9 ) == name.npos;
    }

    void add( const pb::Ref<CRY_PEM> &pem )
    {
        auto                          same = parsed.find( pem );
        pb::Ref<CRY_X509_CERTIFICATE> cert = same != parsed.end() ? pb::share( same->second.get() )
                                                                  : pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) );
        if( !cert )
            return;
        // The text of the block may have another label, or data after the certificate.
        pb::Ref<CRY_PEM> canonical = pb::adopt( cryX509CertificatePem( cert.get() ) );
        if( known.try_emplace( std::move( canonical ), pb::share( cert.get() ) ).second )
            cryX509CertificatesAppendCertificate( certificates.handle(), cert.get() );
    }

    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cryX509CertificatesCreate() );
    CertificateMap                 known;
    CertificateMap                 parsed; // certificates that need not be parsed again
};

}

CRY_X509_CERTIFICATES *cry::x509::loadFirstPlace( std::span<const char *const> places, CRY_X509_CERTIFICATES *known )
{
    Roots roots( known );
    // A block that is skipped is not a failure, so its reasons do not stay in the queue.
    openssl::ErrorMark skipped;
    for( const char *place : places )
    {
        struct stat status;
        if( stat( place, &status ) != 0 )
            continue;
        if( S_ISDIR( status.st_mode ) )
            roots.addDirectory( place );
        else
            roots.addFile( place );
        break;
    }
    return roots.take();
}

static constinit std::span<const char *const> usedPlaces = cry___x509SystemPlaces;

void cry::x509::setPlaces( std::span<const char *const> places ) { usedPlaces = places.empty() ? cry___x509SystemPlaces : places; }

CRY_X509_CERTIFICATES *cry::x509::loadPlatformRoots( CRY_X509_CERTIFICATES *known ) { return loadFirstPlace( usedPlaces, known ); }

CRY_X509_CERTIFICATES *cry___X509SystemPlatformTrustedCertificatesLoad() { return cry::x509::loadPlatformRoots( nullptr ); }
