// SM4 in plain C++. Contract: sm4/kernels.hpp.
//
// A round waits for its S-box loads most of the time, so independent blocks are run side by side: four at once for ECB
// and for CBC decryption. CBC encryption is one chain and runs one block at a time.
#include <cstring>

#include "base/wipe.hpp"
#include "sm4/kernels.hpp"
#include "sm4/kernels/portable_rounds.hpp"
#include "sm4/kernels/portable_sbox.hpp"

namespace ulmaro::sm4 {
namespace {

constexpr std::size_t block_bytes = 16;
constexpr unsigned lanes = 4;
constexpr std::size_t stack_bytes = 768;  // a group of blocks, with room to spare

/// width blocks of four words each, word i of lane l in x[i][l]. Reverse transform included.
template <Direction direction, unsigned width>
[[gnu::always_inline]] inline void transform(std::uint32_t (&x)[4][width], const std::uint32_t* rk) noexcept {
    for (unsigned i = 0; i < 32; i += 4) {
        for (unsigned step = 0; step < 4; ++step) {
            const std::uint32_t key = round_key<direction>(rk, i + step);
            for (unsigned l = 0; l < width; ++l)
                x[step][l] = round(x[step][l], x[(step + 1) % 4][l], x[(step + 2) % 4][l], x[(step + 3) % 4][l], key);
        }
    }
    for (unsigned l = 0; l < width; ++l) {
        std::swap(x[0][l], x[3][l]);
        std::swap(x[1][l], x[2][l]);
    }
}

template <unsigned width>
[[gnu::always_inline]] inline void load(std::uint32_t (&x)[4][width], const std::uint8_t* in) noexcept {
    for (unsigned l = 0; l < width; ++l)
        for (unsigned i = 0; i < 4; ++i) x[i][l] = load_be32(in + block_bytes * l + 4 * i);
}

template <unsigned width>
[[gnu::always_inline]] inline void store(std::uint8_t* out, const std::uint32_t (&x)[4][width]) noexcept {
    for (unsigned l = 0; l < width; ++l)
        for (unsigned i = 0; i < 4; ++i) store_be32(out + block_bytes * l + 4 * i, x[i][l]);
}

template <Direction direction, unsigned width>
[[gnu::always_inline]] inline void ecb_group(const std::uint8_t* in, std::uint8_t* out,
                                             const std::uint32_t* rk) noexcept {
    std::uint32_t x[4][width];
    load(x, in);
    transform<direction>(x, rk);
    store(out, x);
}

template <Direction direction>
[[gnu::noinline]] void ecb_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                  const std::uint32_t* rk) noexcept {
    for (; blocks >= lanes; blocks -= lanes, in += lanes * block_bytes, out += lanes * block_bytes)
        ecb_group<direction, lanes>(in, out, rk);
    for (; blocks != 0; --blocks, in += block_bytes, out += block_bytes) ecb_group<direction, 1>(in, out, rk);
}

template <Direction direction>
void ecb(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk) noexcept {
    ecb_blocks<direction>(in, out, blocks, rk);
    wipe_used_stack(stack_bytes);
}

[[gnu::noinline]] void cbc_encrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                          const std::uint32_t* rk, const std::uint8_t* iv) noexcept {
    std::uint32_t v[4][1];
    load(v, iv);
    for (; blocks != 0; --blocks, in += block_bytes, out += block_bytes) {
        std::uint32_t p[4][1];
        load(p, in);
        for (unsigned i = 0; i < 4; ++i) v[i][0] ^= p[i][0];
        transform<Direction::encrypt>(v, rk);
        store(out, v);
    }
}

/// Decrypts width blocks; v is the ciphertext block before the first of them, and the last of them afterwards. The
/// ciphertext is kept, because out may be in.
template <unsigned width>
[[gnu::always_inline]] inline void cbc_group(const std::uint8_t* in, std::uint8_t* out, const std::uint32_t* rk,
                                             std::uint32_t (&v)[4]) noexcept {
    std::uint32_t c[4][width];
    std::uint32_t x[4][width];
    load(c, in);
    std::memcpy(x, c, sizeof x);
    transform<Direction::decrypt>(x, rk);
    for (unsigned i = 0; i < 4; ++i) {
        x[i][0] ^= v[i];
        for (unsigned l = 1; l < width; ++l) x[i][l] ^= c[i][l - 1];
        v[i] = c[i][width - 1];
    }
    store(out, x);
}

void cbc_encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                 const std::uint8_t* iv) noexcept {
    cbc_encrypt_blocks(in, out, blocks, rk, iv);
    wipe_used_stack(stack_bytes);
}

[[gnu::noinline]] void cbc_decrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                          const std::uint32_t* rk, const std::uint8_t* iv) noexcept {
    std::uint32_t v[4];
    for (unsigned i = 0; i < 4; ++i) v[i] = load_be32(iv + 4 * i);
    for (; blocks >= lanes; blocks -= lanes, in += lanes * block_bytes, out += lanes * block_bytes)
        cbc_group<lanes>(in, out, rk, v);
    for (; blocks != 0; --blocks, in += block_bytes, out += block_bytes) cbc_group<1>(in, out, rk, v);
}

void cbc_decrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                 const std::uint8_t* iv) noexcept {
    cbc_decrypt_blocks(in, out, blocks, rk, iv);
    wipe_used_stack(stack_bytes);
}

/// tau without the table.
std::uint32_t substitute_by_circuit(std::uint32_t x) noexcept {
    constexpr std::uint32_t lowest = 0x01010101;  // only these bits of a plane are used
    Planes<std::uint32_t> p;
    for (unsigned i = 0; i < 8; ++i) p.plane[i] = x >> i;
    p = substitute_planes(p);
    std::uint32_t y = 0;
    for (unsigned i = 0; i < 8; ++i) y |= (p.plane[i] & lowest) << i;
    return y;
}

/// Five times slower than the table, but keys must not be looked up.
void expand_key(const std::uint32_t* mk, std::uint32_t* rk) noexcept {
    with_wiped_stack(stack_bytes, [=] {
        std::uint32_t k[4];
        for (unsigned i = 0; i < 4; ++i) k[i] = mk[i] ^ FK[i];
        for (unsigned i = 0; i < 32; ++i) {
            k[i % 4] ^= diffuse_key(substitute_by_circuit(k[(i + 1) % 4] ^ k[(i + 2) % 4] ^ k[(i + 3) % 4] ^ CK[i]));
            rk[i] = k[i % 4];
        }
    });
}

}  // namespace

constinit const Kernels portable_kernels{"portable",  expand_key, ecb<Direction::encrypt>, ecb<Direction::decrypt>,
                                         cbc_encrypt, cbc_decrypt};

}  // namespace ulmaro::sm4
