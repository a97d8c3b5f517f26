#include "base/cry_pem.hpp"

#include <cry/cry_pem.h>
#include <cry/internal/cry_pem.h>
#include <pb/sort.hpp>

#include "base/cry_pem_lines.hpp"

struct CRY_PEM : PB_OBJ
{
    PB_STRING *label;
    PB_BUFFER *data;
};

static constexpr auto pemFields = pb::fields<&CRY_PEM::label, &CRY_PEM::data>;

PB_SORT_OF_FIELDS( cry, Pem, CRY_PEM, pem, pemFields, pemFields )

static CRY_PEM *writable( CRY_PEM **pem ) { return pb::makeWritable( pem, cryPemCreateFrom ); }

CRY_PEM *cryPemCreate()
{
    CRY_PEM *pem = pb::create<CRY_PEM>();
    pem->label   = pbStringCreate();
    pem->data    = pbBufferCreate();
    return pem;
}

CRY_PEM *cryPemCreateFrom( CRY_PEM *source ) { return PB_CHECK( source ), pb::copyOf( pemFields, source ); }

PB_STRING *cryPemLabel( CRY_PEM *pem ) { return PB_CHECK( pem ), pb::shareOrNull( pem->label ); }

PB_BUFFER *cryPemData( CRY_PEM *pem ) { return PB_CHECK( pem ), pb::shareOrNull( pem->data ); }

static std::string_view labelText( PB_STRING *label )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( label, &length );
    return { text, (size_t)length };
}

// If the label names secret content, the data gets the mark, no matter which of the two is set
// last.
static void markSensitive( CRY_PEM *pem )
{
    if( cry::pem::isSensitive( labelText( pem->label ) ) && !pbBufferSensitive( pem->data ) )
        pbBufferSetSensitive( &pem->data );
}

void cryPemSetLabel( CRY_PEM **pem, PB_STRING *label )
{
    PB_CHECK_HANDLE( pem );
    PB_CHECK( cryPemLabelOk( label ) );
    pb::assign( writable( pem )->label, label );
    markSensitive( *pem );
}

void cryPemSetData( CRY_PEM **pem, PB_BUFFER *data )
{
    PB_CHECK_HANDLE( pem );
    PB_CHECK( data );
    pb::assign( writable( pem )->data, data );
    markSensitive( *pem );
}

pb::Ref<CRY_PEM> cry::pem::create( pb::Ref<PB_STRING> label, pb::Ref<PB_BUFFER> data )
{
    CRY_PEM *pem = pb::create<CRY_PEM>();
    pem->label   = label.take();
    pem->data    = data.take();
    markSensitive( pem );
    return pb::adopt( pem );
}

PB_STRING *cry::pem::label( CRY_PEM *pem ) { return pem->label; }

PB_BUFFER *cry::pem::data( CRY_PEM *pem ) { return pem->data; }

bool cry::pem::hasLabel( CRY_PEM *pem, const char *text ) { return pbStringEqualsCstr( pem->label, text, -1 ); }

namespace
{

using cry::pem::lineBytes, cry::pem::lineCharacters;

constexpr std::string_view lineEnd = "\r\n";

char *put( char *to, std::string_view text ) { return (char *)std::memcpy( to, text.data(), text.size() ) + text.size(); }

// Calls line( bytes, count ) for the bytes of each line of the body.
void forEachLine( PB_BUFFER *data, auto line )
{
    const PB_BYTE *bytes  = pbBufferBytes( data );
    PB_INT         length = pbBufferLength( data );
    for( PB_INT offset = 0; offset < length; offset += lineBytes )
        line( bytes + offset, length - offset < lineBytes ? length - offset : lineBytes );
}

}

PB_BUFFER *cryPemEncode( CRY_PEM *pem )
{
    PB_CHECK( pem );
    using namespace cry::pem;
    std::string_view label = labelText( pem->label );
    PB_INT           bytes = pbBufferLength( pem->data );
    PB_INT           lines = bytes / lineBytes + ( bytes % lineBytes != 0 );
    PB_INT           ends  = (PB_INT)( begin.size() + end.size() + 2 * ( label.size() + dashes.size() + lineEnd.size() ) );

    char              *to;
    pb::Ref<PB_BUFFER> text = pb::adopt(
        pb___BufferCreateLength( ends + rfc___BaseEncodedLength( bytes, RFC_BASE_64 ) + lines * (PB_INT)lineEnd.size(), (PB_BYTE **)&to ) );
    to = put( put( put( put( to, begin ), label ), dashes ), lineEnd );
    to += rfc___BaseEncodeLines( pbBufferBytes( pem->data ), bytes, to );
    put( put( put( put( to, end ), label ), dashes ), lineEnd );
    if( pbBufferSensitive( pem->data ) )
        pbBufferSetSensitive( text.handle() );
    return text.take();
}

PB_VECTOR *cryPemEncodeToStringVector( CRY_PEM *pem )
{
    PB_CHECK( pem );
    PB_BOOL            sensitive = pbBufferSensitive( pem->data );
    pb::Ref<PB_VECTOR> lines     = pb::adopt( pbVectorCreate() );
    auto               append    = [&]( pb::Ref<PB_STRING> line ) { pbVectorAppendObj( lines.handle(), line.obj() ); };

    append( pb::adopt( pbStringCreateFromFormatCstr( "-----BEGIN %s-----", -1, pem->label ) ) );
    forEachLine( pem->data, [&]( const PB_BYTE *from, PB_INT count ) {
        char text[lineCharacters];
        rfc___BaseEncodeBytes( from, count, RFC_BASE_64, text );
        PB_INT             length = rfc___BaseEncodedLength( count, RFC_BASE_64 );
        pb::Ref<PB_STRING> line   = pb::adopt( pbStringCreateFromCstr( text, length ) );
        if( sensitive )
        {
            pbStringSetSensitive( line.handle() );
            pbMemCleanse( text, sizeof text );
        }
        append( std::move( line ) );
    } );
    append( pb::adopt( pbStringCreateFromFormatCstr( "-----END %s-----", -1, pem->label ) ) );
    return lines.take();
}

CRY_PEM *cryPemTryDecode( PB_BUFFER *buf ) { return PB_CHECK( buf ), cry::pem::tryReadSingle( cry::pem::textLines( buf ) ); }

// The vector with every line trimmed, without empty lines and comments.
static pb::Ref<PB_VECTOR> cleaned( PB_VECTOR *vec )
{
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbVectorCreate() );
    for( PB_INT index = 0; index < pbVectorLength( vec ); index++ )
    {
        pb::Ref<PB_STRING> line = pb::adopt( pbStringTrim( pbStringFrom( pb___VectorPeekObjAt( vec, index ) ) ) );
        if( pbStringLength( line.get() ) && !pbStringBeginsWithCstr( line.get(), "#", 1 ) )
            pbVectorAppendObj( lines.handle(), line.obj() );
    }
    return lines;
}

PB_BOOL cry___PemTryDecodeFromStringVector( PB_VECTOR **vec, CRY_PEM **pem )
{
    PB_CHECK( vec );
    cry::pem::checkLines( vec );
    PB_CHECK( pem );
    *pem                     = nullptr;
    pb::Ref<PB_VECTOR> lines = cleaned( *vec );
    pbVectorRelease( *vec );
    *vec = lines.take();
    // A single line is not a block; it stays in the vector.
    if( pbVectorLength( *vec ) == 1 )
        return PB_FALSE;
    cry::pem::StringLines reader( *vec );
    pb::Ref<CRY_PEM>      block;
    cry::pem::Outcome     outcome = cry::pem::readBlock( reader, block );
    for( PB_INT used = reader.used(); used > 0; used-- )
        pbVectorDelObjAt( vec, 0 );
    *pem = block.take();
    return outcome != cry::pem::Outcome::failed;
}

CRY_PEM *cryPemTryDecodeFromStringVector( PB_VECTOR *vec )
{
    PB_CHECK( vec );
    cry::pem::checkLines( &vec );
    return cry::pem::tryReadSingle( cry::pem::StringLines( vec ) );
}

PB_STORE *cryPemStore( CRY_PEM *pem )
{
    PB_CHECK( pem );
    PB_STORE          *store = pbStoreCreateArray();
    pb::Ref<PB_VECTOR> lines = pb::adopt( cryPemEncodeToStringVector( pem ) );
    for( PB_INT index = 0; index < pbVectorLength( lines.get() ); index++ )
        pbStoreAppendValue( &store, pbStringFrom( pb___VectorPeekObjAt( lines.get(), index ) ) );
    return store;
}

CRY_PEM *cryPemTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbVectorCreate() );
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
    {
        if( pb::Ref<PB_STRING> line = pb::adopt( pbStoreValueAt( store, index ) ) )
            pbVectorAppendObj( lines.handle(), line.obj() );
    }
    return cry::pem::tryReadSingle( cry::pem::StringLines( lines.get() ) );
}

PB_BOOL cry___PemEncodeToBio( CRY_PEM *pem, BIO *bio )
{
    PB_CHECK( pem );
    PB_CHECK( bio );
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem ) );
    const PB_BYTE     *at   = pbBufferBytes( text.get() );
    for( PB_INT left = pbBufferLength( text.get() ); left > 0; )
    {
        int write   = left < 16384 ? (int)left : 16384;
        int written = BIO_write( bio, at, write );
        PB_CHECK( written <= write );
        if( written < write && !BIO_test_flags( bio, BIO_FLAGS_SHOULD_RETRY ) )
            return PB_FALSE;
        if( written > 0 )
        {
            at += written;
            left -= written;
        }
    }
    return PB_TRUE;
}

CRY_PEM *cry___PemTryDecodeFromBio( BIO *bio )
{
    PB_CHECK( bio );
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    // It may be a private key. Only the label shows if it is one, so the PEM object does not
    // inherit this mark.
    pbBufferSetSensitive( text.handle() );
    struct Piece
    {
        PB_BYTE bytes[128];
        ~Piece() { pbMemCleanse( bytes, sizeof bytes ); }
    } piece;
    PB_BYTE( &bytes )[128] = piece.bytes;
    for( ;; )
    {
        int bytesRead = BIO_read( bio, bytes, sizeof bytes );
        PB_CHECK( bytesRead <= PB_SIZEOF( bytes ) );
        if( bytesRead > 0 )
        {
            if( pbBufferSpace( text.get() ) < bytesRead )
                return nullptr;
            pbBufferAppendBytes( text.handle(), bytes, bytesRead );
        }
        else if( BIO_ctrl( bio, BIO_CTRL_EOF, 0, nullptr ) )
            return cry::pem::tryReadSingle( cry::pem::textLines( text.get(), false ) );
        else if( !BIO_test_flags( bio, BIO_FLAGS_SHOULD_RETRY ) )
            return nullptr;
    }
}
