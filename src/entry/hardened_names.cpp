// Names that only the hardened library has, for every function that draws or prepares a group. The headers choose them
// for programs built for this library: in a process that also has the plain one, the loader could resolve the common
// names to that. Each calls the routine of its own library.
#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"

extern "C" {

int SM2_ECC_InitParameter_Hardened(const ECCParameter_st* param, ec_group_st* grp) {
    return SM2_ECC_InitParameter(param, grp);
}

int SM2_ECC_GenerateKeyPair_Hardened(const ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey) {
    return SM2_ECC_GenerateKeyPair(grp, pubKey, priKey);
}

int SM2_CalcPubKeyByPriKey_Hardened(ECC_PUBLIC_KEY* pubKey, const bignum_st* priKey) {
    return SM2_CalcPubKeyByPriKey(pubKey, priKey);
}

int SM2_ECDSA_Signature_Hardened(const ec_group_st* grp, const unsigned char* e, const ECC_PRIVATE_KEY* key,
                                 ECC_SIGNATURE* signature) {
    return SM2_ECDSA_Signature(grp, e, key, signature);
}

int SM2_ECES_Encryption_Hardened(const ec_group_st* grp, const unsigned char* msg, int msgLen,
                                 const ECC_PUBLIC_KEY* pubKey, Ulmaro_ECC_CIPHER_BLOB* blob) {
    return SM2_ECES_Encryption(grp, msg, msgLen, pubKey, blob);
}

int ECC_InitParameter_Hardened(ECCParameter_st* param, ec_group_st* grp) { return ECC_InitParameter(param, grp); }

int ECC_GenerateKeyPair_Hardened(ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey) {
    return ECC_GenerateKeyPair(grp, pubKey, priKey);
}

int ECC_ProduceKey_Hardened(int ignored, unsigned char* pub_out, unsigned char* priv_out) {
    return ECC_ProduceKey(ignored, pub_out, priv_out);
}

int ECDSA_Signature_Hardened(ec_group_st* grp, unsigned char* e, ECC_PRIVATE_KEY* key, ECC_SIGNATURE* signature) {
    return ECDSA_Signature(grp, e, key, signature);
}

int ECES_Encryption_Hardened(ec_group_st* grp, unsigned char* msg, int msgLen, ECC_PUBLIC_KEY* pubKey,
                             Ulmaro_ECC_CIPHER_BLOB* blob) {
    return ECES_Encryption(grp, msg, msgLen, pubKey, blob);
}
}
