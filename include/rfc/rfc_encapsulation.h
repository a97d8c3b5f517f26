/* Finding textual encodings (RFC 7468) in any text. */
#ifndef RFC_RFC_ENCAPSULATION_H
#define RFC_RFC_ENCAPSULATION_H

#include <pb/pb_base.h>

/* RFC_ENCAPSULATION: one block found in a text. Offsets and lengths in bytes, lines counted from 1. */
typedef struct RFC_ENCAPSULATION
{
    PB_INT  offset;   /* where its BEGIN line starts */
    PB_INT  length;   /* up to its last line, without that line's end */
    PB_INT  line;     /* the line of BEGIN */
    PB_INT  endLine;  /* its last line: that of END, or the last one before another BEGIN or the end of the text when it is not complete */
    PB_BOOL complete; /* an END line was found before another BEGIN and the end of the text */
} RFC_ENCAPSULATION;

PB_BEGIN_DECLS

/* rfcEncapsulationFindNext: finds the next block that begins at or after `offset`: from a line that begins with "-----BEGIN " to the next line that begins
   with "-----END ", blanks before either allowed. What stands between blocks is passed over; labels and content are not looked at. False when there is no further block. `line` is the
   number of the line at `offset`; scanning goes on at found.offset + found.length and found.endLine. */
PB_EXPORT PB_BOOL rfcEncapsulationFindNext( const PB_BYTE *text, PB_INT length, PB_INT offset, PB_INT line, RFC_ENCAPSULATION *found );

PB_END_DECLS

#endif
