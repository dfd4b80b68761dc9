// The SM1 primitives: placeholders without a cipher. They are alone in this file, and every call to them goes through
// the dynamic symbol, so that an application can define functions of the same names.
#include "UlmaroAlgrithm.h"

#ifdef ULMARO_STATIC
// In an archive no loader chooses between two definitions; weak ones give way to the application's.
#pragma weak KEY_INIT
#pragma weak KEY_EXTEND
#pragma weak ECB_EN
#pragma weak ECB_DE
#pragma weak X_ECB_EN_MODE
#pragma weak X_ECB_DE_MODE
#pragma weak X_CBC_EN_MODE
#pragma weak X_CBC_DE_MODE
#endif

int KEY_INIT(const unsigned char*, int, unsigned int*, int, unsigned int*, int) { return 1; }

void ECB_EN(const unsigned int*, int, const unsigned int*, unsigned int*) {}

void ECB_DE(const unsigned int*, int, const unsigned int*, unsigned int*) {}

void X_CBC_EN_MODE(const unsigned char*, const unsigned char*, const unsigned int*, int, int, unsigned char*) {}

void X_CBC_DE_MODE(const unsigned char*, const unsigned char*, const unsigned int*, const unsigned int*, int, int,
                   unsigned char*) {}

void KEY_EXTEND(void*, void*, void*, void*, void*, void*, void*, void*) {}

void X_ECB_EN_MODE(void*, void*, void*, void*, void*, void*, void*, void*) {}

void X_ECB_DE_MODE(void*, void*, void*, void*, void*, void*, void*, void*) {}
