#include "input/pkcs12_file.hpp"

#include "input/password.hpp"
#include "text/convert.hpp"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/proverr.h>

tool::Pkcs12Attempt::Pkcs12Attempt( PB_BUFFER *content, const pb::Ref<PB_BUFFER> &password )
{
    PB_STRING         *text = nullptr;
    pb::Ref<PB_STRING> str  = passwordText( password );
    pkcs12                  = pb::adopt( cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( content, str.get(), &text, &code ) );
    if( text )
        diagnostics = take( text );
    ERR_clear_error();
}

bool tool::Pkcs12Attempt::isReason( int library, int reason ) const
{
    unsigned long error = (unsigned long)(uint32_t)code;
    return !pkcs12 && ERR_GET_LIB( error ) == library && ERR_GET_REASON( error ) == reason;
}

bool tool::Pkcs12Attempt::wrongPassword() const
{
    return isReason( ERR_LIB_PKCS12, PKCS12_R_MAC_VERIFY_FAILURE ) || isReason( ERR_LIB_PROV, PROV_R_BAD_DECRYPT );
}

bool tool::Pkcs12Attempt::withoutMac() const { return isReason( ERR_LIB_PKCS12, PKCS12_R_MAC_ABSENT ); }
