#include "support/sm4_stream.hpp"

#include <algorithm>

#include "support/error.hpp"
#include "support/progress.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t block_bytes = algrithm::Sm4::block_size;
constexpr std::size_t piece_bytes = 1U << 20;

/// One key in one mode; whole blocks only, chained from call to call.
class Cipher {
public:
    Cipher(const Sm4Job& job, const Block& iv)
        : mode_(job.mode), key_(job.key.span().first<block_bytes>()), chain_(iv) {}

    void encrypt(algrithm::View in, std::span<unsigned char> out) {
        if (mode_ == Sm4Mode::ecb) return key_.ecb_encrypt(in, out);
        key_.cbc_encrypt(chain_, in, out);
    }
    void decrypt(algrithm::View in, std::span<unsigned char> out) {
        if (mode_ == Sm4Mode::ecb) return key_.ecb_decrypt(in, out);
        key_.cbc_decrypt(chain_, in, out);
    }

private:
    Sm4Mode mode_;
    algrithm::Sm4 key_;
    Block chain_;
};

Failure ragged(const Input& input, const char* what) {
    return Failure(input.name() + ": " + what + " is not a whole number of 16-byte blocks");
}

}  // namespace

void sm4_encrypt(const Sm4Job& job, Input& input, Output& output) {
    Block iv = job.iv.value_or(Block{});
    if (job.mode == Sm4Mode::cbc && !job.iv) {
        algrithm::random_bytes(iv);
        output.write(iv);
    }
    Cipher cipher(job, iv);
    Progress progress(input.size(), job.show_progress);
    SecretBuffer plain(piece_bytes);
    SecretBuffer sealed(piece_bytes);
    std::size_t n;
    do {
        n = input.read(plain.span());
        std::size_t padded = n;
        if (n < piece_bytes && job.padding == Padding::pkcs7) {
            padded = (n / block_bytes + 1) * block_bytes;
            std::fill(plain.data() + n, plain.data() + padded, static_cast<unsigned char>(padded - n));
        }
        if (padded % block_bytes != 0) throw ragged(input, "the input has no padding and");
        cipher.encrypt(plain.span().first(padded), sealed.span().first(padded));
        output.write(sealed.span().first(padded));
        progress.advance(n);
    } while (n == piece_bytes);
}

void sm4_decrypt(const Sm4Job& job, Input& input, Output& output) {
    Block iv = job.iv.value_or(Block{});
    if (job.mode == Sm4Mode::cbc && !job.iv && input.read(iv) != iv.size()) {
        throw Failure(input.name() + ": too short to begin with an initialisation vector");
    }
    Cipher cipher(job, iv);
    Progress progress(input.size(), job.show_progress);
    SecretBuffer sealed(piece_bytes);
    SecretBuffer plain(piece_bytes);
    SecretBuffer held(
        block_bytes);  // the last block so far: only the end of the input shows whether it carries padding
    bool holding = false;
    std::size_t n;
    do {
        n = input.read(sealed.span());
        if (n % block_bytes != 0) throw ragged(input, "the ciphertext");
        if (n == 0) break;
        cipher.decrypt(sealed.span().first(n), plain.span().first(n));
        if (holding) output.write(held.span());
        output.write(plain.span().first(n - block_bytes));
        std::copy_n(plain.data() + n - block_bytes, block_bytes, held.data());
        holding = true;
        progress.advance(n);
    } while (n == piece_bytes);

    if (job.padding == Padding::none) {
        if (holding) output.write(held.span());
        return;
    }
    if (!holding) throw Failure(input.name() + ": too short: padded ciphertext has at least one block");
    const std::size_t padding = algrithm::Sm4::padding_of(held.span().first<block_bytes>());
    if (padding == 0)
        throw Failure(input.name() + ": wrong padding: the key or the IV is wrong, or the data is damaged");
    output.write(held.span().first(block_bytes - padding));
}

}  // namespace ulmaro::tool
