#include "input.hpp"

#include "command.hpp"
#include "terminal.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <openssl/err.h>
#include <rfc/rfc.h>
#include <string_view>
#include <unistd.h>

namespace
{

constexpr PB_INT maxLength = 64 << 20;

constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----", blanks = " \t\v\f";

std::string_view trim( std::string_view line )
{
    size_t first = line.find_first_not_of( blanks );
    if( first == line.npos )
        return {};
    return line.substr( first, line.find_last_not_of( blanks ) - first + 1 );
}

// The lines of a block with their numbers.
struct Line
{
    PB_INT           number;
    std::string_view text;
};

std::vector<Line> linesOf( std::string_view text, PB_INT number )
{
    std::vector<Line> lines;
    while( !text.empty() )
    {
        size_t cut = text.find_first_of( "\r\n" );
        lines.push_back( { number++, trim( text.substr( 0, cut ) ) } );
        if( cut == text.npos )
            break;
        text.remove_prefix( cut + ( text.substr( cut ).starts_with( "\r\n" ) ? 2 : 1 ) );
    }
    return lines;
}

// The label between the dashes; false when the line is not such a line.
bool labelIn( std::string_view line, std::string_view start, std::string_view &label )
{
    if( line.size() < start.size() + dashes.size() || !line.starts_with( start ) || !line.ends_with( dashes ) )
        return false;
    label = line.substr( start.size(), line.size() - start.size() - dashes.size() );
    return true;
}

bool isBase64( char c ) { return ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '+' || c == '/'; }

std::string quoted( char c )
{
    char text[16];
    if( c >= 0x20 && c < 0x7F )
        std::snprintf( text, sizeof text, "'%c'", c );
    else
        std::snprintf( text, sizeof text, "byte 0x%02X", (unsigned char)c );
    return text;
}

// Finds out what is wrong with a block that the decoder refused.
void diagnose( std::string_view text, tool::Block &block )
{
    auto say = [&block]( PB_INT line, std::string problem ) {
        block.problemLine = line;
        block.problem     = std::move( problem );
    };
    std::vector<Line> lines = linesOf( text, block.line );
    std::string_view  label, endLabel;
    if( !labelIn( lines.front().text, begin, label ) )
        return say( block.line, "the BEGIN line does not end with -----" );
    if( !labelIn( lines.back().text, end, endLabel ) )
        return say( lines.back().number, "the END line does not end with -----" );
    if( label != endLabel )
        return say( lines.back().number, "BEGIN says '" + tool::printable( label ) + "' and END says '" + tool::printable( endLabel ) + "'" );
    size_t characters = 0;
    PB_INT padded     = 0;
    for( size_t index = 1; index + 1 < lines.size(); index++ )
    {
        const Line &line = lines[index];
        if( line.text.starts_with( '#' ) )
            continue;
        if( line.text.find( ':' ) != line.text.npos )
            return say( line.number, "the block has header lines (an encrypted key in the old form), which are not read" );
        for( char c : line.text )
        {
            characters++;
            if( c == '=' )
                padded = line.number;
            else if( !isBase64( c ) )
                return say( line.number, "base 64 with a wrong character, " + quoted( c ) );
            else if( padded )
                return say( line.number, "base 64 goes on after its padding" );
        }
    }
    if( characters % 4 || padded )
        return say( lines.back().number, "base 64 is cut off or wrongly padded" );
    say( block.line, "'" + tool::printable( label ) + "' is not a label" );
}

// The reason that OpenSSL gave first, which is the innermost.
std::string opensslReason()
{
    unsigned long code   = ERR_get_error();
    const char   *reason = code ? ERR_reason_error_string( code ) : nullptr;
    ERR_clear_error();
    return reason ? reason : "";
}

}

std::string tool::take( PB_STRING *str )
{
    pb::Ref<PB_STRING> held = pb::adopt( str );
    PB_INT             length;
    const char        *text = pbStringPeekUtf8( held.get(), &length );
    return { text, (size_t)length };
}

std::string tool::nameOf( const std::string &path ) { return path == "-" ? "standard input" : printable( path ); }

pb::Ref<PB_BUFFER> tool::readWhole( const std::string &path )
{
    auto fail = [&path]() -> Unusable { return Unusable( nameOf( path ) + ": " + std::strerror( errno ) ); };
    int  file = path == "-" ? STDIN_FILENO : open( path.c_str(), O_RDONLY | O_CLOEXEC );
    if( file < 0 )
        throw fail();
    pb::Ref<PB_BUFFER>   content = pb::adopt( pbBufferCreate() );
    std::vector<PB_BYTE> piece( 65536 );
    for( ;; )
    {
        ssize_t count = read( file, piece.data(), piece.size() );
        if( count < 0 && errno == EINTR )
            continue;
        if( count <= 0 )
        {
            int reason = errno;
            if( file != STDIN_FILENO )
                close( file );
            errno = reason;
            if( count < 0 )
                throw fail();
            return content;
        }
        pbBufferAppendBytes( content.handle(), piece.data(), count );
        if( pbBufferLength( content.get() ) > maxLength )
        {
            if( file != STDIN_FILENO )
                close( file );
            throw Unusable( nameOf( path ) + ": is larger than 64 MiB, which no file of certificates is" );
        }
    }
}

std::vector<tool::Block> tool::findBlocks( PB_BUFFER *text )
{
    std::vector<Block> blocks;
    const PB_BYTE     *bytes = pbBufferBytes( text );
    RFC_ENCAPSULATION  found{ 0, 0, 1, 1, PB_FALSE };
    while( rfcEncapsulationFindNext( bytes, pbBufferLength( text ), found.offset + found.length, found.endLine, &found ) )
    {
        Block block{ found.line, {}, {}, 0 };
        if( !found.complete )
        {
            block.problem     = "the block that begins here has no END line";
            block.problemLine = found.line;
        }
        else
        {
            block.pem = pb::adopt( cryPemTryDecode( pb::adopt( pbBufferCreateFromInner( text, found.offset, found.length ) ).get() ) );
            if( !block.pem )
                diagnose( { (const char *)bytes + found.offset, (size_t)found.length }, block );
        }
        blocks.push_back( std::move( block ) );
    }
    return blocks;
}

pb::Ref<CRY_X509_CERTIFICATE> tool::certificateIn( CRY_PEM *pem, std::string &problem )
{
    std::string label = take( cryPemLabel( pem ) );
    if( label == "TRUSTED CERTIFICATE" )
    {
        problem = "a TRUSTED CERTIFICATE is not read; 'openssl x509' turns it into a CERTIFICATE";
        return {};
    }
    if( label != "CERTIFICATE" && label != "X509 CERTIFICATE" )
    {
        problem = "a block of " + ( label.empty() ? "no label" : printable( label ) ) + " is no certificate";
        return {};
    }
    ERR_clear_error();
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromPem( pem ) );
    if( !certificate )
    {
        std::string reason = opensslReason();
        problem            = "the certificate does not parse" + ( reason.empty() ? "" : ": " + reason );
    }
    return certificate;
}

std::vector<tool::Certificate> tool::readCertificates( const std::string &path )
{
    pb::Ref<PB_BUFFER> content = readWhole( path );
    std::string        name    = nameOf( path );
    auto at = [&name]( PB_INT line, const std::string &problem ) { return Unusable( name + ":" + std::to_string( line ) + ": " + problem ); };
    if( !pbBufferLength( content.get() ) )
        throw Unusable( name + ": is empty" );

    std::vector<Certificate> certificates;
    std::vector<Block>       blocks = findBlocks( content.get() );
    std::string              others;
    for( Block &block : blocks )
    {
        if( !block.pem )
            throw at( block.problemLine, block.problem );
        // A file of a server often holds its key too.
        std::string label = take( cryPemLabel( block.pem.get() ) );
        if( label != "TRUSTED CERTIFICATE" && label != "CERTIFICATE" && label != "X509 CERTIFICATE" )
        {
            others += ( others.empty() ? "" : ", " ) + ( label.empty() ? "no label" : printable( label ) );
            continue;
        }
        std::string                   problem;
        pb::Ref<CRY_X509_CERTIFICATE> certificate = certificateIn( block.pem.get(), problem );
        if( !certificate )
            throw at( block.line, problem );
        certificates.push_back( { certificate, path, block.line } );
    }
    if( certificates.empty() && !blocks.empty() )
        throw Unusable( name + ": holds no certificate, only " + others );
    if( certificates.empty() )
    {
        ERR_clear_error();
        pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromDer( content.get() ) );
        if( !certificate )
            throw Unusable( name + ": is neither PEM text nor a certificate in DER" );
        certificates.push_back( { certificate, path, 0 } );
    }
    return certificates;
}
