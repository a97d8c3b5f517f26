// The curves: value, name, OpenSSL's short name and number, description.
#pragma once

#include <cry/cry_pkey_ec_named_curve.h>

namespace cry
{

struct NamedCurve
{
    PB_INT      value;
    const char *name;
    const char *sn;
    int         nid;
    const char *displayName;
};

#define CRY_NAMED_CURVE( constant, sn, nid, displayName ) \
    {                                                     \
        constant, #constant, sn, nid, displayName         \
    }

inline constexpr NamedCurve namedCurves[] = {
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP112R1, "secp112r1", 704, "SECG/WTLS curve over a 112 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP112R2, "secp112r2", 705, "SECG curve over a 112 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP128R1, "secp128r1", 706, "SECG curve over a 128 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP128R2, "secp128r2", 707, "SECG curve over a 128 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP160K1, "secp160k1", 708, "SECG curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP160R1, "secp160r1", 709, "SECG curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP160R2, "secp160r2", 710, "SECG/WTLS curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP192K1, "secp192k1", 711, "SECG curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP224K1, "secp224k1", 712, "SECG curve over a 224 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP224R1, "secp224r1", 713, "NIST/SECG curve over a 224 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP256K1, "secp256k1", 714, "SECG curve over a 256 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP384R1, "secp384r1", 715, "NIST/SECG curve over a 384 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECP521R1, "secp521r1", 716, "NIST/SECG curve over a 521 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME192V1, "prime192v1", 409, "NIST/X9.62/SECG curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME192V2, "prime192v2", 410, "X9.62 curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME192V3, "prime192v3", 411, "X9.62 curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME239V1, "prime239v1", 412, "X9.62 curve over a 239 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME239V2, "prime239v2", 413, "X9.62 curve over a 239 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME239V3, "prime239v3", 414, "X9.62 curve over a 239 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, "prime256v1", 415, "X9.62/SECG curve over a 256 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT113R1, "sect113r1", 717, "SECG curve over a 113 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT113R2, "sect113r2", 718, "SECG curve over a 113 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT131R1, "sect131r1", 719, "SECG/WTLS curve over a 131 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT131R2, "sect131r2", 720, "SECG curve over a 131 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT163K1, "sect163k1", 721, "NIST/SECG/WTLS curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT163R1, "sect163r1", 722, "SECG curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT163R2, "sect163r2", 723, "NIST/SECG curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT193R1, "sect193r1", 724, "SECG curve over a 193 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT193R2, "sect193r2", 725, "SECG curve over a 193 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT233K1, "sect233k1", 726, "NIST/SECG/WTLS curve over a 233 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT233R1, "sect233r1", 727, "NIST/SECG/WTLS curve over a 233 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT239K1, "sect239k1", 728, "SECG curve over a 239 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT283K1, "sect283k1", 729, "NIST/SECG curve over a 283 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT283R1, "sect283r1", 730, "NIST/SECG curve over a 283 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT409K1, "sect409k1", 731, "NIST/SECG curve over a 409 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT409R1, "sect409r1", 732, "NIST/SECG curve over a 409 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT571K1, "sect571k1", 733, "NIST/SECG curve over a 571 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SECT571R1, "sect571r1", 734, "NIST/SECG curve over a 571 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB163V1, "c2pnb163v1", 684, "X9.62 curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB163V2, "c2pnb163v2", 685, "X9.62 curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB163V3, "c2pnb163v3", 686, "X9.62 curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB176V1, "c2pnb176v1", 687, "X9.62 curve over a 176 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB191V1, "c2tnb191v1", 688, "X9.62 curve over a 191 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB191V2, "c2tnb191v2", 689, "X9.62 curve over a 191 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB191V3, "c2tnb191v3", 690, "X9.62 curve over a 191 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB208W1, "c2pnb208w1", 693, "X9.62 curve over a 208 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB239V1, "c2tnb239v1", 694, "X9.62 curve over a 239 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB239V2, "c2tnb239v2", 695, "X9.62 curve over a 239 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB239V3, "c2tnb239v3", 696, "X9.62 curve over a 239 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB272W1, "c2pnb272w1", 699, "X9.62 curve over a 272 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB304W1, "c2pnb304w1", 700, "X9.62 curve over a 304 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB359V1, "c2tnb359v1", 701, "X9.62 curve over a 359 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2PNB368W1, "c2pnb368w1", 702, "X9.62 curve over a 368 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_C2TNB431R1, "c2tnb431r1", 703, "X9.62 curve over a 431 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS1, "wap-wsg-idm-ecid-wtls1", 735, "WTLS curve over a 113 bit binary field" ),
    CRY_NAMED_CURVE(
        CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS3, "wap-wsg-idm-ecid-wtls3", 736, "NIST/SECG/WTLS curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS4, "wap-wsg-idm-ecid-wtls4", 737, "SECG curve over a 113 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS5, "wap-wsg-idm-ecid-wtls5", 738, "X9.62 curve over a 163 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS6, "wap-wsg-idm-ecid-wtls6", 739, "SECG/WTLS curve over a 112 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS7, "wap-wsg-idm-ecid-wtls7", 740, "SECG/WTLS curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS8, "wap-wsg-idm-ecid-wtls8", 741, "WTLS curve over a 112 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS9, "wap-wsg-idm-ecid-wtls9", 742, "WTLS curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE(
        CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS10, "wap-wsg-idm-ecid-wtls10", 743, "NIST/SECG/WTLS curve over a 233 bit binary field" ),
    CRY_NAMED_CURVE(
        CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS11, "wap-wsg-idm-ecid-wtls11", 744, "NIST/SECG/WTLS curve over a 233 bit binary field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS12, "wap-wsg-idm-ecid-wtls12", 745, "WTLS curve over a 224 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3, "Oakley-EC2N-3", 749, "IPSec/IKE/Oakley curve #3 over a 155 bit binary field." ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4, "Oakley-EC2N-4", 750, "IPSec/IKE/Oakley curve #4 over a 185 bit binary field." ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P160R1, "brainpoolP160r1", 921, "RFC 5639 curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P160T1, "brainpoolP160t1", 922, "RFC 5639 curve over a 160 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P192R1, "brainpoolP192r1", 923, "RFC 5639 curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P192T1, "brainpoolP192t1", 924, "RFC 5639 curve over a 192 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P224R1, "brainpoolP224r1", 925, "RFC 5639 curve over a 224 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P224T1, "brainpoolP224t1", 926, "RFC 5639 curve over a 224 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P256R1, "brainpoolP256r1", 927, "RFC 5639 curve over a 256 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P256T1, "brainpoolP256t1", 928, "RFC 5639 curve over a 256 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P320R1, "brainpoolP320r1", 929, "RFC 5639 curve over a 320 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P320T1, "brainpoolP320t1", 930, "RFC 5639 curve over a 320 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P384R1, "brainpoolP384r1", 931, "RFC 5639 curve over a 384 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P384T1, "brainpoolP384t1", 932, "RFC 5639 curve over a 384 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P512R1, "brainpoolP512r1", 933, "RFC 5639 curve over a 512 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P512T1, "brainpoolP512t1", 934, "RFC 5639 curve over a 512 bit prime field" ),
    CRY_NAMED_CURVE( CRY_PKEY_EC_NAMED_CURVE_SM2, "SM2", 1172, "SM2 curve over a 256 bit prime field" ),
};

}
