// One key on the recommended curve, and data made with it, for both the library and its peers.
#pragma once

#include "UlmaroAlgrithm.h"

namespace bench {

struct Sm2Material {
    ECCParameter_st parameters;
    ec_group_st group;
    ECC_PRIVATE_KEY private_key;
    ECC_PUBLIC_KEY public_key;
    unsigned char digest[32];  // stands for SM3(Z || M)
    ECC_SIGNATURE signature;   // the library's, so that peers which verify it check the library
};

/// The recommended curve's, made at the first call.
const Sm2Material& sm2_material();

}  // namespace bench
