// Byte-order utilities for applications; nothing inside the library uses them.
#include <algorithm>

#include "UlmaroAlgrithmInternals.hpp"

void Exchange(unsigned char* buf, unsigned int len) { std::reverse(buf, buf + len); }

void Exchange_DWORD(unsigned char* buf, unsigned int len, int mode) {
    if (mode == 0) std::reverse(buf, buf + len);
    // The last unit may be shorter than four bytes.
    for (unsigned int at = 0; at < len; at += std::min(4U, len - at)) {
        std::reverse(buf + at, buf + at + std::min(4U, len - at));
    }
}

unsigned char* sm2_copy(unsigned char* dst, unsigned char* src, int len) {
    if (len > 0) std::reverse_copy(src, src + len, dst);
    return dst;
}
