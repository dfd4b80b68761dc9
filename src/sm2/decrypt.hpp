// Decryption for callers whose standard output is not ours to write to.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"

namespace ulmaro::sm2 {

/// Like ECES_Decryption, but prints nothing: null when the message is authentic, else the line it would print.
const char* decrypt(ec_group_st* grp, Ulmaro_ECC_CIPHER_BLOB* blob, ECC_PRIVATE_KEY* priKey, unsigned char* plain);

}  // namespace ulmaro::sm2
