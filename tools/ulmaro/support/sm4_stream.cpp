#include "support/sm4_stream.hpp"

#include <algorithm>

#include "UlmaroAlgrithm.h"
#include "support/error.hpp"
#include "support/progress.hpp"
#include "support/random.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t block_bytes = 16;
constexpr std::size_t piece_bytes = 1U << 20;

/// One key in one mode; whole blocks only, chained from call to call.
class Cipher {
public:
    Cipher(Sm4Mode mode, const Block& key, const Block& iv) : mode_(mode), chain_(iv) {
        SM4_KEY_INIT(key.data(), static_cast<int>(key.size()), schedule_->data(), ULMARO_SM4_SCHEDULE_WORDS);
    }

    void encrypt(std::span<const unsigned char> in, unsigned char* out) {
        if (in.empty()) return;
        const int length = static_cast<int>(in.size());
        if (mode_ == Sm4Mode::ecb) return SM4_X_ECB_EN_MODE(in.data(), length, schedule_->data(), out);
        SM4_X_CBC_EN_MODE(in.data(), length, schedule_->data(), chain_.data(), out);
        std::copy_n(out + in.size() - block_bytes, block_bytes, chain_.data());
    }

    void decrypt(std::span<const unsigned char> in, unsigned char* out) {
        if (in.empty()) return;
        const int length = static_cast<int>(in.size());
        if (mode_ == Sm4Mode::ecb) return SM4_X_ECB_DE_MODE(in.data(), length, schedule_->data(), out);
        SM4_X_CBC_DE_MODE(in.data(), length, schedule_->data(), chain_.data(), out);
        std::copy_n(in.data() + in.size() - block_bytes, block_bytes, chain_.data());
    }

private:
    Sm4Mode mode_;
    Block chain_;
    Secret<std::array<unsigned int, ULMARO_SM4_SCHEDULE_WORDS>> schedule_;
};

Failure ragged(const Input& input, const char* what) {
    return Failure(input.name() + ": " + what + " is not a whole number of 16-byte blocks");
}

/// Length of the message in a last block with PKCS#7 padding, or -1. Reads every byte whatever it finds.
int unpadded_length(const Block& last) {
    const unsigned pad = last[block_bytes - 1];
    unsigned bad = static_cast<unsigned>(pad == 0) | static_cast<unsigned>(pad > block_bytes);
    for (unsigned i = 1; i <= block_bytes; ++i) {
        bad |= static_cast<unsigned>(i <= pad) & static_cast<unsigned>(last[block_bytes - i] != pad);
    }
    return bad != 0 ? -1 : static_cast<int>(block_bytes - pad);
}

}  // namespace

void sm4_encrypt(const Sm4Job& job, Input& input, Output& output) {
    Block iv = job.iv.value_or(Block{});
    if (job.mode == Sm4Mode::cbc && !job.iv) {
        fill_random(iv);
        output.write(iv);
    }
    Cipher cipher(job.mode, *job.key, iv);
    Progress progress(input.size(), job.show_progress);
    SecretBuffer plain(piece_bytes + block_bytes);  // room for the padding of the last piece
    SecretBuffer sealed(piece_bytes + block_bytes);
    std::size_t n;
    do {
        n = input.read(plain.span().first(piece_bytes));
        std::size_t padded = n;
        if (n < piece_bytes && job.padding == Padding::pkcs7) {
            padded = (n / block_bytes + 1) * block_bytes;
            std::fill(plain.data() + n, plain.data() + padded, static_cast<unsigned char>(padded - n));
        }
        if (padded % block_bytes != 0) throw ragged(input, "the input has no padding and");
        cipher.encrypt(plain.span().first(padded), sealed.data());
        output.write(sealed.span().first(padded));
        progress.advance(n);
    } while (n == piece_bytes);
}

void sm4_decrypt(const Sm4Job& job, Input& input, Output& output) {
    Block iv = job.iv.value_or(Block{});
    if (job.mode == Sm4Mode::cbc && !job.iv && input.read(iv) != iv.size()) {
        throw Failure(input.name() + ": too short to begin with an initialisation vector");
    }
    Cipher cipher(job.mode, *job.key, iv);
    Progress progress(input.size(), job.show_progress);
    SecretBuffer sealed(piece_bytes);
    SecretBuffer plain(piece_bytes);
    Secret<Block> held;  // the last block so far: only the end of the input shows whether it carries padding
    bool holding = false;
    std::size_t n;
    do {
        n = input.read(sealed.span());
        if (n % block_bytes != 0) throw ragged(input, "the ciphertext");
        if (n == 0) break;
        cipher.decrypt(sealed.span().first(n), plain.data());
        if (holding) output.write(*held);
        output.write(plain.span().first(n - block_bytes));
        std::copy_n(plain.data() + n - block_bytes, block_bytes, held->data());
        holding = true;
        progress.advance(n);
    } while (n == piece_bytes);

    if (job.padding == Padding::none) {
        if (holding) output.write(*held);
        return;
    }
    if (!holding) throw Failure(input.name() + ": too short: padded ciphertext has at least one block");
    const int length = unpadded_length(*held);
    if (length < 0) throw Failure(input.name() + ": wrong padding: the key or the IV is wrong, or the data is damaged");
    output.write(std::span(*held).first(static_cast<std::size_t>(length)));
}

}  // namespace ulmaro::tool
