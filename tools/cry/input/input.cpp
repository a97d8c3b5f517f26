#include "input/input.hpp"

#include "input/descriptor.hpp"
#include "options/command.hpp"
#include "output/terminal.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr PB_INT maxLength = 64 << 20;

// How many labels of other blocks a message names.
constexpr size_t othersNamed = 5;

constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----", blanks = " \t\v\f";

std::string_view trim( std::string_view line )
{
    size_t first = line.find_first_not_of( blanks );
    if( first == line.npos )
        return {};
    return line.substr( first, line.find_last_not_of( blanks ) - first + 1 );
}

// Goes through the lines of a block, without blanks around them.
class Lines
{
public:
    Lines( std::string_view block, PB_INT firstLine ) : rest( block ), following( firstLine ) {}

    bool next()
    {
        if( rest.empty() )
            return false;
        size_t cut = rest.find_first_of( "\r\n" );
        number     = following++;
        text       = trim( rest.substr( 0, cut ) );
        rest.remove_prefix( cut == rest.npos ? rest.size() : cut + ( rest.substr( cut ).starts_with( "\r\n" ) ? 2 : 1 ) );
        return true;
    }
    bool isLast() const { return rest.empty(); }

    std::string_view text;
    PB_INT           number = 0;

private:
    std::string_view rest;
    PB_INT           following;
};

// The label between the dashes; false when the line is not such a line.
bool labelIn( std::string_view line, std::string_view start, std::string_view &label )
{
    if( line.size() < start.size() + dashes.size() || !line.starts_with( start ) || !line.ends_with( dashes ) )
        return false;
    label = line.substr( start.size(), line.size() - start.size() - dashes.size() );
    return true;
}

bool isBase64( char c ) { return ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '+' || c == '/'; }

bool isCertificate( std::string_view label ) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE" || label == "TRUSTED CERTIFICATE"; }

std::string quoted( char c )
{
    char text[16];
    if( c >= 0x20 && c < 0x7F )
        std::snprintf( text, sizeof text, "'%c'", c );
    else
        std::snprintf( text, sizeof text, "byte 0x%02X", (unsigned char)c );
    return text;
}

// What stands between BEGIN and END.
struct Body
{
    size_t      characters = 0, padding = 0;
    PB_INT      padded = 0, headers = 0, last = 0; // lines; 0 for none
    PB_INT      wrongLine = 0;                     // of the first thing that is wrong
    std::string wrong;

    void add( std::string_view line, PB_INT number )
    {
        if( line.empty() || line.starts_with( '#' ) || wrongLine )
            return;
        last = number;
        if( !headers && line.find( ':' ) != line.npos )
            headers = number;
        for( char c : line )
        {
            characters++;
            if( c == '=' )
            {
                padding++;
                padded = padded ? padded : number;
            }
            else if( !isBase64( c ) || padding )
            {
                wrongLine = number;
                wrong     = isBase64( c ) ? "base 64 goes on after its padding" : "base 64 with a wrong character, " + quoted( c );
                return;
            }
        }
    }
};

// Finds out what is wrong with a block that the decoder refused.
void diagnose( std::string_view block, tool::Block &result )
{
    auto say = [&result]( PB_INT line, std::string problem ) {
        result.problemLine = line;
        result.problem     = std::move( problem );
    };
    std::string_view label, endLabel;
    Lines            lines( block, result.line );
    lines.next();
    if( !labelIn( lines.text, begin, label ) )
        return say( result.line, "the BEGIN line does not end with -----" );
    result.label = label;
    if( !cryPemLabelOk( pb::adopt( pbStringCreateFromCstr( label.data(), (PB_INT)label.size() ) ).get() ) )
        return say( result.line, tool::shown( label ) + " is not a label" );
    Body body;
    while( lines.next() && !lines.isLast() )
        body.add( lines.text, lines.number );
    if( !labelIn( lines.text, end, endLabel ) )
        return say( lines.number, "the END line does not end with -----" );
    if( label != endLabel )
        return say( lines.number, "BEGIN says " + tool::shown( label ) + " and END says " + tool::shown( endLabel ) );
    result.headers = body.headers;
    if( body.headers )
        return say( body.headers, "the block has header lines (as encrypted keys in the old form do), which are not read" );
    if( body.wrongLine )
        return say( body.wrongLine, body.wrong );
    if( body.characters % 4 && body.padding <= 2 )
        return say( body.last, "base 64 is cut off: its characters are not a multiple of four" );
    say( body.padded ? body.padded : result.line, body.padded ? "base 64 is wrongly padded" : "the block cannot be decoded" );
}

// Why DER does not parse, in brackets. Of what is no sequence, which every certificate is, OpenSSL has nothing to say that helps.
std::string derReason( PB_BUFFER *buf )
{
    if( !tool::startsWith( buf, "\x30" ) )
        return "";
    ERR_clear_error();
    const unsigned char *at = pbBufferBytes( buf );
    X509_free( d2i_X509( nullptr, &at, (long)pbBufferLength( buf ) ) );
    return tool::opensslReasonInBrackets();
}

}

void tool::OtherLabels::add( const std::string &label )
{
    if( labels.size() < othersNamed )
        labels.insert( label.empty() ? "a block without label" : shown( label ) );
}

std::string tool::OtherLabels::list() const
{
    std::string list;
    for( const std::string &each : labels )
        list += ( list.empty() ? "" : ", " ) + each;
    return list;
}

void tool::checkStandardInput( std::initializer_list<std::string> paths )
{
    if( std::count( paths.begin(), paths.end(), "-" ) > 1 )
        throw InputError( "only one of the inputs can be standard input" );
}

std::string tool::shown( std::string_view text )
{
    constexpr size_t most = 60;
    return "'" + printable( text.substr( 0, most ) ) + ( text.size() > most ? "...'" : "'" );
}

PB_INT tool::number( const std::string &text, const std::string &what, PB_INT least, PB_INT most )
{
    bool known = !text.empty() && text.size() <= 18 && text.find_first_not_of( "0123456789" ) == text.npos && ( text.size() == 1 || text[0] != '0' );
    PB_INT value = known ? std::stoll( text ) : 0;
    if( !known || value < least || value > most )
        throw InputError( what + ": " + shown( text ) + " is not a number from " + std::to_string( least ) + " to " + std::to_string( most ) );
    return value;
}

pb::Ref<PB_STRING> tool::given( const std::string &text, const std::string &option )
{
    pb::Ref<PB_STRING> str = pb::adopt( pbStringTryCreateFromCstr( text.data(), (PB_INT)text.size() ) );
    if( !str || text.find( '\0' ) != text.npos )
        throw InputError( option + ": " + shown( text ) + " is not text in UTF-8" );
    return str;
}

bool tool::startsWith( PB_BUFFER *buf, std::string_view bytes )
{
    return std::string_view( (const char *)pbBufferBytes( buf ), (size_t)pbBufferLength( buf ) ).starts_with( bytes );
}

std::string tool::opensslReason()
{
    unsigned long code   = ERR_get_error();
    const char   *reason = code ? ERR_reason_error_string( code ) : nullptr;
    ERR_clear_error();
    return reason ? reason : "";
}

std::string tool::opensslReasonInBrackets()
{
    std::string reason = opensslReason();
    return reason.empty() ? "" : " (" + reason + ")";
}

std::string tool::take( PB_STRING *str )
{
    pb::Ref<PB_STRING> held = pb::adopt( str );
    PB_INT             length;
    const char        *text = pbStringPeekUtf8( held.get(), &length );
    return { text, (size_t)length };
}

std::string tool::nameOf( const std::string &path ) { return path == "-" ? "standard input" : path.empty() ? "''" : printable( path ); }

pb::Ref<PB_BUFFER> tool::readWhole( const std::string &path, Content secrecy )
{
    constexpr PB_INT piece = 65536;

    auto       fail = [&path]() -> InputError { return InputError( nameOf( path ) + ": " + std::strerror( errno ) ); };
    Descriptor file{ path == "-" ? STDIN_FILENO : open( path.c_str(), O_RDONLY | O_CLOEXEC ) };
    if( file.number < 0 )
        throw fail();
    pb::Ref<PB_BUFFER> content = pb::adopt( pbBufferCreate() );
    if( secrecy == Content::secret )
        pbBufferSetSensitive( content.handle() );
    for( ;; )
    {
        PB_INT   length = pbBufferLength( content.get() );
        PB_BYTE *to     = pb___BufferExtend( content.handle(), piece );
        ssize_t  count  = read( file.number, to, piece );
        int      reason = errno;
        pbBufferDelInner( content.handle(), length + std::max<ssize_t>( count, 0 ), piece - std::max<ssize_t>( count, 0 ) );
        errno = reason;
        if( count < 0 && errno != EINTR )
            throw fail();
        if( count == 0 )
            return content;
        if( pbBufferLength( content.get() ) > maxLength )
            throw InputError( nameOf( path ) + ": is larger than 64 MiB, which no file of certificates or list of digests is" );
    }
}

void tool::warnIfOthersCanRead( const std::string &path, const std::string &what )
{
    constexpr mode_t others = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

    struct stat status;
    if( path == "-" || stat( path.c_str(), &status ) != 0 || !S_ISREG( status.st_mode ) || !( status.st_mode & others ) )
        return;
    char mode[8];
    std::snprintf( mode, sizeof mode, "%04o", (unsigned)status.st_mode & 07777u );
    printError(
        "warning: " + nameOf( path ) + ": others than its owner can use " + what + " in it (its mode is " + mode + "); 'chmod 600' ends that" );
}

// A byte order mark, which some editors write, must not hide the first block.
tool::Blocks::Blocks( PB_BUFFER *text ) : whole( text ), found{ startsWith( text, "\xEF\xBB\xBF" ) ? 3 : 0, 0, 1, 1, PB_FALSE } {}

bool tool::Blocks::next( Block &block )
{
    const PB_BYTE *bytes = pbBufferBytes( whole );
    if( !rfcEncapsulationFindNext( bytes, pbBufferLength( whole ), found.offset + found.length, found.endLine, &found ) )
        return false;
    block        = {};
    block.line   = found.line;
    block.offset = found.offset;
    block.length = found.length;
    if( !found.complete )
    {
        block.problem     = "the block that begins here has no END line";
        block.problemLine = found.line;
        return true;
    }
    block.pem = pb::adopt( cryPemTryDecode( pb::adopt( pbBufferCreateFromInner( whole, found.offset, found.length ) ).get() ) );
    if( block.pem )
        block.label = take( cryPemLabel( block.pem.get() ) );
    else
        diagnose( { (const char *)bytes + found.offset, (size_t)found.length }, block );
    return true;
}

pb::Ref<CRY_X509_CERTIFICATE> tool::certificateIn( CRY_PEM *pem, std::string &problem )
{
    std::string label = take( cryPemLabel( pem ) );
    if( label == "TRUSTED CERTIFICATE" )
    {
        problem = "a TRUSTED CERTIFICATE is not read; 'openssl x509' turns it into a CERTIFICATE";
        return {};
    }
    if( !isCertificate( label ) )
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
    auto at = [&name]( PB_INT line, const std::string &problem ) { return InputError( name + ":" + std::to_string( line ) + ": " + problem ); };
    if( !pbBufferLength( content.get() ) )
        throw InputError( name + ": is empty" );

    std::vector<Certificate> certificates;
    OtherLabels              others;
    Blocks                   blocks( content.get() );
    Block                    block;
    while( blocks.next( block ) )
    {
        // A file of a server often holds its key too.
        if( !isCertificate( block.label ) && ( block.pem || block.headers ) )
        {
            others.add( block.label );
            continue;
        }
        if( !block.pem )
            throw at( block.problemLine, block.problem );
        std::string                   problem;
        pb::Ref<CRY_X509_CERTIFICATE> certificate = certificateIn( block.pem.get(), problem );
        if( !certificate )
            throw at( block.line, problem );
        certificates.push_back( { certificate, path, block.line } );
    }
    if( certificates.empty() && !others.empty() )
        throw InputError( name + ": holds no certificate, only " + others.list() );
    if( certificates.empty() )
    {
        if( startsWith( content.get(), "\xFF\xFE" ) || startsWith( content.get(), "\xFE\xFF" ) )
            throw InputError( name + ": is text in UTF-16; PEM is read in ASCII or UTF-8" );
        pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromDer( content.get() ) );
        if( !certificate )
            throw InputError( name + ": is neither PEM text nor a certificate in DER" + derReason( content.get() ) );
        certificates.push_back( { certificate, path, 0 } );
    }
    return certificates;
}
