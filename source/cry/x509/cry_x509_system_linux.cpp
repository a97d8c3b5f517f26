#include "x509/cry_x509_system_linux.hpp"

#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>
#include <pb/containers.hpp>
#include <pb/pb_boxed_int.h>
#include <pb/pb_dict.h>
#include <pb/pb_path_file.h>
#include <pb/ref.hpp>
#include <rfc/rfc_encapsulation.h>

#include <algorithm>
#include <dirent.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <string_view>
#include <sys/stat.h>

namespace
{

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
            pbDictSetObjKey( parsed.handle(), pem.obj(), cert.obj() );
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
        RFC_ENCAPSULATION block{};
        while( rfcEncapsulationFindNext( pbBufferBytes( text.get() ), pbBufferLength( text.get() ), block.offset + block.length, 1, &block ) )
            addBlock( pb::adopt( pbBufferCreateFromInner( text.get(), block.offset, block.length ) ) );
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

    void addBlock( pb::Ref<PB_BUFFER> text )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( text.get() ) );
        if( !pem )
            return;
        pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509CertificateFrom( pbDictObjKey( parsed.get(), pem.obj() ) ) );
        if( !cert )
            cert = pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) );
        if( !cert || pbDictHasObjKey( known.get(), cert.obj() ) )
            return;
        pbDictSetObjKey( known.handle(), cert.obj(), cert.obj() );
        cryX509CertificatesAppendCertificate( certificates.handle(), cert.get() );
    }

    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<PB_DICT>               known        = pb::adopt( pbDictCreate() );
    pb::Ref<PB_DICT>               parsed       = pb::adopt( pbDictCreate() ); // from the PEM to the certificate
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
