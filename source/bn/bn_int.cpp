#include <bn/bn_int.h>
#include <bn/internal/bn_int.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <openssl/crypto.h>

struct BN_INT : PB_OBJ
{
    BIGNUM *bignum;
};

static void freeInt( BN_INT *bn )
{
    PB_CHECK( bn );
    BN_clear_free( bn->bignum );
    pb::setPoison( bn->bignum );
}

static PB_INT compareInt( BN_INT *bnA, BN_INT *bnB )
{
    PB_CHECK( bnA );
    PB_CHECK( bnB );
    return BN_cmp( bnA->bignum, bnB->bignum );
}

static PB_STRING *intToString( BN_INT *bn ) { return bnIntConvertToDecimalString( bn ); }

PB_SORT_DEFINE( bn, Int, BN_INT, .free = pb::slot<freeInt>, .compare = pb::slot<compareInt>, .toString = pb::slot<intToString> )

BN_INT *bnIntCreate( PB_INT value )
{
    BIGNUM *bignum = BN_new();
    PB_CHECK( bignum );
    uint64_t magnitude = value < 0 ? 0 - (uint64_t)value : (uint64_t)value;
    PB_CHECK( BN_set_word( bignum, magnitude ) );
    BN_set_negative( bignum, value < 0 );
    return bn___IntCreateFromBignumUse( bignum );
}

BN_INT *bnIntTryCreateFromDecimalString( PB_STRING *text )
{
    PB_CHECK( text );
    const char *cstr = pbStringTryPeekCstr( text );
    if( !cstr )
        return nullptr;
    // OpenSSL stops at the first character that is not a digit, so the whole text is checked first.
    const char *digits = cstr + ( *cstr == '-' );
    size_t      count  = 0;
    while( digits[count] >= '0' && digits[count] <= '9' )
        count++;
    if( !count || digits[count] )
        return nullptr;
    BIGNUM *bignum = nullptr;
    if( !BN_dec2bn( &bignum, cstr ) )
        return nullptr;
    return bn___IntCreateFromBignumUse( bignum );
}

PB_STRING *bnIntConvertToDecimalString( BN_INT *bn )
{
    PB_CHECK( bn );
    char *text = BN_bn2dec( bn->bignum );
    PB_CHECK( text );
    PB_STRING *result = pbStringCreateFromCstr( text, -1 );
    OPENSSL_free( text );
    return result;
}

BN_INT *bn___IntCreateFromBignumUse( BIGNUM *bignum )
{
    PB_CHECK( bignum );
    BN_INT *bn = pb::create<BN_INT>();
    bn->bignum = bignum;
    return bn;
}

const BIGNUM *bn___IntPeekBignum( BN_INT *bn ) { return PB_CHECK( bn ), bn->bignum; }
