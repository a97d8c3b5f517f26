#include "trust/cry_trust_root.hpp"

#include <cry/cry_pem.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>

#include <cry_trust_root.inc>

CRY_X509_CERTIFICATE *cry::trust::tryCreateRoot()
{
    // The lines of the PEM text, joined by "|".
    pb::Ref<PB_STRING> text  = pb::adopt( pbStringCreateFromCstr( CRY_TRUST_ROOT_TEXT, -1 ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbStringSplitChar( text.get(), '|' ) );
    pb::Ref<CRY_PEM>   pem   = pb::adopt( cryPemTryDecodeFromStringVector( lines.get() ) );
    return pem ? cryX509CertificateTryCreateFromPem( pem.get() ) : nullptr;
}
