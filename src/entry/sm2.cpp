// The C entry points of the SM2 family. The typed routines behind them take no const: none of them writes its inputs.
#include "UlmaroAlgrithmInternals.hpp"

// Only applications prepare it.
ec_group_st group;

int SM2_ECC_InitParameter(const ECCParameter_st* param, ec_group_st* grp) {
    return ECC_InitParameter(const_cast<ECCParameter_st*>(param), grp);
}

int SM2_ECC_GenerateKeyPair(const ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey) {
    return ECC_GenerateKeyPair(const_cast<ec_group_st*>(grp), pubKey, priKey);
}

int SM2_CalcPubKeyByPriKey(ECC_PUBLIC_KEY* pubKey, const bignum_st* priKey) {
    ECCParameter_st param;
    ec_group_st recommended;
    SM2_Get_Paramter(&param, 6);
    ECC_InitParameter(&param, &recommended);
    return ECC_CalcPubKeyByPriKey(&recommended, pubKey, priKey);
}

int SM2_POINT_is_on_curve(const ECCParameter_st* param, const ECC_PUBLIC_KEY* pubKey) {
    return POINT_is_on_curve(const_cast<ECCParameter_st*>(param), const_cast<ECC_PUBLIC_KEY*>(pubKey));
}

int SM2_ECDSA_Signature(const ec_group_st* grp, const unsigned char* e, const ECC_PRIVATE_KEY* key,
                        ECC_SIGNATURE* signature) {
    return ECDSA_Signature(const_cast<ec_group_st*>(grp), const_cast<unsigned char*>(e),
                           const_cast<ECC_PRIVATE_KEY*>(key), signature);
}

int SM2_ECDSA_Verification(const ec_group_st* grp, const unsigned char* e, const ECC_PUBLIC_KEY* key,
                           const ECC_SIGNATURE* signature) {
    return ECDSA_Verification(const_cast<ec_group_st*>(grp), const_cast<unsigned char*>(e),
                              const_cast<ECC_PUBLIC_KEY*>(key), const_cast<ECC_SIGNATURE*>(signature));
}

int SM2_ECES_Encryption(const ec_group_st* grp, const unsigned char* msg, int msgLen, const ECC_PUBLIC_KEY* pubKey,
                        Ulmaro_ECC_CIPHER_BLOB* blob) {
    return ECES_Encryption(const_cast<ec_group_st*>(grp), const_cast<unsigned char*>(msg), msgLen,
                           const_cast<ECC_PUBLIC_KEY*>(pubKey), blob);
}

int SM2_ECES_Decryption(const ec_group_st* grp, const Ulmaro_ECC_CIPHER_BLOB* blob, const ECC_PRIVATE_KEY* priKey,
                        unsigned char* plain) {
    return ECES_Decryption(const_cast<ec_group_st*>(grp), const_cast<Ulmaro_ECC_CIPHER_BLOB*>(blob),
                           const_cast<ECC_PRIVATE_KEY*>(priKey), plain);
}
