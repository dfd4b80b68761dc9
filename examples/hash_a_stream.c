/* Hashes what comes on standard input, in pieces of any size, in constant memory, and however long it is: SM3_Final()
 * would end at 2^29 bytes, because the record counts in 32 bits. */
#include <UlmaroAlgrithm.h>
#include <stdio.h>

int main(void) {
    static unsigned char piece[65536];
    unsigned char digest[ULMARO_SM3_DIGEST_BYTES];
    unsigned long long length = 0;
    size_t size;
    SM3_CTX stream;

    SM3_Init(&stream);
    for (; (size = fread(piece, 1, sizeof piece, stdin)) > 0; length += size) SM3_Update(&stream, piece, (int)size);
    if (ferror(stdin)) {
        perror("standard input");
        return 1;
    }
    ulmaro_sm3_finish(&stream, length, digest);

    for (int i = 0; i < ULMARO_SM3_DIGEST_BYTES; i++) printf("%02x", digest[i]);
    printf("\n");
    return 0;
}
