/* Encrypts a message to an SM2 public key and decrypts it. The record holds C1, C3, the length and C2, 100 bytes more
 * than the message. Link the hardened library: the plain one draws scalars from a generator seeded with the clock. */
#include <UlmaroAlgrithm.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    static const unsigned char message[] = "The meter reads 004213 kWh.";
    const int length = (int)sizeof message - 1;
    ECCParameter_st curve;
    ec_group_st prepared;
    ECC_PUBLIC_KEY public_key;
    ECC_PRIVATE_KEY private_key;
    unsigned char plain[sizeof message];

    SM2_Get_Paramter(&curve, 0); /* the recommended curve */
    SM2_ECC_InitParameter(&curve, &prepared);
    SM2_ECC_GenerateKeyPair(&prepared, &public_key, &private_key);

    Ulmaro_ECC_CIPHER_BLOB* record = malloc(sizeof *record + sizeof message);
    if (record == NULL) return 1;
    if (SM2_POINT_is_on_curve(&curve, &public_key) != 1) return 1; /* always check a key that came from elsewhere */
    SM2_ECES_Encryption(&prepared, message, length, &public_key, record);
    printf("%d bytes became a record of %u\n", length, (unsigned)sizeof *record + record->cipher_len);

    /* 1 is success. After 0 the bytes in plain are worthless: do not use them. */
    if (SM2_ECES_Decryption(&prepared, record, &private_key, plain) != 1) return 1;
    if (memcmp(plain, message, (size_t)length) != 0) return 1;
    printf("%.*s\n", length, (const char*)plain);

    record->cipher[0] ^= 1; /* a single changed bit; the library prints why it refuses */
    if (SM2_ECES_Decryption(&prepared, record, &private_key, plain) != 0) return 1;
    printf("a changed record is refused\n");
    free(record);
    return 0;
}
