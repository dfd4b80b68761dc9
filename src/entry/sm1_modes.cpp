// The SM1 entry points: eight that forward to the primitives, and four that take a raw key.
#include "UlmaroAlgrithm.h"
#include "base/bytes.hpp"
#include "base/wipe.hpp"

#ifdef ULMARO_STATIC
// Like the primitives (sm1.cpp): the raw-key modes reach them through these, which an application may define too.
#pragma weak SM1_ECB_EN
#pragma weak SM1_ECB_DE
#pragma weak SM1_X_CBC_EN_MODE
#pragma weak SM1_X_CBC_DE_MODE
#endif

namespace {

using namespace ulmaro;

constexpr int block_bytes = 16;
constexpr int block_size_argument = 8;  // part of the primitives' calling contract

/// Both key schedules of one call, zero before KEY_INIT() sees them and wiped afterwards.
struct Schedules {
    unsigned int encrypt[ULMARO_SM1_SCHEDULE_BYTES / 4] = {};
    unsigned int decrypt[ULMARO_SM1_SCHEDULE_BYTES / 4] = {};

    Schedules() = default;
    Schedules(const Schedules&) = delete;
    Schedules& operator=(const Schedules&) = delete;
    ~Schedules() { secure_wipe(this, sizeof *this); }

    bool set_up(const unsigned char* key, int keyLen) {
        return KEY_INIT(key, keyLen, encrypt, sizeof encrypt, decrypt, sizeof decrypt) == 1;
    }
};

/// ceil(len / 16) blocks. The output words are zero before each call, so that a primitive that writes nothing leaks no
/// stale memory.
void run_ecb(void (*block)(const unsigned int*, int, const unsigned int*, unsigned int*), const unsigned int* schedule,
             const unsigned char* in, int len, unsigned char* out) {
    Wiped<unsigned int[4]> x;
    Wiped<unsigned int[4]> y;
    for (int blocks = len <= 0 ? 0 : (len - 1) / block_bytes + 1; blocks > 0;
         --blocks, in += block_bytes, out += block_bytes) {
        for (int i = 0; i < 4; ++i) {
            (*x)[i] = load_be32(in + 4 * i);
            (*y)[i] = 0;
        }
        block(x.get(), block_size_argument, schedule, y.get());
        for (int i = 0; i < 4; ++i) store_be32(out + 4 * i, (*y)[i]);
    }
}

}  // namespace

int SM1_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* encKey, int encSize, unsigned int* decKey,
                 int decSize) {
    return KEY_INIT(key, keyLen, encKey, encSize, decKey, decSize);
}

void SM1_ECB_EN(const unsigned int* in, int size, const unsigned int* encKey, unsigned int* out) {
    ECB_EN(in, size, encKey, out);
}

void SM1_ECB_DE(const unsigned int* in, int size, const unsigned int* decKey, unsigned int* out) {
    ECB_DE(in, size, decKey, out);
}

void SM1_X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey, int len, int ivLen,
                       unsigned char* out) {
    X_CBC_EN_MODE(in, iv, encKey, len, ivLen, out);
}

void SM1_X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey,
                       const unsigned int* decKey, int len, int ivLen, unsigned char* out) {
    X_CBC_DE_MODE(in, iv, encKey, decKey, len, ivLen, out);
}

void SM1_KEY_EXTEND(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7) {
    KEY_EXTEND(a0, a1, a2, a3, a4, a5, a6, a7);
}

void SM1_X_ECB_EN_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7) {
    X_ECB_EN_MODE(a0, a1, a2, a3, a4, a5, a6, a7);
}

void SM1_X_ECB_DE_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7) {
    X_ECB_DE_MODE(a0, a1, a2, a3, a4, a5, a6, a7);
}

int SM1_X_ECB_EN_MODE_EX(const unsigned char* key, int keyLen, const unsigned char*, const unsigned char* in, int len,
                         unsigned char* out) {
    Schedules schedules;
    if (!schedules.set_up(key, keyLen)) return -1;
    run_ecb(SM1_ECB_EN, schedules.encrypt, in, len, out);
    return 1;
}

int SM1_X_ECB_DE_MODE_EX(const unsigned char* key, int keyLen, const unsigned char*, const unsigned char* in, int len,
                         unsigned char* out) {
    Schedules schedules;
    if (!schedules.set_up(key, keyLen)) return -1;
    run_ecb(SM1_ECB_DE, schedules.decrypt, in, len, out);
    return 1;
}

int SM1_X_CBC_EN_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* iv, int ivLen,
                         const unsigned char* in, int len, unsigned char* out) {
    Schedules schedules;
    if (!schedules.set_up(key, keyLen)) return -1;
    SM1_X_CBC_EN_MODE(in, iv, schedules.encrypt, len, ivLen, out);
    return 1;
}

int SM1_X_CBC_DE_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* iv, int ivLen,
                         const unsigned char* in, int len, unsigned char* out) {
    Schedules schedules;
    if (!schedules.set_up(key, keyLen)) return -1;
    SM1_X_CBC_DE_MODE(in, iv, schedules.encrypt, schedules.decrypt, len, ivLen, out);
    return 1;
}
