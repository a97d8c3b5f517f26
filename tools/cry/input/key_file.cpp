#include "input/key_file.hpp"

#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/key_parts.hpp"
#include "input/pem.hpp"
#include "input/protected_key.hpp"
#include "output/error.hpp"
#include "output/openssl_reason.hpp"
#include "text/convert.hpp"

#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace
{

bool isPrivate( const std::string &label ) { return label.ends_with( "PRIVATE KEY" ); }
bool isPublic( const std::string &label ) { return label == "PUBLIC KEY"; }
bool isCertificate( const std::string &label ) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE"; }

// The certificate's key, which OpenSSL must be able to decode.
pb::Ref<CRY_PKEY_PUBLIC> keyIn( CRY_X509_CERTIFICATE *certificate, std::string &problem )
{
    ERR_clear_error();
    pb::Ref<CRY_PKEY_PUBLIC> key;
    if( cryX509CertificateHasPublicKey( certificate ) )
        key = pb::adopt( cryX509CertificatePublicKey( certificate ) );
    else
        X509_get0_pubkey( cry___X509CertificatePeekOpensslX509( certificate ) ); // for the reason
    if( !key )
        problem = "the certificate's key cannot be read" + tool::opensslReasonInBrackets();
    return key;
}

class Reader
{
public:
    Reader( const std::string &file, tool::PasswordOptions &passwordOptions ) :
        path( file ), password( passwordOptions ), content( tool::readWhole( file, tool::Content::key ) )
    {
        if( !pbBufferLength( content.get() ) )
            throw tool::InputError( path, "is empty" );
    }

    tool::Key privateKey()
    {
        tool::Key key;
        if( !findPrivate( key ) && !findDerPrivate( key ) )
            throw tool::InputError( path, notFound( "holds no private key" ) );
        return finished( key );
    }

    tool::Key anyKey()
    {
        tool::Key key;
        if( !findPrivate( key ) && !findPublic( key ) && !findDerPrivate( key ) && !findDerPublic( key ) )
            throw tool::InputError( path, notFound( "holds no key and no certificate" ) );
        return finished( key );
    }

private:
    [[noreturn]] void fail( PB_INT line, const std::string &problem ) const { throw tool::InputError( path, problem, line ); }

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
        key.form = tool::formOf( block.label );
        if( block.headers )
            key.form += ", protected by a password";
        else if( !block.pem )
            fail( block.problemLine, block.problem );
        if( block.headers )
            tool::takeUnprotected(
                tool::decryptOldPem( pbBufferBytes( content.get() ) + block.offset, block.length, password, path ), key.privateKey, problem );
        else if( block.label == "ENCRYPTED PRIVATE KEY" )
            tool::readEncryptedKey( pb::adopt( cryPemData( block.pem.get() ) ).get(), password, path, key.privateKey, problem );
        else
            tool::readPlainKey( block.pem.get(), key.privateKey, problem );
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
        const unsigned char                                  *bytes = pbBufferBytes( content.get() ), *at = bytes;
        PB_INT                                                length = pbBufferLength( content.get() );
        std::unique_ptr<X509_SIG, decltype( &X509_SIG_free )> protectedKey( d2i_X509_SIG( nullptr, &at, (long)length ), X509_SIG_free );
        std::string                                           problem;
        if( protectedKey && at == bytes + length )
        {
            key.form = "PKCS#8 in DER, protected by a password";
            tool::takeUnprotected( tool::decryptPkcs8( protectedKey.get(), password, path ), key.privateKey, problem );
            if( !key.privateKey )
                throw tool::InputError( path, problem );
            return true;
        }
        // It may still be a certificate.
        refusal = tool::problemInKey( content.get() );
        if( !refusal.empty() )
            return false;
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
                throw tool::InputError( path, problem );
        }
        ERR_clear_error();
        return (bool)key.publicKey;
    }

    std::string notFound( const char *what ) const { return refusal.starts_with( "the key has" ) ? refusal : what + whatElse(); }

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
        {
            std::string problem = tool::problemInKey( pb::adopt( cryPemData( pb::adopt( cryPkeyPublicPem( key.publicKey.get() ) ).get() ) ).get() );
            if( !problem.empty() )
                throw tool::InputError( path, problem );
            return key;
        }
        tool::warnIfOthersCanRead( path, "the private key" );
        ERR_clear_error();
        key.publicKey = pb::adopt( cryPkeyPrivatePublicKey( key.privateKey.get() ) );
        if( !key.publicKey )
            throw tool::InputError( path, "OpenSSL does not give the key's public half" + tool::opensslReasonInBrackets() );
        return key;
    }

    const std::string     &path;
    tool::PasswordOptions &password;
    pb::Ref<PB_BUFFER>     content;
    bool                   anyBlock = false;
    std::string            refusal; // why DER was not tried as a private key
    tool::OtherLabels      others;
};

}

EVP_PKEY *tool::Key::peek() const
{
    return privateKey ? cry___PkeyPrivatePeekOpensslEvpPkey( privateKey.get() ) : cry___PkeyPublicPeekOpensslEvpPkey( publicKey.get() );
}

tool::Key tool::readPrivateKey( const std::string &path, PasswordOptions &password ) { return Reader( path, password ).privateKey(); }

tool::Key tool::readKey( const std::string &path, PasswordOptions &password ) { return Reader( path, password ).anyKey(); }
