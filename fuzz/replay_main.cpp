// Runs a fuzzer over the files of its corpus and over mutations of them, the same ones every time:
// a test where libFuzzer is not.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size );

namespace fs = std::filesystem;

namespace
{

constexpr int mutations = 4000;

std::string current;

// Shows the input that a crash came from, as hexadecimal digits.
void showInput( int number )
{
    static constexpr char digits[] = "0123456789abcdef", text[] = "the input was: ";
    auto                  put = []( const char *bytes, size_t count ) {
        if( write( STDERR_FILENO, bytes, count ) < 0 )
            _exit( 1 );
    };
    put( text, sizeof text - 1 );
    for( unsigned char byte : current )
    {
        put( digits + ( byte >> 4 ), 1 );
        put( digits + ( byte & 15 ), 1 );
    }
    put( "\n", 1 );
    std::signal( number, SIG_DFL );
    std::raise( number );
}

void run( const std::string &input )
{
    current = input;
    // Memory of its own size, so that a sanitizer sees what is read behind its end.
    std::vector<uint8_t> bytes( input.begin(), input.end() );
    LLVMFuzzerTestOneInput( bytes.data(), bytes.size() );
}

uint32_t random( uint32_t below )
{
    static uint32_t state = 2463534242;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state % below;
}

std::string mutated( const std::vector<std::string> &corpus )
{
    static const std::string pieces[] = { "\r", "\n", "\r\n", "\x85", "\xC2\x85", "\xA0", "\v", " ", "#", "=", "==", "-", "-----", "-----BEGIN ",
        "-----END ", "A", "AAAA", std::string( 1, 0 ), "\xFF", "\xC3", "\xE2\x82\xAC", "\xF0\x9F\x94\x91", "\xED\xA0\x80" };
    std::string              text     = corpus[random( (uint32_t)corpus.size() )];
    for( uint32_t changes = 1 + random( 5 ); changes; changes-- )
    {
        size_t at    = random( (uint32_t)text.size() + 1 );
        size_t count = random( 12 );
        switch( random( 8 ) )
        {
        case 0:
            text.resize( at );
            break;
        case 1:
            text.erase( at, count );
            break;
        case 2:
            text.insert( at, text.substr( random( (uint32_t)text.size() + 1 ), count ) );
            break;
        case 3:
            text.insert( at, corpus[random( (uint32_t)corpus.size() )] );
            break;
        case 4:
            if( at < text.size() )
                text[at] = (char)random( 256 );
            break;
        case 5:
            if( at < text.size() )
                text[at] = (char)( text[at] ^ 1 << random( 8 ) );
            break;
        default:
            text.insert( at, pieces[random( std::size( pieces ) )] );
        }
    }
    return text;
}

}

int main( int argc, char **argv )
{
    if( argc != 2 || !fs::is_directory( argv[1] ) )
    {
        std::fprintf( stderr, "usage: %s FOLDER\n", argv[0] );
        return 1;
    }
    for( int number : { SIGABRT, SIGSEGV, SIGBUS, SIGFPE } )
        std::signal( number, showInput );
    std::vector<fs::path> files;
    for( const fs::directory_entry &entry : fs::directory_iterator( argv[1] ) )
        files.push_back( entry.path() );
    std::sort( files.begin(), files.end() );
    std::vector<std::string> corpus;
    for( const fs::path &file : files )
    {
        std::ifstream in( file, std::ios::binary );
        corpus.emplace_back( std::istreambuf_iterator<char>( in ), std::istreambuf_iterator<char>() );
    }
    if( corpus.empty() )
    {
        std::fprintf( stderr, "%s holds no files\n", argv[1] );
        return 1;
    }
    run( "" );
    for( const std::string &input : corpus )
        run( input );
    for( int number = 0; number < mutations; number++ )
        run( mutated( corpus ) );
    std::printf( "%zu files, %d mutations\n", corpus.size(), mutations );
    return 0;
}
