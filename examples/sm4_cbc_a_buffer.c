/* Encrypts a text with SM4-CBC and PKCS#7 padding, and decrypts it again. The library works on whole blocks, so the
 * padding is the application's: 1 to 16 bytes, each holding their number. CBC does not notice changed data: send a
 * message authentication code along, or sign. */
#include <UlmaroAlgrithm.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    const char* text = "Twelve litres of water, and one of wine.";
    /* Use a secret random key, and a fresh random iv for every message. */
    const unsigned char key[ULMARO_SM4_KEY_BYTES] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                                     0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};
    const unsigned char iv[ULMARO_SM4_BLOCK_BYTES] = {0x3c, 0x59, 0x27, 0x0e, 0xa1, 0x44, 0xd8, 0x90,
                                                      0x6b, 0xf3, 0x1d, 0x72, 0xc5, 0x88, 0x0a, 0xe6};
    unsigned char buffer[64];
    unsigned int schedule[ULMARO_SM4_SCHEDULE_WORDS];

    const size_t length = strlen(text);
    const size_t padding = ULMARO_SM4_BLOCK_BYTES - length % ULMARO_SM4_BLOCK_BYTES;
    const int padded = (int)(length + padding);
    memcpy(buffer, text, length);
    memset(buffer + length, (int)padding, padding);

    if (SM4_KEY_INIT(key, sizeof key, schedule, ULMARO_SM4_SCHEDULE_WORDS) != 1) return 1;
    SM4_X_CBC_EN_MODE(buffer, padded, schedule, iv, buffer); /* in place */
    for (int i = 0; i < padded; i++) printf("%02x", buffer[i]);
    printf("\n");

    SM4_X_CBC_DE_MODE(buffer, padded, schedule, iv, buffer);
    const size_t removed = buffer[padded - 1];
    if (removed < 1 || removed > ULMARO_SM4_BLOCK_BYTES || memcmp(buffer, text, length) != 0) return 1;
    printf("%.*s\n", padded - (int)removed, (const char*)buffer);
    return 0;
}
