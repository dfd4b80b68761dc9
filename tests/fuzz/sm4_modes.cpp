// SM4 in ECB and CBC, both ways, every kernel and every overlap, against OpenSSL.
#include "support/sm4_modes.hpp"

#include <openssl/evp.h>

#include <cstring>
#include <limits>

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/fuzz.hpp"
#include "sm4/kernels.hpp"
#include "support/refusal.hpp"

namespace ulmaro::fuzz {
namespace {

using test::Sm4Mode;

constexpr std::size_t kMostBlocks = 150;  // twice the widest kernel's 64, and a tail

struct Job {
    bool cbc, decrypts;
    Bytes key, iv;
};

Bytes reference(const Job& job, std::span<const unsigned char> in) {
    static EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(cipher, job.cbc ? EVP_sm4_cbc() : EVP_sm4_ecb(), nullptr, job.key.data(), job.iv.data(),
                      job.decrypts ? 0 : 1);
    EVP_CIPHER_CTX_set_padding(cipher, 0);
    Bytes out(in.size());
    int written = 0;
    EVP_CipherUpdate(cipher, out.data(), &written, in.data(), length(in));
    require(written == length(in), "OpenSSL runs all blocks");
    return out;
}

/// Input, output, iv and key or schedule at fuzzed places of one memory, where they may overlap in any way.
void check_overlaps(Data& data, const Sm4Mode& mode) {
    const auto size = data.up_to(16 * kMostBlocks + 15), whole = size / 16 * 16;
    const Bytes key = data.take(16);
    const std::size_t spare = 160 + data.up_to(2 * size);
    const auto place = [&](std::size_t length) {
        return data.up_to(size + spare - length);
    };
    const std::size_t in = place(size), iv = place(16);
    const std::size_t beside = std::min(spare, in + data.up_to(80));
    const std::size_t outs[] = {in, beside, place(size)};
    const std::size_t out = outs[data.up_to(2)];
    const std::size_t key_at = mode.raw_key ? place(16) : place(128) / 4 * 4;
    const int negative = data.between(std::numeric_limits<int>::min(), -1);
    Bytes memory = take_spread(data, size + spare);
    unsigned char* const base = memory.data();
    if (mode.raw_key) {
        std::ranges::copy(key, base + key_at);
    } else {
        require(SM4_KEY_INIT(key.data(), 16, reinterpret_cast<unsigned int*>(base + key_at), 32) == 1, "key set-up");
    }
    const Job job{mode.cbc, mode.decrypts, key, Bytes(base + iv, base + iv + 16)};
    Bytes expected = memory;
    std::ranges::copy(reference(job, {base + in, whole}), expected.data() + out);

    require(test::outcome_of([&] { mode.run(base + in, negative, base + key_at, base + iv, base + out); }) ==
                (negative <= -4 ? test::Outcome::bad_array_new_length : test::Outcome::returned),
            "a negative length is refused");
    mode.run(base + in, static_cast<int>(size), base + key_at, base + iv, base + out);
    require(memory == expected, mode.name);
}

/// One stream in several calls: each continues with the last ciphertext block of the one before.
void check_continuation(Data& data, const Sm4Mode& mode) {
    const Bytes message = take_message(data, 16 * kMostBlocks);
    Bytes text(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(message.size() / 16 * 16));
    const Job job{mode.cbc, mode.decrypts, data.take(16), data.take(16)};
    const Bytes expected = reference(job, text);
    test::Sm4Key key(job.key);
    Bytes iv = job.iv;
    for (std::size_t done = 0; done < text.size();) {
        const std::size_t left = (text.size() - done) / 16;
        const std::size_t step =
            16 * (data.empty() ? left : data.between<std::size_t>(1, left));
        unsigned char* const at = &text[done];
        Bytes next(at + step - 16, at + step);
        mode.run(at, static_cast<int>(step), key.for_mode(mode), iv.data(), at);
        if (!mode.decrypts) std::copy_n(at + step - 16, 16, next.begin());
        iv.swap(next);
        done += step;
    }
    require(text == expected, "a stream in pieces");
}

/// The kernels themselves: the output apart, in place, or any distance below the input.
void check_kernels(Data& data) {
    const auto blocks = data.up_to(kMostBlocks), size = 16 * blocks;
    const bool apart = data.flip();
    const std::size_t below = apart ? size : data.up_to(size + 16);
    const std::size_t offset = data.up_to(63);
    const Job job{data.flip(), data.flip(), data.take(16), data.take(16)};
    const Bytes memory = take_spread(data, offset + below + size);
    const test::Sm4Key key(job.key);
    Bytes expected = memory;
    std::ranges::copy(reference(job, {memory.data() + offset + below, size}), expected.data() + offset);
    for (const sm4::Kernels* kernels : sm4::supported_kernels()) {
        Bytes work = memory;
        unsigned char* const out = work.data() + offset;
        if (job.cbc) {
            (job.decrypts ? kernels->cbc_decrypt : kernels->cbc_encrypt)(out + below, out, blocks, key.schedule,
                                                                         job.iv.data());
        } else {
            (job.decrypts ? kernels->decrypt_blocks : kernels->encrypt_blocks)(out + below, out, blocks, key.schedule);
        }
        require(work == expected, kernels->name);
    }
}

/// The routines over words: the bytes in big-endian words, apart or in place.
void check_words(Data& data) {
    const Job job{data.flip(), data.flip(), data.take(16), data.take(16)};
    test::Sm4Key key(job.key);
    const auto len = job.cbc ? data.up_to(64) : 4;
    const bool in_place = data.flip();
    const Bytes text = data.take(4 * len);
    auto in = test::be_words(text), iv = test::be_words(job.iv);
    auto apart = in;
    unsigned int* const out = in_place ? in.data() : apart.data();
    const std::size_t whole = len / 4 * 16;
    Bytes expected = text;
    std::ranges::copy(reference(job, std::span(text).first(whole)), expected.begin());
    if (job.cbc) {
        (job.decrypts ? CBC_DE_MOD : CBC_EN_MOD)(in.data(), static_cast<int>(len), key.schedule, iv.data(), out);
    } else {
        (job.decrypts ? ECB_DE_MOD : ECB_EN_MOD)(in.data(), key.schedule, out);
    }
    require(test::be_bytes({out, len}) == expected, "SM4 over words");
}

}  // namespace

void run(Data& data) {
    const auto& modes = data.flip() ? test::kSm4Modes : test::kSm4InternalModes;
    const Sm4Mode& mode = modes[data.up_to(std::size(modes) - 1)];
    switch (data.between(0, 3)) {
        case 0:
            check_overlaps(data, mode);
            break;
        case 1:
            check_continuation(data, mode);
            break;
        case 2:
            check_kernels(data);
            break;
        default:
            check_words(data);
    }
}

void run_edges() {}

}  // namespace ulmaro::fuzz
