// PEM objects, for the module's own files.
#pragma once

#include <cry/cry_pem.h>
#include <pb/ref.hpp>

namespace cry::pem
{

// A block with this label, which is known to be valid, and these bytes. Both references are taken
// over.
pb::Ref<CRY_PEM> create( pb::Ref<PB_STRING> label, pb::Ref<PB_BUFFER> data );

// The results are lent: they are valid while the caller holds the object.
PB_STRING *label( CRY_PEM *pem );
PB_BUFFER *data( CRY_PEM *pem );

bool hasLabel( CRY_PEM *pem, const char *text );

}
