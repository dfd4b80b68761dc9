/* Signs a message with SM2 and verifies it. What is signed is the digest e = SM3(Z || M), where Z binds the default
 * user identity, the curve and the public key: hash Z and then the message, never a digest of the message.
 * Link the hardened library: the plain one draws keys from a generator that is seeded with the clock. */
#include <UlmaroAlgrithm.h>
#include <stdio.h>

/* e = SM3(Z || M) for the signer with this public key. */
static void digest_for_signing(const ECCParameter_st* curve, const ECC_PUBLIC_KEY* key, const char* message, int length,
                               unsigned char e[ULMARO_SM3_DIGEST_BYTES]) {
    unsigned char z[ULMARO_SM3_DIGEST_BYTES];
    SM3_CTX stream;
    SM3_algrithm_userid_hash(key, curve, z);
    SM3_Init(&stream);
    SM3_Update(&stream, z, sizeof z);
    SM3_Update(&stream, (const unsigned char*)message, length);
    SM3_Final(&stream, e);
}

int main(void) {
    static const char message[] = "Pay 120.00 to account 4711";
    const int length = (int)sizeof message - 1;
    ECCParameter_st curve;
    ec_group_st prepared;
    ECC_PUBLIC_KEY public_key;
    ECC_PRIVATE_KEY private_key;
    ECC_SIGNATURE signature;
    unsigned char e[ULMARO_SM3_DIGEST_BYTES];

    SM2_Get_Paramter(&curve, 0); /* the recommended curve */
    SM2_ECC_InitParameter(&curve, &prepared);
    SM2_ECC_GenerateKeyPair(&prepared, &public_key, &private_key);

    digest_for_signing(&curve, &public_key, message, length, e);
    SM2_ECDSA_Signature(&prepared, e, &private_key, &signature);

    /* The receiver has the curve, the public key, the message and the signature. */
    if (SM2_POINT_is_on_curve(&curve, &public_key) != 1) return 1;
    digest_for_signing(&curve, &public_key, message, length, e);
    if (SM2_ECDSA_Verification(&prepared, e, &public_key, &signature) != 1) return 1;
    printf("the signature is valid\n");

    e[31] ^= 1; /* a single changed bit; the library prints why it refuses */
    if (SM2_ECDSA_Verification(&prepared, e, &public_key, &signature) != 0) return 1;
    printf("a changed message is refused\n");
    return 0;
}
