/* A program with two of the SM1 primitives, and one of the entry points that reach them, of its own. */
#include <UlmaroAlgrithm.h>

int KEY_INIT(const unsigned char* key, int keyLen, unsigned int* encKey, int encSize, unsigned int* decKey,
             int decSize) {
    encKey[0] = key[keyLen - 1];
    return encSize == decSize && decKey != encKey;
}

void ECB_EN(const unsigned int* in, int size, const unsigned int* encKey, unsigned int* out) {
    out[0] = in[0] + encKey[0] + (unsigned int)size;
}

void SM1_X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey, int len, int ivLen,
                       unsigned char* out) {
    out[0] = (unsigned char)(in[0] + iv[0] + (int)encKey[0] + len + ivLen);
}

int main(void) {
    const unsigned char key[16] = {[15] = 5}, in[16] = {1, 2, 3, 4};
    unsigned char out[16];
    if (SM1_X_ECB_EN_MODE_EX(key, 16, key, in, 16, out) != 1 || out[0] != 1 || out[3] != 4 + 5 + 8) return 1;
    if (SM1_X_ECB_DE_MODE_EX(key, 16, key, in, 16, out) != 1 || out[0] != 0) return 2; /* the library's */
    if (SM1_X_CBC_EN_MODE_EX(key, 16, key + 15, 1, in, 16, out) != 1 || out[0] != 1 + 5 + 5 + 16 + 1) return 3;
    return 0;
}
