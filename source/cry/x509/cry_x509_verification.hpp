// One run of OpenSSL's chain verification, with the parameters that the module always uses.
#pragma once

#include <pb/pb_time.h>
#include <pb/sort.hpp>

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace cry::x509
{

class Verification
{
public:
    explicit Verification( pb::Site site = pb::Site::here() ) : caller( site ), x509StoreCtx( X509_STORE_CTX_new() )
    {
        PB_CHECK_AT( site, x509StoreCtx );
    }
    ~Verification() { X509_STORE_CTX_free( x509StoreCtx ); }
    Verification( const Verification & )            = delete;
    Verification &operator=( const Verification & ) = delete;

    // Whether the certificate verifies for a time. Each certificate of the store may end the chain.
    // The certificates of `x509Extra`, which may be null, are untrusted. All arguments are lent and
    // must outlive this object.
    bool verify( X509_STORE *x509Store, X509 *x509, STACK_OF( X509 ) * x509Extra, time_t seconds )
    {
        if( X509_STORE_CTX_init( x509StoreCtx, x509Store, x509, x509Extra ) != 1 )
            return false;
        X509_VERIFY_PARAM *x509VerifyParam = X509_VERIFY_PARAM_new();
        PB_CHECK_AT( caller, x509VerifyParam );
        X509_VERIFY_PARAM_set_depth( x509VerifyParam, 255 );
        X509_VERIFY_PARAM_set_flags( x509VerifyParam, X509_V_FLAG_PARTIAL_CHAIN );
        X509_VERIFY_PARAM_set_time( x509VerifyParam, seconds );
        // The context takes the parameters over.
        X509_STORE_CTX_set0_param( x509StoreCtx, x509VerifyParam );
        began = true;
        return X509_verify_cert( x509StoreCtx ) == 1;
    }

    // False too if the time is a day that does not exist.
    bool verify( X509_STORE *x509Store, X509 *x509, STACK_OF( X509 ) * x509Extra, PB_TIME *tm )
    {
        time_t seconds;
        return pbTimeTryConvertToTimeT( tm, &seconds ) && verify( x509Store, x509, x509Extra, seconds );
    }

    // The reason why a certificate does not verify. code: OpenSSL's code, or X509_V_ERR_UNSPECIFIED
    // if the verification could not begin (for example, the time is a day that does not exist).
    // depth: 0 for the leaf, -1 if it does not apply. certificate: the certificate to which the
    // code belongs, lent, or null.
    int   code() const { return began ? X509_STORE_CTX_get_error( x509StoreCtx ) : X509_V_ERR_UNSPECIFIED; }
    int   depth() const { return began ? X509_STORE_CTX_get_error_depth( x509StoreCtx ) : -1; }
    X509 *certificate() const { return began ? X509_STORE_CTX_get_current_cert( x509StoreCtx ) : nullptr; }

    // The chain of a certificate that verifies, leaf first, lent.
    STACK_OF( X509 ) * chain() const { return X509_STORE_CTX_get0_chain( x509StoreCtx ); }

    // The number of certificates at the beginning of the chain that do not come from the store.
    int untrusted() const { return X509_STORE_CTX_get_num_untrusted( x509StoreCtx ); }

private:
    pb::Site        caller;
    X509_STORE_CTX *x509StoreCtx;
    bool            began = false;
};

}
