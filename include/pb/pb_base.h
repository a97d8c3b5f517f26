/* The types, the linkage and the contract checks that all these libraries use. */
#ifndef PB_PB_BASE_H
#define PB_PB_BASE_H

#include <stddef.h>
#include <stdint.h>

/* PB_BEGIN_DECLS and PB_END_DECLS enclose the declarations of C functions. PB_NORETURN: the
   function does not return. PB_DEFAULT_NULL: null is the default in C++. */
#ifdef __cplusplus
#define PB_BEGIN_DECLS \
    extern "C"         \
    {
#define PB_END_DECLS }
#define PB_NORETURN [[noreturn]]
#define PB_DEFAULT_NULL = nullptr
#else
#define PB_BEGIN_DECLS
#define PB_END_DECLS
#define PB_NORETURN __attribute__( ( noreturn ) )
#define PB_DEFAULT_NULL
#endif

/* Marks a function or object that a library exports; everything else is hidden. */
#define PB_EXPORT __attribute__( ( visibility( "default" ) ) )

typedef int64_t  PB_INT;  /* counts, offsets, enumeration values, flags */
typedef int32_t  PB_BOOL; /* 0 is false, everything else true; functions return 0 or 1 */
typedef uint32_t PB_CHAR; /* one Unicode code point */
typedef uint8_t  PB_BYTE; /* eight bits */

/* PB_INT_MAX, PB_INT_MIN: the largest and the smallest PB_INT. */
#define PB_INT_MAX INT64_MAX
#define PB_INT_MIN INT64_MIN

/* PB_TRUE, PB_FALSE: the values of PB_BOOL that functions return. */
#define PB_TRUE ( (PB_BOOL)1 )
#define PB_FALSE ( (PB_BOOL)0 )

/* PB_OBJECT_TYPE: declares an opaque object type of these libraries. In C++, pb::Ref and pb::fields
   accept a pointer to the type as a pointer to a reference-counted object. With a pointer to any
   other type they do not compile. */
#ifdef __cplusplus
#define PB_OBJECT_TYPE( TYPE ) \
    typedef struct TYPE TYPE;  \
    extern "C++" void   pb_isObject( const TYPE *obj )
#else
#define PB_OBJECT_TYPE( TYPE ) typedef struct TYPE TYPE
#endif

PB_BEGIN_DECLS

/* pb___Abort: reports a broken contract and ends the process with abort(). `context` is null or
   names the standard function. `file` is the path from the root of the repository. `expression` is
   the text of the check. The handler of pbAbortSetHandler runs first. The function never returns.
   */
PB_NORETURN PB_EXPORT void pb___Abort( const char *context, const char *file, PB_INT line, const char *expression );

PB_END_DECLS

/* Contract checks, which every build keeps. They stringify their argument at their first macro
   level, so NULL and other macros stay as they are written. */
#define PB_CHECK( ... ) ( __builtin_expect( !!( __VA_ARGS__ ), 1 ) ? (void)0 : pb___Abort( NULL, __FILE__, __LINE__, #__VA_ARGS__ ) )
#define PB_CHECK_CONTEXT( context, ... ) \
    ( __builtin_expect( !!( __VA_ARGS__ ), 1 ) ? (void)0 : pb___Abort( context, __FILE__, __LINE__, #__VA_ARGS__ ) )
/* Checks the address of a pointer, then the pointer: the texts are `name` and `*name`. */
#define PB_CHECK_HANDLE( handle )                                                                       \
    ( __builtin_expect( !( handle ), 0 )          ? pb___Abort( NULL, __FILE__, __LINE__, #handle )     \
            : __builtin_expect( !*( handle ), 0 ) ? pb___Abort( NULL, __FILE__, __LINE__, "*" #handle ) \
                                                  : (void)0 )

/* Arithmetic and conversion checks, with the names that the contract texts use. */
static inline PB_BOOL pb___IntAddOk( PB_INT a, PB_INT b )
{
    PB_INT sum;
    return !__builtin_add_overflow( a, b, &sum );
}
#define PB_INT_ADD_OK( a, b ) pb___IntAddOk( ( a ), ( b ) )
#define PB_INT_TO_SIZET_CONV_OK( value ) ( ( value ) >= 0 && (uint64_t)( value ) <= (uint64_t)SIZE_MAX )
#define PB_INT_FROM_SIZET_CONV_OK( value ) ( (uint64_t)( value ) <= (uint64_t)PB_INT_MAX )
#define PB_INT_TO_UNSIGNED_INT_CONV_OK( value ) ( ( value ) >= 0 && ( value ) <= (PB_INT)UINT32_MAX )
#define PB_INT_TO_SIGNED_INT_CONV_OK( value ) ( ( value ) >= (PB_INT)INT32_MIN && ( value ) <= (PB_INT)INT32_MAX )
#define PB_SIZEOF( thing ) ( (PB_INT)sizeof( thing ) )
#define PB_SIZEOF_ARRAY( array ) ( (PB_INT)( sizeof( array ) / sizeof( ( array )[0] ) ) )

#endif
