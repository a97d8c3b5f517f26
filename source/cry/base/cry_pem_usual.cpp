#include "base/cry_pem_lines.hpp"

namespace cry::pem
{

namespace
{

// The label of a BEGIN line in its usual form, with its LF or CR LF.
struct BeginLine
{
    std::string_view label;
    size_t           length;
    bool             crlf;
};

bool tryReadBegin( std::string_view text, BeginLine &line )
{
    // A label that is longer is not usual. So the search does not reach far.
    constexpr size_t maxLength = 128;
    size_t           lineFeed  = text.substr( 0, maxLength ).find( '\n' );
    if( !text.starts_with( begin ) || lineFeed == text.npos )
        return false;
    line                  = { {}, lineFeed + 1, text[lineFeed - 1] == '\r' };
    std::string_view body = text.substr( 0, lineFeed - line.crlf );
    if( body.size() < begin.size() + dashes.size() || !body.ends_with( dashes ) )
        return false;
    line.label = body.substr( begin.size(), body.size() - begin.size() - dashes.size() );
    return labelOk( line.label );
}

// The length of an END line with its line end, if it has one; 0 if the line is not in its usual
// form or has another label.
size_t lengthOfEnd( std::string_view text, std::string_view label )
{
    size_t length = end.size() + label.size() + dashes.size();
    if( text.size() < length || !text.starts_with( end ) || text.substr( end.size(), label.size() ) != label ||
        text.substr( length - dashes.size(), dashes.size() ) != dashes )
        return 0;
    text.remove_prefix( length );
    return text.empty() ? length : text.starts_with( '\n' ) ? length + 1 : text.starts_with( "\r\n" ) ? length + 2 : 0;
}

// The data of a body whose lines have 64 characters, except the last one, which may have less.
pb::Ref<PB_BUFFER> tryDecodeBody( std::string_view body, bool crlf, bool sensitive )
{
    std::string_view lineEnd = crlf ? "\r\n" : "\n";
    if( !body.ends_with( lineEnd ) )
        return {};
    // The last line may have padding, also if it has 64 characters.
    size_t           lineLength = (size_t)lineCharacters + lineEnd.size();
    size_t           lines      = ( body.size() - 1 ) / lineLength;
    std::string_view lastLine   = body.substr( lines * lineLength );
    if( lastLine.size() <= lineEnd.size() )
        return {};
    lastLine.remove_suffix( lineEnd.size() );
    if( lastLine.size() % 4 )
        return {};
    size_t padding = !lastLine.ends_with( '=' ) ? 0 : lastLine.ends_with( "==" ) ? 2 : 1;
    PB_INT before  = (PB_INT)lines * lineBytes;
    PB_INT last    = (PB_INT)( lastLine.size() / 4 * 3 - padding );

    PB_BYTE           *to;
    pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( before + last, &to ) );
    if( sensitive )
        pbBufferSetSensitive( data.handle() );
    // The last line may give less bytes than there is room for, but never more.
    if( !rfc___BaseTryDecodeLines( body.data(), (PB_INT)( lines * lineLength ), crlf, to ) ||
        rfc___BaseTryDecodeBytes( lastLine.data(), (PB_INT)lastLine.size(), RFC_BASE_64, to + before ) != last )
        return {};
    return data;
}

}

pb::Ref<CRY_PEM> tryReadUsual( TextLines &lines )
{
    std::string_view text = lines.rest();
    BeginLine        first;
    if( !tryReadBegin( text, first ) )
        return {};
    // A hyphen is not a character of base 64, so the body ends before the first one.
    size_t bodyEnd = text.find( '-', first.length );
    if( bodyEnd == text.npos )
        return {};
    std::string_view body      = text.substr( first.length, bodyEnd - first.length );
    size_t           endLength = lengthOfEnd( text.substr( bodyEnd ), first.label );
    if( !endLength )
        return {};
    pb::Ref<PB_BUFFER> data = tryDecodeBody( body, first.crlf, lines.sensitive() || isSensitive( first.label ) );
    if( !data )
        return {};
    size_t lineLength = (size_t)lineCharacters + ( first.crlf ? 2 : 1 );
    lines.skip( (PB_INT)( ( body.size() + lineLength - 1 ) / lineLength ) + 2, bodyEnd + endLength );
    return create( labelString( first.label ), std::move( data ) );
}

}
