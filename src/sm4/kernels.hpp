// Bulk block transforms of SM4. Every kernel does the same work; they differ in what the processor must have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ulmaro::sm4 {

/// One way to run whole blocks. Shapes: in and out 16 * blocks bytes, rk 32 words in encryption order (decryption reads
/// it backwards), iv 16 bytes, read before out is written. Any count of blocks, 0 included. out may be in, may lie
/// below in at any distance, or be apart from it; it never overlaps rk. Nothing is allocated.
struct Kernels {
    using EcbFunction = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                 const std::uint32_t* rk) noexcept;
    using CbcFunction = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                                 const std::uint8_t* iv) noexcept;

    /// The schedule of the key mk, 4 words; rk may overlap it. No look-up and no branch depends on the key.
    using ExpandFunction = void (*)(const std::uint32_t* mk, std::uint32_t* rk) noexcept;

    const char* name;
    ExpandFunction expand_key;
    EcbFunction encrypt_blocks;
    EcbFunction decrypt_blocks;
    CbcFunction cbc_encrypt;
    CbcFunction cbc_decrypt;
};

/// The kernels that this processor can run, best first; the portable one is last and always there.
std::span<const Kernels* const> supported_kernels() noexcept;

/// The best of them.
const Kernels& active_kernels() noexcept;

}  // namespace ulmaro::sm4
