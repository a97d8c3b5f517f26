/* Finds textual encodings (RFC 7468) in any text. */
#ifndef RFC_RFC_ENCAPSULATION_H
#define RFC_RFC_ENCAPSULATION_H

#include <pb/pb_base.h>

/* RFC_ENCAPSULATION: one block found in a text. Offsets and lengths count bytes; line numbers begin
   with 1. */
typedef struct RFC_ENCAPSULATION
{
    PB_INT  offset;   /* where its BEGIN line starts */
    PB_INT  length;   /* up to its last line, without that line's end */
    PB_INT  line;     /* the line of BEGIN */
    PB_INT  endLine;  /* the END line, or the last line before another BEGIN or the end */
    PB_BOOL complete; /* true if an END line was found before another BEGIN or the end of the text */
} RFC_ENCAPSULATION;

PB_BEGIN_DECLS

/* rfcEncapsulationFindNext: finds the next block that begins at or after `offset`. It goes from a
   line that begins with "-----BEGIN " to the next line that begins with "-----END "; both may have
   blanks before them. Text between blocks is skipped. Labels and content are not checked. False if
   there is no further block. `line` is the number of the line at `offset`. To continue, pass
   found.offset + found.length and found.endLine. */
PB_EXPORT PB_BOOL rfcEncapsulationFindNext( const PB_BYTE *text, PB_INT length, PB_INT offset, PB_INT line, RFC_ENCAPSULATION *found );

PB_END_DECLS

#endif
