/* A C program built against the installed library: it must compile, link with a plain C compiler and run. */
#include <UlmaroAlgrithm.h>
#include <string.h>

int main(void) {
    static const unsigned char expected[4] = {0x66, 0xc7, 0xf0, 0xf4};
    unsigned char digest[32];
    SM3_HASH((const unsigned char*)"abc", 3, digest);
    return memcmp(digest, expected, sizeof expected) != 0;
}
