#include <cry/internal/cry_x509_tn_auth_list.h>

ASN1_SEQUENCE( TelephoneNumberRange ) = {
    ASN1_SIMPLE( TelephoneNumberRange, start, ASN1_IA5STRING ),
    ASN1_SIMPLE( TelephoneNumberRange, count, ASN1_INTEGER ),
} ASN1_SEQUENCE_END( TelephoneNumberRange )

ASN1_CHOICE( TNEntry ) = {
    ASN1_EXP( TNEntry, d.spc, ASN1_IA5STRING, 0 ),
    ASN1_EXP( TNEntry, d.range, TelephoneNumberRange, 1 ),
    ASN1_EXP( TNEntry, d.one, ASN1_IA5STRING, 2 ),
} ASN1_CHOICE_END( TNEntry )

ASN1_ITEM_TEMPLATE( TNAuthorizationList ) = ASN1_EX_TEMPLATE_TYPE( ASN1_TFLG_SEQUENCE_OF, 0, TNAuthorizationList, TNEntry )
ASN1_ITEM_TEMPLATE_END( TNAuthorizationList )

IMPLEMENT_ASN1_FUNCTIONS( TelephoneNumberRange )
IMPLEMENT_ASN1_FUNCTIONS( TNEntry )
IMPLEMENT_ASN1_FUNCTIONS( TNAuthorizationList )
