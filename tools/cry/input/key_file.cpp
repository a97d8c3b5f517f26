#include "input/key_file.hpp"

#include "input/input.hpp"
#include "options/command.hpp"
#include "output/describe.hpp"
#include "output/terminal.hpp"

#include <algorithm>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_hash.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cstring>
#include <memory>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <vector>

namespace
{

struct Freer
{
    void operator()( BIO *bio ) const { BIO_free( bio ); }
    void operator()( EVP_MD *md ) const { EVP_MD_free( md ); }
    void operator()( EVP_MD_CTX *context ) const { EVP_MD_CTX_free( context ); }
    void operator()( EVP_PKEY_CTX *context ) const { EVP_PKEY_CTX_free( context ); }
    void operator()( X509_SIG *sig ) const { X509_SIG_free( sig ); }
};
template<class T>
using Ptr = std::unique_ptr<T, Freer>;

bool endsWith( const std::string &text, const char *end ) { return text.ends_with( end ); }

bool isPrivate( const std::string &label ) { return endsWith( label, "PRIVATE KEY" ); }
bool isPublic( const std::string &label ) { return label == "PUBLIC KEY"; }
bool isCertificate( const std::string &label ) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE"; }

std::string formOf( const std::string &label )
{
    if( label == "PRIVATE KEY" )
        return "PKCS#8";
    if( label == "ENCRYPTED PRIVATE KEY" )
        return "PKCS#8, protected by a password";
    if( label == "EC PRIVATE KEY" )
        return "SEC 1";
    return "traditional";
}

// Asks for the password when OpenSSL wants one; what goes wrong with that is said afterwards, since exceptions must not pass through OpenSSL.
struct Asked
{
    tool::PasswordOptions            &options;
    const std::string                &path;
    bool                              asked = false;
    std::unique_ptr<tool::InputError> problem;

    static int callback( char *to, int room, int, void *self )
    {
        Asked &asked = *(Asked *)self;
        asked.asked  = true;
        if( asked.problem ) // OpenSSL asks each of its decoders
            return -1;
        try
        {
            pb::Ref<PB_BUFFER> password = asked.options.get( asked.path );
            int                length   = (int)pbBufferLength( password.get() );
            if( length > room )
                throw tool::InputError( "a password of more than " + std::to_string( room ) + " bytes" );
            std::memcpy( to, pbBufferBytes( password.get() ), (size_t)length );
            return length;
        }
        catch( const tool::InputError &unusable )
        {
            asked.problem = std::make_unique<tool::InputError>( unusable );
            return -1;
        }
    }
};

// The text of a block as OpenSSL wants it: without blanks around its lines, which end with LF.
pb::Ref<PB_BUFFER> tidied( const PB_BYTE *bytes, PB_INT length )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( text.handle() );
    auto isBlank = []( PB_BYTE c ) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; };
    for( PB_INT begin = 0, end; begin < length; begin = end + ( end + 1 < length && bytes[end] == '\r' && bytes[end + 1] == '\n' ? 2 : 1 ) )
    {
        for( end = begin; end < length && bytes[end] != '\r' && bytes[end] != '\n'; )
            end++;
        PB_INT first = begin, last = end;
        while( first < last && isBlank( bytes[first] ) )
            first++;
        while( last > first && isBlank( bytes[last - 1] ) )
            last--;
        pbBufferAppendBytes( text.handle(), bytes + first, last - first );
        pbBufferAppendByte( text.handle(), '\n' );
    }
    return text;
}

// What `read` makes of some bytes, which may ask for the password.
pb::Ref<CRY_PKEY_PRIVATE> unprotected( const PB_BYTE *bytes, PB_INT length, tool::PasswordOptions &password, const std::string &path,
    EVP_PKEY *( *read )(BIO *, EVP_PKEY **, pem_password_cb *, void *), std::string &problem )
{
    Asked    asked{ password, path, false, nullptr };
    Ptr<BIO> bio( BIO_new_mem_buf( bytes, (int)length ) );
    ERR_clear_error();
    EVP_PKEY *pkey = read( bio.get(), nullptr, Asked::callback, &asked );
    if( asked.problem )
        throw *asked.problem;
    if( pkey )
    {
        pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) );
        if( key )
            return key;
    }
    std::string reason = tool::opensslReasonInBrackets();
    problem            = asked.asked ? "the password is wrong, or the key is damaged" + reason : "the private key does not parse" + reason;
    return {};
}

// The certificate's key, which OpenSSL must be able to decode.
pb::Ref<CRY_PKEY_PUBLIC> keyIn( CRY_X509_CERTIFICATE *certificate, std::string &problem )
{
    ERR_clear_error();
    pb::Ref<CRY_PKEY_PUBLIC> key;
    if( X509_get0_pubkey( cry___X509CertificatePeekOpensslX509( certificate ) ) )
        key = pb::adopt( cryX509CertificatePublicKey( certificate ) );
    if( !key )
        problem = "the certificate's key cannot be read" + tool::opensslReasonInBrackets();
    return key;
}

class Reader
{
public:
    Reader( const std::string &file, tool::PasswordOptions &passwordOptions ) :
        path( file ), name( tool::nameOf( file ) ), password( passwordOptions ), content( tool::readWhole( file, tool::Content::secret ) )
    {
        if( !pbBufferLength( content.get() ) )
            throw tool::InputError( name + ": is empty" );
    }

    tool::Key privateKey()
    {
        tool::Key key;
        if( !findPrivate( key ) && !findDerPrivate( key ) )
            throw tool::InputError( name + ": holds no private key" + whatElse() );
        return finished( key );
    }

    tool::Key anyKey()
    {
        tool::Key key;
        if( !findPrivate( key ) && !findPublic( key ) && !findDerPrivate( key ) && !findDerPublic( key ) )
            throw tool::InputError( name + ": holds no key and no certificate" + whatElse() );
        return finished( key );
    }

private:
    [[noreturn]] void fail( PB_INT line, const std::string &problem ) const
    {
        throw tool::InputError( name + ":" + std::to_string( line ) + ": " + problem );
    }

    bool findPrivate( tool::Key &key )
    {
        tool::Blocks blocks( content.get() );
        tool::Block  block;
        while( blocks.next( block ) )
        {
            anyBlock = true;
            others.add( block.label );
            if( !block.pem && block.label.empty() )
                fail( block.problemLine, block.problem );
            if( !isPrivate( block.label ) )
                continue;
            readPrivate( block, key );
            return true;
        }
        return false;
    }

    void readPrivate( const tool::Block &block, tool::Key &key )
    {
        std::string problem;
        key.form = formOf( block.label );
        if( block.headers )
            key.form += ", protected by a password";
        else if( !block.pem )
            fail( block.problemLine, block.problem );
        if( block.headers || block.label == "ENCRYPTED PRIVATE KEY" )
        {
            pb::Ref<PB_BUFFER> text = tidied( pbBufferBytes( content.get() ) + block.offset, block.length );
            key.privateKey          = unprotected(
                pbBufferBytes( text.get() ), pbBufferLength( text.get() ), password, path, PEM_read_bio_PrivateKey, problem );
        }
        else
        {
            ERR_clear_error();
            key.privateKey = pb::adopt( cryPkeyPrivateTryCreateFromPem( block.pem.get() ) );
            problem        = key.privateKey ? "" : "the private key does not parse" + tool::opensslReasonInBrackets();
        }
        if( !key.privateKey )
            fail( block.line, problem );
    }

    bool findPublic( tool::Key &key )
    {
        return findBlock( isPublic,
                   [&]( const tool::Block &block, std::string &problem ) {
                       ERR_clear_error();
                       key.form      = "SubjectPublicKeyInfo";
                       key.publicKey = pb::adopt( cryPkeyPublicTryCreateFromPem( block.pem.get() ) );
                       problem       = key.publicKey ? "" : "the public key does not parse" + tool::opensslReasonInBrackets();
                   } ) ||
            findBlock( isCertificate, [&]( const tool::Block &block, std::string &problem ) {
                key.form = "certificate";
                if( pb::Ref<CRY_X509_CERTIFICATE> certificate = tool::certificateIn( block.pem.get(), problem ) )
                    key.publicKey = keyIn( certificate.get(), problem );
            } );
    }

    bool findBlock( bool ( *wanted )( const std::string & ), auto take )
    {
        tool::Blocks blocks( content.get() );
        tool::Block  block;
        while( blocks.next( block ) )
        {
            if( !wanted( block.label ) )
                continue;
            std::string problem;
            if( !block.pem )
                fail( block.problemLine, block.problem );
            take( block, problem );
            if( !problem.empty() )
                fail( block.line, problem );
            return true;
        }
        return false;
    }

    bool findDerPrivate( tool::Key &key )
    {
        if( anyBlock || !tool::startsWith( content.get(), "\x30" ) )
            return false;
        const unsigned char *bytes = pbBufferBytes( content.get() ), *at = bytes;
        PB_INT               length = pbBufferLength( content.get() );
        Ptr<X509_SIG>        protectedKey( d2i_X509_SIG( nullptr, &at, (long)length ) );
        if( protectedKey && at == bytes + length )
        {
            std::string problem;
            key.form       = "PKCS#8 in DER, protected by a password";
            key.privateKey = unprotected( bytes, length, password, path, d2i_PKCS8PrivateKey_bio, problem );
            if( !key.privateKey )
                throw tool::InputError( name + ": " + problem );
            return true;
        }
        at = bytes;
        if( EVP_PKEY *pkey = d2i_AutoPrivateKey( nullptr, &at, (long)length ) )
            key.privateKey = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) );
        key.form = "DER";
        ERR_clear_error();
        return (bool)key.privateKey;
    }

    bool findDerPublic( tool::Key &key )
    {
        if( anyBlock || !tool::startsWith( content.get(), "\x30" ) )
            return false;
        const unsigned char *at     = pbBufferBytes( content.get() );
        PB_INT               length = pbBufferLength( content.get() );
        key.form                    = "SubjectPublicKeyInfo in DER";
        if( EVP_PKEY *pkey = d2i_PUBKEY( nullptr, &at, (long)length ) )
            key.publicKey = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( pkey ) );
        if( pb::Ref<CRY_X509_CERTIFICATE> certificate = key.publicKey ? pb::Ref<CRY_X509_CERTIFICATE>()
                                                                      : pb::adopt( cryX509CertificateTryCreateFromDer( content.get() ) ) )
        {
            std::string problem;
            key.form      = "certificate in DER";
            key.publicKey = keyIn( certificate.get(), problem );
            if( !key.publicKey )
                throw tool::InputError( name + ": " + problem );
        }
        ERR_clear_error();
        return (bool)key.publicKey;
    }

    std::string whatElse() const
    {
        if( others.list() == "'RSA PUBLIC KEY'" )
            return ", only an RSA PUBLIC KEY; 'openssl rsa -RSAPublicKey_in -pubout' turns it into a PUBLIC KEY";
        if( !others.empty() )
            return ", only " + others.list();
        return anyBlock ? "" : "; it is neither PEM text nor DER of one";
    }

    tool::Key finished( tool::Key &key )
    {
        key.file = path;
        if( !key.privateKey )
            return key;
        tool::warnIfOthersCanRead( path, "the private key" );
        ERR_clear_error();
        key.publicKey = pb::adopt( cryPkeyPrivatePublicKey( key.privateKey.get() ) );
        if( !key.publicKey )
            throw tool::InputError( name + ": OpenSSL does not give the key's public half" + tool::opensslReasonInBrackets() );
        return key;
    }

    const std::string     &path;
    std::string            name;
    tool::PasswordOptions &password;
    pb::Ref<PB_BUFFER>     content;
    bool                   anyBlock = false;
    tool::OtherLabels      others;
};

Ptr<EVP_MD> digest( CRY_HASH_ALGORITHM algorithm )
{
    return Ptr<EVP_MD>( EVP_MD_fetch( nullptr, cry___HashAlgorithmOpensslDigestName( algorithm ), nullptr ) );
}

tool::InputError cannot( const tool::Key &key, const std::string &what )
{
    std::string reason = tool::opensslReasonInBrackets();
    return tool::InputError(
        tool::nameOf( key.file ) + ": OpenSSL cannot " + what + " with this key (" + tool::keyText( key.peek() ) + ") and this digest" + reason );
}

}

EVP_PKEY *tool::Key::peek() const
{
    return privateKey ? cry___PkeyPrivatePeekOpensslEvpPkey( privateKey.get() ) : cry___PkeyPublicPeekOpensslEvpPkey( publicKey.get() );
}

tool::Key tool::readPrivateKey( const std::string &path, PasswordOptions &password ) { return Reader( path, password ).privateKey(); }

tool::Key tool::readKey( const std::string &path, PasswordOptions &password ) { return Reader( path, password ).anyKey(); }

tool::SigningCheck::SigningCheck( CRY_HASH_ALGORITHM algorithm ) : md( digest( algorithm ).release() ), context( EVP_MD_CTX_new() )
{
    if( md && context )
        EVP_SignInit_ex( context, md, nullptr );
}

tool::SigningCheck::~SigningCheck()
{
    EVP_MD_CTX_free( context );
    EVP_MD_free( md );
}

void tool::SigningCheck::update( const PB_BYTE *bytes, PB_INT count ) { EVP_SignUpdate( context, bytes, (size_t)count ); }

void tool::SigningCheck::check( const Key &key ) const
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    std::vector<unsigned char> signature( (size_t)std::max( EVP_PKEY_get_size( pkey ), 1 ) );
    unsigned int               length;
    if( !md || !context || EVP_SignFinal( context, signature.data(), &length, pkey ) != 1 )
        throw cannot( key, "sign" );
}

void tool::checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    Ptr<EVP_MD>       md = digest( algorithm );
    Ptr<EVP_PKEY_CTX> context( EVP_PKEY_CTX_new( pkey, nullptr ) );
    if( !md || !context || EVP_PKEY_verify_init( context.get() ) != 1 || EVP_PKEY_CTX_set_signature_md( context.get(), md.get() ) != 1 )
        throw cannot( key, "verify" );
}

pb::Ref<PB_BUFFER> tool::pemText( CRY_PEM *pem )
{
    pb::Ref<PB_BUFFER> encoded = pb::adopt( cryPemEncode( pem ) );
    const PB_BYTE     *bytes   = pbBufferBytes( encoded.get() );
    PB_INT             length  = pbBufferLength( encoded.get() );
    pb::Ref<PB_BUFFER> text    = pb::adopt( pbBufferCreate() );
    if( pbBufferSensitive( encoded.get() ) )
        pbBufferSetSensitive( text.handle() );
    for( PB_INT from = 0; from < length; )
    {
        PB_INT to = from;
        while( to < length && bytes[to] != '\r' )
            to++;
        pbBufferAppendBytes( text.handle(), bytes + from, to - from );
        from = to + 1;
    }
    return text;
}
