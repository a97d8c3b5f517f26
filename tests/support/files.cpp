#include "support/files.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <lzma.h>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string unpackXz( const std::string &packed )
{
    lzma_stream stream = LZMA_STREAM_INIT;
    if( lzma_stream_decoder( &stream, UINT64_MAX, 0 ) != LZMA_OK )
        return {};
    std::string out;
    std::string piece( 1 << 20, 0 );
    stream.next_in  = (const uint8_t *)packed.data();
    stream.avail_in = packed.size();
    lzma_ret result = LZMA_OK;
    while( result == LZMA_OK )
    {
        stream.next_out  = (uint8_t *)piece.data();
        stream.avail_out = piece.size();
        result           = lzma_code( &stream, LZMA_FINISH );
        out.append( piece.data(), piece.size() - stream.avail_out );
    }
    lzma_end( &stream );
    EXPECT_EQ( result, LZMA_STREAM_END );
    return out;
}

std::string support::read( const fs::path &path )
{
    std::ifstream      in( path, std::ios::binary );
    std::ostringstream content;
    content << in.rdbuf();
    EXPECT_TRUE( in.good() ) << path;
    return path.extension() == ".xz" ? unpackXz( content.str() ) : content.str();
}

void support::write( const fs::path &path, std::string_view content )
{
    std::ofstream out( path, std::ios::binary );
    out.write( content.data(), (std::streamsize)content.size() );
    EXPECT_TRUE( out.good() ) << path;
}

support::TemporaryFolder::TemporaryFolder()
{
    std::string name = ( fs::temp_directory_path() / "cry-test-XXXXXX" ).string();
    EXPECT_NE( mkdtemp( name.data() ), nullptr );
    path = name;
}

support::TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all( path, ignored );
}

std::optional<fs::path> support::vectors()
{
    const char *set    = std::getenv( "CRY_VECTORS" );
    fs::path    folder = set ? fs::path( set ) : fs::path( CRY_SOURCE_DIR ) / ".." / "shared" / "vectors";
    if( !fs::is_directory( folder ) )
        return {};
    return folder;
}

std::vector<fs::path> support::packageFiles( const std::string &package )
{
    std::vector<fs::path> files;
    std::FILE            *pipe = popen( ( "dpkg -L " + package + " 2>/dev/null" ).c_str(), "r" );
    char                  line[4096];
    while( pipe && std::fgets( line, sizeof line, pipe ) )
    {
        std::string path = line;
        path.resize( path.find_last_not_of( '\n' ) + 1 );
        if( fs::is_regular_file( path ) )
            files.emplace_back( path );
    }
    if( pipe )
        pclose( pipe );
    return files;
}

std::vector<fs::path> support::filesBelow( const fs::path &folder )
{
    std::vector<fs::path> files;
    for( const fs::directory_entry &entry : fs::recursive_directory_iterator( folder ) )
    {
        if( entry.is_regular_file() )
            files.push_back( entry.path() );
    }
    std::sort( files.begin(), files.end() );
    return files;
}
