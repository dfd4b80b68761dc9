// SM4 over a stream of any length, in constant memory.
#pragma once

#include <optional>

#include "UlmaroAlgrithm.hpp"
#include "support/input.hpp"
#include "support/output.hpp"
#include "support/secret.hpp"

namespace ulmaro::tool {

using Block = algrithm::Sm4::Iv;

enum class Sm4Mode { ecb, cbc };
enum class Padding { none, pkcs7 };

struct Sm4Job {
    Sm4Mode mode = Sm4Mode::cbc;
    Padding padding = Padding::pkcs7;
    SecretBuffer key{algrithm::Sm4::block_size};
    std::optional<Block> iv;  ///< CBC without one: encryption draws it and writes it first, decryption reads it first
    bool show_progress = true;
};

/// Both throw Failure when the input does not fit the mode and the padding; output is then not committed, and what was
/// written to it must not be used. The caller commits.
void sm4_encrypt(const Sm4Job& job, Input& input, Output& output);
void sm4_decrypt(const Sm4Job& job, Input& input, Output& output);

}  // namespace ulmaro::tool
