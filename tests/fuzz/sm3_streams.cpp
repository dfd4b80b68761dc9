// SM3 and the key derivation function, in every split, place and kernel, against OpenSSL.
#include <cstring>
#include <limits>

#include "UlmaroAlgrithm.h"
#include "base/bytes.hpp"
#include "fuzz/fuzz.hpp"
#include "support/counted_message.hpp"
#include "support/openssl.hpp"
#include "support/refusal.hpp"

namespace ulmaro::fuzz {
namespace {

/// message at an odd place, up to the end of its memory.
struct Placed {
    Bytes store;
    unsigned char* at;

    Placed(Data& data, const Bytes& message) : store(data.up_to(63) + message.size()) {
        at = store.data() + (store.size() - message.size());
        std::ranges::copy(message, at);
    }
};

void check_stream(Data& data, const Bytes& message, const Bytes& expected) {
    Placed placed(data, message);
    SM3_CTX ctx;
    SM3_Init(&ctx);
    for (std::size_t done = 0; done < message.size();) {
        const std::size_t left = message.size() - done;
        const bool last = data.empty();
        const std::size_t step =
            last ? left : data.up_to(std::min<std::size_t>(left, 300));
        if (step == 0) {
            const SM3_CTX before = ctx;
            const int negative = data.between(std::numeric_limits<int>::min(), -1);
            require(
                test::outcome_of([&] { SM3_Update(&ctx, placed.at, negative); }) == test::Outcome::bad_array_new_length,
                "a negative length is refused");
            SM3_Update(&ctx, nullptr, 0);
            require(std::memcmp(&before, &ctx, sizeof ctx) == 0, "nothing changes by no bytes");
        }
        SM3_Update(&ctx, placed.at + done, static_cast<int>(step));
        done += step;
    }
    Bytes digest(32);
    SM3_Final(&ctx, digest.data());
    require(digest == expected, "a stream has the digest of its message");
}

void check_at_once(Data& data, const Bytes& message, const Bytes& expected) {
    Placed placed(data, message);
    Bytes digest(32);
    SM3_HASH(placed.at, length(message), digest.data());
    require(digest == expected, "SM3_HASH");
    if (message.size() < 32) return;
    unsigned char* const inside = placed.at + data.up_to(message.size() - 32);
    SM3_HASH(placed.at, length(message), inside);
    require(equal({inside, 32}, expected), "SM3_HASH over its input");
}

/// The padded message in two calls of each kernel.
void check_kernels(Data& data, const Bytes& message, const Bytes& expected) {
    Bytes padded = message;
    padded.push_back(0x80);
    while (padded.size() % 64 != 56) padded.push_back(0);
    padded.resize(padded.size() + 8);
    store_be32(&padded[padded.size() - 4], static_cast<std::uint32_t>(message.size()) * 8);
    const Placed placed(data, padded);
    const std::size_t blocks = padded.size() / 64, first = data.up_to(blocks);
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        std::uint32_t v[8];
        std::copy_n(sm3::kInitialValue, 8, v);
        kernels->compress(v, placed.at, first);
        kernels->compress(v, placed.at + 64 * first, blocks - first);
        require(equal(test::be_bytes(v), expected), kernels->name);
    }
}

void check_kdf(Data& data, const Bytes& z) {
    if (z.empty()) return;
    const auto size = data.between<std::size_t>(1, 32 * 3 * sm3::kMaxLanes + 31);
    const Bytes expected = test::openssl_kdf(z, size);
    const Placed placed(data, z);
    Bytes out(size);
    SM2_KDF_ALGRITRHM(placed.at, length(z), static_cast<int>(size), out.data());
    require(out == expected, "SM2_KDF_ALGRITRHM");

    // Over its input at any distance.
    Bytes both(std::max(z.size(), size) + z.size());
    const auto z_at = data.up_to(both.size() - z.size());
    const auto out_at = data.up_to(both.size() - size);
    std::copy(z.begin(), z.end(), both.data() + z_at);
    SM2_KDF_ALGRITRHM(both.data() + z_at, length(z), static_cast<int>(size), both.data() + out_at);
    require(equal({both.data() + out_at, size}, expected), "SM2_KDF_ALGRITRHM over its input");

    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        sm3::CounterMessage message = test::counted(z);
        std::ranges::fill(out, 0xa5);
        sm3::counter_digests(*kernels, message, 1, out.data(), size);
        require(out == expected, kernels->name);
    }
    // Any first counter: the digests are those of the messages one by one.
    const auto first = data.any<std::uint32_t>();
    const auto count = data.between<std::uint32_t>(1, 20);
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        sm3::CounterMessage message = test::counted(z);
        out.resize(32 * std::size_t{count});
        sm3::counter_digests(*kernels, message, first, out.data(), out.size());
        for (std::uint32_t i = 0; i < count; ++i) {
            Bytes single = z;
            single.resize(z.size() + 4);
            store_be32(&single[z.size()], first + i);
            require(equal({&out[32 * std::size_t{i}], 32}, test::openssl_sm3(single)), "digests of counted messages");
        }
    }
}

}  // namespace

void run(Data& data) {
    const bool derives = data.flip();
    const Bytes message = take_message(data, derives ? 200 : 4000);
    if (derives) return check_kdf(data, message);
    const Bytes expected = test::openssl_sm3(message);
    check_at_once(data, message, expected);
    check_kernels(data, message, expected);
    check_stream(data, message, expected);
}

void run_edges() {}

}  // namespace ulmaro::fuzz
