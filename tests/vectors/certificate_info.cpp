// Prints what the library says about certificates, one JSON text in each line; null for data that
// is not a certificate. Standard input has each certificate as DER after its length (four bytes,
// the most significant first).
#include <cry/cry.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <pb/runtime.hpp>

#include <cstdio>
#include <string>

namespace
{

std::string quoted( PB_STRING *str )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( str, &length );
    std::string out  = "\"";
    for( PB_INT index = 0; index < length; index++ )
    {
        char escape[8];
        if( (unsigned char)text[index] < 0x20 || text[index] == '"' || text[index] == '\\' )
            out.append( escape, (size_t)std::snprintf( escape, sizeof escape, "\\u%04x", text[index] ) );
        else
            out += text[index];
    }
    return out + "\"";
}

std::string jsonOf( PB_STORE *store )
{
    bool        isArray = pbStoreIsArray( store );
    std::string out;
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
    {
        out += index ? "," : "";
        if( !isArray )
            out += quoted( pb::adopt( pbStoreKeyAt( store, index ) ).get() ) + ":";
        if( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( store, index ) ) )
            out += jsonOf( inner.get() );
        else if( pb::Ref<PB_STRING> value = pb::adopt( pbStoreValueAt( store, index ) ) )
            out += quoted( value.get() );
        else
            out += "null";
    }
    return isArray ? "[" + out + "]" : "{" + out + "}";
}

std::string infoOf( const std::string &der )
{
    pb::Ref<PB_BUFFER>            buffer = pb::adopt( pbBufferCreateFromBytes( der.data(), (PB_INT)der.size() ) );
    pb::Ref<CRY_X509_CERTIFICATE> cert   = pb::adopt( cryX509CertificateTryCreateFromDer( buffer.get() ) );
    if( !cert )
        return "null";
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509CertificateInfo( cert.get() ) );
    return jsonOf( pb::adopt( cryX509InfoStore( info.get() ) ).get() );
}

}

int main()
{
    pb::Runtime runtime{ "cry" };
    if( !runtime.started() )
        return 1;
    unsigned char head[4];
    while( std::fread( head, sizeof head, 1, stdin ) == 1 )
    {
        std::string der( (size_t)head[0] << 24 | (size_t)head[1] << 16 | (size_t)head[2] << 8 | head[3], 0 );
        if( std::fread( der.data(), 1, der.size(), stdin ) != der.size() )
            return 1;
        std::puts( infoOf( der ).c_str() );
    }
    return 0;
}
