// The curves of vectors/curves.inc, and groups made from them.
#pragma once

#include <cstring>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

namespace ulmaro::test {

struct Curve {
    const char* name;
    const char *p, *a, *b, *Gx, *Gy, *n;
};

inline constexpr Curve known_curves[] = {
#include "vectors/curves.inc"
};
inline constexpr const Curve &recommended_curve = known_curves[0], &example_curve = known_curves[1];
/// Its prime has 224 bits, its order 225, and 2^512 modulo the order fewer words than the order.
inline constexpr const Curve& short_curve = known_curves[5];

/// The curve as the custom registry returns it.
inline ECCParameter_st parameters(const Curve& c) {
    ECCParameter_st param;
    SM2_Set_Custom_Paramter(from_hex(c.p).data(), from_hex(c.a).data(), from_hex(c.b).data(), from_hex(c.Gx).data(),
                            from_hex(c.Gy).data(), from_hex(c.n).data());
    SM2_Get_Paramter(&param, 7);
    return param;
}

inline ec_group_st prepare(const ECCParameter_st& param) {
    ec_group_st grp;
    SM2_ECC_InitParameter(&param, &grp);
    return grp;
}

inline ec_group_st prepare(const Curve& c) { return prepare(parameters(c)); }

/// A 32-byte field, key or record of 32-byte numbers from hexadecimal text.
template <class Record>
Record record(std::string_view hex) {
    Record r;
    const Bytes bytes = from_hex(hex);
    std::memcpy(&r, bytes.data(), sizeof r);
    return r;
}

}  // namespace ulmaro::test
