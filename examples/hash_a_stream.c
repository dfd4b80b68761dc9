/* Hashes what comes on standard input, in pieces of any size and in constant memory. */
#include <UlmaroAlgrithm.h>
#include <stdio.h>

int main(void) {
    static unsigned char piece[65536];
    unsigned char digest[ULMARO_SM3_DIGEST_BYTES];
    size_t size;
    SM3_CTX stream;

    SM3_Init(&stream);
    while ((size = fread(piece, 1, sizeof piece, stdin)) > 0) SM3_Update(&stream, piece, (int)size);
    if (ferror(stdin)) {
        perror("standard input");
        return 1;
    }
    SM3_Final(&stream, digest);

    for (int i = 0; i < ULMARO_SM3_DIGEST_BYTES; i++) printf("%02x", digest[i]);
    printf("\n");
    return 0;
}
