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

/* PB_SORT_SLOTS: the functions of a sort. For a slot that is null, the base library has a
   default. */
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
    PB_SORT_SLOTS    slots;  /* the functions for its objects */
};

/* PB_MODULE: the functions by which the runtime starts and stops a library. */
struct PB_MODULE
{
    PB_OBJ                  header; /* a module is an object, too */
    const PB_MODULE_RECORD *record; /* its name, version and product */
    PB_BOOL ( *startup )( void );   /* false if the library cannot start */
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

/* pb___ObjCreate: a new object of `size` bytes (header included) with a reference count of 1. All
   bytes after the header are zero. No constructor runs. Aborts if there is no memory. */
PB_EXPORT PB_OBJ *pb___ObjCreate( size_t size, const PB_SORT *sort );

/* pb___ObjFree: runs the sort's free slot and returns the memory. It is called after the last
   reference was released, and never for static objects. Free slots run one after another. If the
   last reference of an object is released inside a free slot, or while the thread holds a monitor
   or a region, the object is freed after the slot has returned or the lock is unlocked. While an
   object is being freed, its reference count is that of a static object. */
PB_EXPORT void pb___ObjFree( PB_OBJ *obj );

/* pbObjSort: the sort of an object; null aborts ("obj"). */
PB_EXPORT const PB_SORT *pbObjSort( const PB_OBJ *obj );

/* pbObjRetain: adds one reference and returns `obj`; null aborts ("obj"). */
PB_EXPORT PB_OBJ *pbObjRetain( PB_OBJ *obj );

/* pbObjRelease: gives one reference back, and frees the object if it was the last one; null aborts
   ("obj"). */
PB_EXPORT void pbObjRelease( PB_OBJ *obj );

/* pbObjIsShared: whether somebody else holds a reference too; static objects always count as
   shared. Null aborts ("obj"). */
PB_EXPORT PB_BOOL pbObjIsShared( const PB_OBJ *obj );

/* pbObjCompare: total order of any two objects. Two nulls are equal, and null comes before every
   object. Objects of different sorts are ordered by the names of the sorts. Objects of one sort are
   ordered by its compare slot, or by address if it has none (then an object equals only itself). */
PB_EXPORT PB_INT pbObjCompare( PB_OBJ *objA, PB_OBJ *objB );

/* pbObjEquals: true if and only if pbObjCompare gives zero. */
PB_EXPORT PB_BOOL pbObjEquals( PB_OBJ *objA, PB_OBJ *objB );

/* pbObjToString: the text form of an object, a new string. If the sort has no toString slot, it is
   NAME(0x...) with the address. Null aborts ("obj"). */
PB_EXPORT PB_STRING *pbObjToString( PB_OBJ *obj );

/* pbObjLiveCount: the number of objects that exist in this process, without static objects. It is
   for diagnostics: it is exact only while no thread creates or frees objects. */
PB_EXPORT PB_INT pbObjLiveCount( void );

/* pbSortName: the name of a sort, static text; null aborts ("sort"). */
PB_EXPORT const char *pbSortName( const PB_SORT *sort );

PB_END_DECLS

#endif
