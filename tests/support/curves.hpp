// Five 256-bit curves: the recommended one and the example curve of GM/T 0003, P-256, brainpoolP256r1 and secp256k1.
#pragma once

#include <cstring>
#include <string_view>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

namespace ulmaro::test {

struct Curve {
    const char* name;
    const char *p, *a, *b, *Gx, *Gy, *n;
};

inline constexpr Curve kRecommended = {"recommended",
                                       "fffffffeffffffffffffffffffffffffffffffff00000000ffffffffffffffff",
                                       "fffffffeffffffffffffffffffffffffffffffff00000000fffffffffffffffc",
                                       "28e9fa9e9d9f5e344d5a9e4bcf6509a7f39789f515ab8f92ddbcbd414d940e93",
                                       "32c4ae2c1f1981195f9904466a39c9948fe30bbff2660be1715a4589334c74c7",
                                       "bc3736a2f4f6779c59bdcee36b692153d0a9877cc62a474002df32e52139f0a0",
                                       "fffffffeffffffffffffffffffffffff7203df6b21c6052b53bbf40939d54123"};

inline constexpr Curve kExample = {"example of the standard",
                                   "8542d69e4c044f18e8b92435bf6ff7de457283915c45517d722edb8b08f1dfc3",
                                   "787968b4fa32c3fd2417842e73bbfeff2f3c848b6831d7e0ec65228b3937e498",
                                   "63e4c6d3b23b0c849cf84241484bfe48f61d59a5b16ba06e6e12d1da27c5249a",
                                   "421debd61b62eab6746434ebc3cc315e32220b3badd50bdc4c4e6c147fedd43d",
                                   "0680512bcbb42c07d47349d2153b70c4e5d7fdfcbfa36ea1a85841b9e46e09a2",
                                   "8542d69e4c044f18e8b92435bf6ff7dd297720630485628d5ae74ee7c32e79b7"};

/// secp224k1: the prime has 224 bits, the order 225, and 2^512 modulo the order fewer words than the order.
inline constexpr Curve kShort = {"secp224k1",
                                 "00000000fffffffffffffffffffffffffffffffffffffffffffffffeffffe56d",
                                 "0000000000000000000000000000000000000000000000000000000000000000",
                                 "0000000000000000000000000000000000000000000000000000000000000005",
                                 "00000000a1455b334df099df30fc28a169a467e9e47075a90f7e650eb6b7a45c",
                                 "000000007e089fed7fba344282cafbd6f7e319f7c0b0bd59e2ca4bdb556d61a5",
                                 "000000010000000000000000000000000001dce8d2ec6184caf0a971769fb1f7"};

inline constexpr Curve kCurves[] = {
    kRecommended,
    kExample,
    {"P-256", "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff",
     "ffffffff00000001000000000000000000000000fffffffffffffffffffffffc",
     "5ac635d8aa3a93e7b3ebbd55769886bc651d06b0cc53b0f63bce3c3e27d2604b",
     "6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296",
     "4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5",
     "ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551"},
    {"brainpoolP256r1", "a9fb57dba1eea9bc3e660a909d838d726e3bf623d52620282013481d1f6e5377",
     "7d5a0975fc2c3057eef67530417affe7fb8055c126dc5c6ce94a4b44f330b5d9",
     "26dc5c6ce94a4b44f330b5d9bbd77cbf958416295cf7e1ce6bccdc18ff8c07b6",
     "8bd2aeb9cb7e57cb2c4b482ffc81b7afb9de27e1e3bd23c23a4453bd9ace3262",
     "547ef835c3dac4fd97f8461a14611dc9c27745132ded8e545c1d54c72f046997",
     "a9fb57dba1eea9bc3e660a909d838d718c397aa3b561a6f7901e0e82974856a7"},
    {"secp256k1", "fffffffffffffffffffffffffffffffffffffffffffffffffffffffefffffc2f",
     "0000000000000000000000000000000000000000000000000000000000000000",
     "0000000000000000000000000000000000000000000000000000000000000007",
     "79be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798",
     "483ada7726a3c4655da4fbfc0e1108a8fd17b448a68554199c47d08ffb10d4b8",
     "fffffffffffffffffffffffffffffffebaaedce6af48a03bbfd25e8cd0364141"}};

/// The curve as it comes out of the custom registry.
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

/// Any 32-byte field, key or record of 32-byte numbers from hexadecimal text.
template <class Record>
Record record(std::string_view hex) {
    Record r;
    const Bytes bytes = from_hex(hex);
    std::memcpy(&r, bytes.data(), sizeof r);
    return r;
}

}  // namespace ulmaro::test
