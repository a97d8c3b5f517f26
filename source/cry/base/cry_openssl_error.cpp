#include <cry/internal/cry_module.h>
#include <pb/pb_string.h>

#include <openssl/err.h>

PB_STRING *cry___OpensslErrorString( unsigned long code )
{
    code &= 0xFFFFFFFF;
    return pbStringCreateFromFormatCstr( "%08!16i:%#lc::%#lc", -1, (PB_INT)code, ERR_lib_error_string( code ), ERR_reason_error_string( code ) );
}
