/* The object model: reference-counted objects, sorts (type descriptors) and modules. The three
   layouts in this header are binary interface. */
#ifndef PB_PB_OBJ_H
#define PB_PB_OBJ_H

#include <pb/pb_base.h>

PB_OBJECT_TYPE( PB_OBJ );
/* PB_STRING: a text; see pb_string.h. */
PB_OBJECT_TYPE( PB_STRING );
typedef struct PB_SORT          PB_SORT;
typedef struct PB_SORT_SLOTS    PB_SORT_SLOTS;
typedef struct PB_MODULE        PB_MODULE;
typedef struct PB_MODULE_RECORD PB_MODULE_RECORD;

/* PB_OBJ: the header of every object. A reference count below zero marks a static object, which is
   never counted and never freed. */
struct PB_OBJ
{
    int64_t        refCount; /* references that are held */
    const PB_SORT *sort;     /* the type */
};

/* PB_OBJ_STATIC_REF_COUNT: the reference count of a static object. */
#define PB_OBJ_STATIC_REF_COUNT ( (int64_t)-1 )

/* PB_SORT_SLOTS: what a sort can do; a slot that is null has the base library's default

   behaviour. */
struct PB_SORT_SLOTS
{
    void ( *free )( PB_OBJ *obj ) PB_DEFAULT_NULL;                     /* releases the fields, before the memory is returned */
    PB_INT ( *compare )( PB_OBJ *objA, PB_OBJ *objB ) PB_DEFAULT_NULL; /* total order; negative, zero, positive */
    PB_STRING *( *toString )(PB_OBJ *obj)PB_DEFAULT_NULL;              /* a new string */
    void ( *reserved1 )( void ) PB_DEFAULT_NULL;                       /* null */
    void ( *reserved2 )( void ) PB_DEFAULT_NULL;                       /* null */
    void ( *reserved3 )( void ) PB_DEFAULT_NULL;                       /* null */
};

/* PB_SORT: the descriptor of one object type. */
struct PB_SORT
{
    PB_OBJ           header; /* a sort is an object, too */
    const PB_MODULE *module; /* the library that has the type */
    const char      *name;   /* the type's name, as "CRY_PEM" */
    PB_SORT_SLOTS    slots;  /* how its objects are treated */
};

/* PB_MODULE: what the runtime drives a library through. */
struct PB_MODULE
{
    PB_OBJ                  header; /* a module is an object, too */
    const PB_MODULE_RECORD *record; /* its name, version and product */
    PB_BOOL ( *startup )( void );   /* false when the library cannot start */
    void ( *halt )( void );         /* asks the library's workers to end */
    void ( *fourth )( void );       /* called after the workers have ended, before any shut-down */
    void ( *shutdown )( void );     /* releases what the library keeps */
};

#ifdef __cplusplus
static_assert( sizeof( PB_OBJ ) == 16 && sizeof( PB_SORT_SLOTS ) == 6 * sizeof( void * ), "binary interface" );
static_assert( sizeof( PB_SORT ) == 16 + 8 * sizeof( void * ) && sizeof( PB_MODULE ) == 16 + 5 * sizeof( void * ), "binary interface" );
#elif __STDC_VERSION__ >= 201112L
_Static_assert( sizeof( PB_OBJ ) == 16 && sizeof( PB_SORT_SLOTS ) == 6 * sizeof( void * ), "binary interface" );
_Static_assert( sizeof( PB_SORT ) == 16 + 8 * sizeof( void * ) && sizeof( PB_MODULE ) == 16 + 5 * sizeof( void * ), "binary interface" );
#endif

PB_BEGIN_DECLS

/* pb___ObjCreate: new object of `size` bytes (header included), zeroed behind its header, with a
   reference count of 1. No constructor runs. Aborts when memory is exhausted. */
PB_EXPORT PB_OBJ *pb___ObjCreate( size_t size, const PB_SORT *sort );

/* pb___ObjFree: runs the sort's free slot and returns the memory. Called after the last reference
   went; not for static objects. Free slots run one after another: an object whose last reference
   goes inside a free slot, or while the thread holds a monitor or a region, waits until the slot
   has returned or the lock is left. An object that is being freed reads as static. */
PB_EXPORT void pb___ObjFree( PB_OBJ *obj );

/* pbObjSort: the sort of an object; null aborts ("obj"). */
PB_EXPORT const PB_SORT *pbObjSort( const PB_OBJ *obj );

/* pbObjRetain: adds one reference and returns `obj`; null aborts ("obj"). */
PB_EXPORT PB_OBJ *pbObjRetain( PB_OBJ *obj );

/* pbObjRelease: drops one reference, the last one frees the object; null aborts ("obj"). */
PB_EXPORT void pbObjRelease( PB_OBJ *obj );

/* pbObjIsShared: whether somebody else holds a reference too; static objects always count as
   shared. Null aborts ("obj"). */
PB_EXPORT PB_BOOL pbObjIsShared( const PB_OBJ *obj );

/* pbObjCompare: total order of any two objects. Two nulls are equal, null comes first; objects of
   different sorts are ordered by sort name, objects of one sort by its compare slot, without one by
   address (so an object equals only itself). */
PB_EXPORT PB_INT pbObjCompare( PB_OBJ *objA, PB_OBJ *objB );

/* pbObjEquals: true exactly when pbObjCompare gives zero. */
PB_EXPORT PB_BOOL pbObjEquals( PB_OBJ *objA, PB_OBJ *objB );

/* pbObjToString: the text form of an object, a new string; without a toString slot NAME(0x...) with
   the address. Null aborts ("obj"). */
PB_EXPORT PB_STRING *pbObjToString( PB_OBJ *obj );

/* pbObjLiveCount: how many objects of the family exist in this process, static ones left out. A
   diagnostic: exact while no thread creates or frees any. */
PB_EXPORT PB_INT pbObjLiveCount( void );

/* pbSortName: the name of a sort, static text; null aborts ("sort"). */
PB_EXPORT const char *pbSortName( const PB_SORT *sort );

PB_END_DECLS

#endif
