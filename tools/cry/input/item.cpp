#include "input/item.hpp"

#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/key_parts.hpp"
#include "input/pem.hpp"
#include "input/protection.hpp"
#include "output/notices.hpp"
#include "output/openssl_reason.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_crl.h>
#include <cry/internal/cry_x509_csr.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

namespace
{

using tool::Item;
using tool::Kind;

// The labels of the blocks that are known, with what their items are.
struct Label
{
    const char *text;
    Kind        kind;
};

constexpr Label labels[] = {
    { "CERTIFICATE", Kind::certificate },
    { "X509 CERTIFICATE", Kind::certificate },
    { "CERTIFICATE REQUEST", Kind::request },
    { "NEW CERTIFICATE REQUEST", Kind::request },
    { "X509 CRL", Kind::crl },
    { "PUBLIC KEY", Kind::publicKey },
    { "PKCS12", Kind::pkcs12 },
    // Other programs' forms, although they look like keys.
    { "OPENSSH PRIVATE KEY", Kind::other },
    { "SSH2 ENCRYPTED PRIVATE KEY", Kind::other },
};

Kind kindOf( const std::string &label )
{
    for( const Label &each : labels )
    {
        if( label == each.text )
            return each.kind;
    }
    return label.ends_with( "PRIVATE KEY" ) ? Kind::privateKey : Kind::other;
}

// How messages call a kind.
std::string inWords( Kind kind ) { return kind == Kind::crl ? "CRL" : kind == Kind::pkcs12 ? "PKCS#12 file" : tool::nameOf( kind ); }

// An object that OpenSSL decodes from the beginning of DER.
template<class Object>
Object *decoded( PB_BUFFER *der, Object *( *decode )(Object **, const unsigned char **, long))
{
    const unsigned char *at = pbBufferBytes( der );
    return decode( nullptr, &at, (long)pbBufferLength( der ) );
}

template<class Object>
bool decodes( PB_BUFFER *der, Object *( *decode )(Object **, const unsigned char **, long), void ( *free )( Object * ) )
{
    Object *object = decoded( der, decode );
    free( object );
    return object;
}

void lock( Item &item, const std::string &form, const std::string &protection )
{
    item.form       = form;
    item.isLocked   = true;
    item.protection = protection;
}

// ---- DER

bool findCertificate( Item &item )
{
    item.certificate = pb::adopt( cryX509CertificateTryCreateFromDer( item.der.get() ) );
    return (bool)item.certificate;
}

bool findRequest( Item &item )
{
    X509_REQ *request = decoded( item.der.get(), d2i_X509_REQ );
    item.request      = pb::adopt( request ? cry___X509CsrTryCreateFromOpensslX509ReqUse( request ) : nullptr );
    return (bool)item.request;
}

bool findCrl( Item &item )
{
    X509_CRL *crl = decoded( item.der.get(), d2i_X509_CRL );
    item.crl      = pb::adopt( crl ? cry___X509CrlTryCreateFromOpensslX509CrlUse( crl ) : nullptr );
    return (bool)item.crl;
}

bool findLockedKey( Item &item )
{
    if( !decodes( item.der.get(), d2i_X509_SIG, X509_SIG_free ) )
        return false;
    item.label = "ENCRYPTED PRIVATE KEY";
    lock( item, "PKCS#8 in DER, protected by a password", tool::protectionOfPkcs8( item.der.get() ) );
    return true;
}

bool findPkcs12( Item &item ) { return decodes( item.der.get(), d2i_PKCS12, PKCS12_free ); }

bool findPublicKey( Item &item )
{
    if( !decodes( item.der.get(), d2i_X509_PUBKEY, X509_PUBKEY_free ) )
        return false;
    ERR_clear_error();
    item.form     = "SubjectPublicKeyInfo in DER";
    EVP_PKEY *key = decoded( item.der.get(), d2i_PUBKEY );
    item.problem  = key ? "" : "the public key does not parse" + tool::opensslReasonInBrackets();
    if( key )
        item.publicKey = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( key ) );
    return true;
}

// The label that PEM of a key in DER has.
std::string labelOf( PB_BUFFER *der, EVP_PKEY *key )
{
    if( !key || decodes( der, d2i_PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free ) )
        return "PRIVATE KEY";
    return std::string( EVP_PKEY_get0_type_name( key ) ) + " PRIVATE KEY";
}

bool findPrivateKey( Item &item )
{
    bool isPkcs8 = decodes( item.der.get(), d2i_PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free );
    item.problem = tool::problemInKey( item.der.get() );
    if( !item.problem.empty() )
        return isPkcs8 || item.problem.starts_with( "the key has" );
    ERR_clear_error();
    EVP_PKEY *key = decoded( item.der.get(), d2i_AutoPrivateKey );
    if( !key && !isPkcs8 )
        return false;
    item.label   = labelOf( item.der.get(), key );
    item.form    = tool::formOf( item.label ) + " in DER";
    item.problem = key ? "" : "the private key does not parse" + tool::opensslReasonInBrackets();
    if( key )
        item.privateKey = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( key ) );
    return true;
}

struct Finder
{
    Kind        kind;
    const char *label;
    bool ( *find )( Item & );
};

// The forms of all kinds differ, so that no order of them finds something else.
constexpr Finder finders[] = {
    { Kind::certificate, "CERTIFICATE", findCertificate },
    { Kind::crl, "X509 CRL", findCrl },
    { Kind::request, "CERTIFICATE REQUEST", findRequest },
    { Kind::privateKey, "ENCRYPTED PRIVATE KEY", findLockedKey },
    { Kind::pkcs12, "PKCS12", findPkcs12 },
    { Kind::publicKey, "PUBLIC KEY", findPublicKey },
    { Kind::privateKey, "PRIVATE KEY", findPrivateKey },
};

// Whether DER is of one of the kinds; the item then says of which.
bool findInDer( Item &item )
{
    if( !tool::startsWith( item.der.get(), "\x30" ) )
        return false;
    for( const Finder &each : finders )
    {
        item.kind  = each.kind;
        item.label = each.label;
        bool found = each.find( item );
        ERR_clear_error();
        if( found )
            return true;
    }
    item.problem.clear();
    return false;
}

// The length of the element at the beginning of DER; more than there is if it is cut off, and 0 if
// it does not say.
PB_INT lengthOfElement( PB_BUFFER *der )
{
    constexpr int cutOff = 0x80, indefinite = 0x01;

    const unsigned char *begin = pbBufferBytes( der ), *at = begin;
    long                 size = 0;
    int                  tag, kind;
    int                  form    = ASN1_get_object( &at, &size, &tag, &kind, (long)pbBufferLength( der ) );
    bool                 tooLong = ERR_GET_REASON( ERR_peek_error() ) == ASN1_R_TOO_LONG;
    ERR_clear_error();
    if( form & cutOff )
        return tooLong ? pbBufferLength( der ) + 1 : 0;
    return form & indefinite ? 0 : ( at - begin ) + size;
}

// ---- PEM

std::string lockedBy( const std::string &text )
{
    size_t at = text.find( "DEK-Info:" );
    if( at == text.npos )
        return "";
    at = text.find_first_not_of( " \t", at + 9 );
    return at == text.npos ? "" : tool::printable( text.substr( at, text.find_first_of( ",\n\r", at ) - at ) );
}

// Some text for a block that does not parse although another kind's would: labels can be wrong.
std::string otherwise( const Item &block )
{
    Item item;
    item.der = block.der;
    return findInDer( item ) && item.kind != block.kind ? "; by its bytes it is a " + inWords( item.kind ) : "";
}

void readKnown( Item &item, CRY_PEM *pem )
{
    ERR_clear_error();
    switch( item.kind )
    {
    case Kind::certificate:
        item.certificate = tool::certificateIn( pem, item.problem );
        break;
    case Kind::request:
        item.request = pb::adopt( cryX509CsrTryCreateFromPem( pem ) );
        item.problem = item.request ? "" : "the request does not parse" + tool::opensslReasonInBrackets();
        break;
    case Kind::crl:
        item.crl     = pb::adopt( cryX509CrlTryCreateFromPem( pem ) );
        item.problem = item.crl ? "" : "the CRL does not parse" + tool::opensslReasonInBrackets();
        break;
    case Kind::publicKey:
        item.form      = "SubjectPublicKeyInfo";
        item.publicKey = pb::adopt( cryPkeyPublicTryCreateFromPem( pem ) );
        item.problem   = item.publicKey ? "" : "the public key does not parse" + tool::opensslReasonInBrackets();
        break;
    case Kind::privateKey:
        item.form = tool::formOf( item.label );
        if( item.label != "ENCRYPTED PRIVATE KEY" )
            tool::readPlainKey( pem, item.privateKey, item.problem );
        else if( decodes( item.der.get(), d2i_X509_SIG, X509_SIG_free ) )
            lock( item, item.form, tool::protectionOfPkcs8( item.der.get() ) );
        else
            item.problem = "the private key does not parse" + tool::opensslReasonInBrackets();
        break;
    case Kind::pkcs12:
        if( !findPkcs12( item ) )
            item.problem = "the PKCS#12 file does not parse" + tool::opensslReasonInBrackets();
        break;
    case Kind::other:
        break;
    }
    ERR_clear_error();
}

Item itemOf( const tool::Block &block, PB_BUFFER *content )
{
    Item item;
    item.kind  = kindOf( block.label );
    item.line  = block.line;
    item.label = block.label;
    if( block.pem )
    {
        item.der = pb::adopt( cryPemData( block.pem.get() ) );
        readKnown( item, block.pem.get() );
        if( !item.problem.empty() )
            item.problem += otherwise( item );
    }
    else if( block.headers && item.kind == Kind::privateKey )
    {
        item.text = tool::tidiedPem( pbBufferBytes( content ) + block.offset, block.length );
        lock( item, tool::formOf( block.label ) + ", protected by a password", lockedBy( tool::textOf( item.text.get() ) ) );
    }
    else if( !block.headers || item.kind != Kind::other )
    {
        item.problem     = block.problem;
        item.problemLine = block.problemLine;
    }
    return item;
}

// Why a file has nothing at all.
std::string whatElse( PB_BUFFER *content )
{
    if( !pbBufferLength( content ) )
        return "is empty";
    if( tool::startsWith( content, "\xFF\xFE" ) || tool::startsWith( content, "\xFE\xFF" ) )
        return "is text in UTF-16; PEM is read in ASCII or UTF-8";
    if( tool::startsWith( content, "\x30" ) && lengthOfElement( content ) > pbBufferLength( content ) )
        return "is cut off: it ends before the DER in it does";
    return "is neither PEM text nor a certificate, request, CRL, key or PKCS#12 file in DER";
}

}

std::string tool::nameOf( Kind kind )
{
    static constexpr const char *names[] = { "certificate", "request", "crl", "private key", "public key", "pkcs12", "other" };
    return names[(size_t)kind];
}

void tool::Item::unlock( PasswordOptions &password )
{
    if( text )
        takeUnprotected( decryptOldPem( pbBufferBytes( text.get() ), pbBufferLength( text.get() ), password, file ), privateKey, problem );
    else
        readEncryptedKey( der.get(), password, file, privateKey, problem );
}

void tool::forEachItem( const std::string &path, const std::function<void( Item & )> &take )
{
    pb::Ref<PB_BUFFER> content = readWhole( path, Content::secret );
    bool               any = false, warned = false;
    auto               give = [&]( Item &item ) {
        any       = true;
        item.file = path;
        if( item.kind == Kind::privateKey && item.problem.empty() && !warned )
        {
            warnIfOthersCanRead( path, "the private key" );
            warned = true;
        }
        take( item );
    };
    Blocks blocks( content.get() );
    Block  block;
    while( blocks.next( block ) )
    {
        Item item = itemOf( block, content.get() );
        give( item );
    }
    if( any )
        return;
    Item   item;
    PB_INT length  = lengthOfElement( content.get() );
    PB_INT surplus = length ? pbBufferLength( content.get() ) - length : 0;
    item.der       = surplus > 0 ? pb::adopt( pbBufferCreateFromInner( content.get(), 0, length ) ) : content;
    if( !findInDer( item ) )
        throw InputError( path, whatElse( content.get() ) );
    if( surplus > 0 )
        warn( { nameOf( path ) + ": " + counted( (size_t)surplus, "byte" ) + " behind the " + inWords( item.kind ) + " are left out", path, {} } );
    give( item );
}
