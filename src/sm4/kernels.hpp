// Bulk block transforms of SM4. Every kernel does the same work; they differ in the instructions they need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ulmaro::sm4 {

/// One way to run whole blocks. Shapes: in and out 16 * blocks bytes, rk 32 words in encryption order (decryption reads
/// it backwards), iv 16 bytes, read before out is written. Any count of blocks, 0 included. out may be in, may start
/// below in at any distance, or not overlap it; it never overlaps rk. Nothing is allocated.
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

/// Those of this architecture, each named after the architecture and its instructions. The portable one, which alone
/// looks data up in memory, does not exist on 64-bit Arm, where every processor can run arm_neon_kernels.
extern const Kernels portable_kernels;
#if defined(__x86_64__)
extern const Kernels x86_ssse3_kernels;
extern const Kernels x86_aesni_kernels;
extern const Kernels x86_aesni_avx2_kernels;
extern const Kernels x86_vaes_kernels;
extern const Kernels x86_gfni256_kernels;
extern const Kernels x86_gfni512_kernels;
#elif defined(__aarch64__)
extern const Kernels arm_neon_kernels;
extern const Kernels arm_aes_kernels;
extern const Kernels arm_sm4_kernels;
#endif

/// The kernels that this processor can run, best first; the last needs nothing that a processor may lack.
std::span<const Kernels* const> supported_kernels() noexcept;

/// The best of them.
const Kernels& active_kernels() noexcept;

}  // namespace ulmaro::sm4
