// Z, the digest that binds the signer's identity, the curve and the public key: GM/T 0003.2 clause 5.5, with the
// default identity of GM/T 0009.
#include <cstddef>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"

namespace {

/// The hashed bytes as they lie in memory. Collected first, because Z may be written over its own inputs.
struct Message {
    unsigned char entl[2] = {0x00, 0x80};  // the identity's length in bits
    unsigned char identity[16] = {'1', '2', '3', '4', '5', '6', '7', '8', '1', '2', '3', '4', '5', '6', '7', '8'};
    unsigned char curve[128];  // a, b, Gx, Gy
    unsigned char key[64];
};
static_assert(sizeof(Message) == 210);

}  // namespace

int SM3_algrithm_userid_hash(const ECC_PUBLIC_KEY* pubKey, const ECCParameter_st* param, unsigned char* out) {
    if (pubKey == nullptr || param == nullptr || out == nullptr) return -1;
    Message message;
    const auto* block = reinterpret_cast<const unsigned char*>(param);
    std::memcpy(message.curve, block + offsetof(ECCParameter_st, a), sizeof message.curve);
    std::memcpy(message.key, pubKey, sizeof message.key);
    SM3_HASH_ex(reinterpret_cast<unsigned char*>(&message), sizeof message, out);
    return 0;
}
