// SM3 and the key derivation function, in every split, place and kernel, against OpenSSL.
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <cstring>
#include <limits>
#include <memory>

#include "UlmaroAlgrithm.h"
#include "base/bytes.hpp"
#include "fuzz/fuzz.hpp"
#include "support/counted_message.hpp"
#include "support/refusal.hpp"

namespace ulmaro::fuzz {
namespace {

using Digest = std::array<unsigned char, 32>;

Digest reference(const Bytes& message) {
    Digest digest;
    EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sm3(), nullptr);
    return digest;
}

/// message at an odd place, up to the end of its memory.
struct Placed {
    Bytes store;
    unsigned char* at;

    Placed(Data& data, const Bytes& message) : store(data.ConsumeIntegralInRange<std::size_t>(0, 63) + message.size()) {
        at = store.data() + (store.size() - message.size());
        std::ranges::copy(message, at);
    }
};

void check_stream(Data& data, const Bytes& message, const Digest& expected) {
    Placed placed(data, message);
    SM3_CTX ctx;
    SM3_Init(&ctx);
    for (std::size_t done = 0; done < message.size();) {
        const std::size_t left = message.size() - done;
        const bool last = data.remaining_bytes() == 0;
        const std::size_t step =
            last ? left : data.ConsumeIntegralInRange<std::size_t>(0, std::min<std::size_t>(left, 300));
        if (step == 0) {
            const SM3_CTX before = ctx;
            const int negative = data.ConsumeIntegralInRange(std::numeric_limits<int>::min(), -1);
            require(
                test::outcome_of([&] { SM3_Update(&ctx, placed.at, negative); }) == test::Outcome::bad_array_new_length,
                "a negative length is refused");
            SM3_Update(&ctx, nullptr, 0);
            require(std::memcmp(&before, &ctx, sizeof ctx) == 0, "nothing changes by no bytes");
        }
        SM3_Update(&ctx, placed.at + done, static_cast<int>(step));
        done += step;
    }
    Digest digest;
    SM3_Final(&ctx, digest.data());
    require(digest == expected, "a stream has the digest of its message");
}

void check_at_once(Data& data, const Bytes& message, const Digest& expected) {
    Placed placed(data, message);
    Digest digest;
    SM3_HASH(placed.at, length(message), digest.data());
    require(digest == expected, "SM3_HASH");
    if (message.size() < 32) return;
    unsigned char* const inside = placed.at + data.ConsumeIntegralInRange<std::size_t>(0, message.size() - 32);
    SM3_HASH(placed.at, length(message), inside);
    require(equal({inside, 32}, expected), "SM3_HASH over its input");
}

/// The padded message in two calls of each kernel.
void check_kernels(Data& data, const Bytes& message, const Digest& expected) {
    Bytes padded = message;
    padded.push_back(0x80);
    while (padded.size() % 64 != 56) padded.push_back(0);
    padded.resize(padded.size() + 8);
    store_be32(&padded[padded.size() - 4], static_cast<std::uint32_t>(message.size()) * 8);
    const Placed placed(data, padded);
    const std::size_t blocks = padded.size() / 64, first = data.ConsumeIntegralInRange<std::size_t>(0, blocks);
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        std::uint32_t v[8];
        std::copy_n(sm3::kInitialValue, 8, v);
        kernels->compress(v, placed.at, first);
        kernels->compress(v, placed.at + 64 * first, blocks - first);
        require(equal(test::be_bytes(v), expected), kernels->name);
    }
}

Bytes reference_kdf(Bytes z, std::size_t size) {
    static EVP_KDF* const kdf = EVP_KDF_fetch(nullptr, "X963KDF", nullptr);
    const std::unique_ptr<EVP_KDF_CTX, decltype(&EVP_KDF_CTX_free)> ctx(EVP_KDF_CTX_new(kdf), EVP_KDF_CTX_free);
    char digest[] = "SM3";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                     OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, z.data(), z.size()),
                                     OSSL_PARAM_construct_end()};
    Bytes out(size);
    require(EVP_KDF_derive(ctx.get(), out.data(), size, parameters) == 1, "OpenSSL derives");
    return out;
}

void check_kdf(Data& data, const Bytes& z) {
    if (z.empty()) return;
    const auto size = data.ConsumeIntegralInRange<std::size_t>(1, 32 * 3 * sm3::kMaxLanes + 31);
    const Bytes expected = reference_kdf(z, size);
    const Placed placed(data, z);
    Bytes out(size);
    SM2_KDF_ALGRITRHM(placed.at, length(z), static_cast<int>(size), out.data());
    require(out == expected, "SM2_KDF_ALGRITRHM");

    // Over its input at any distance.
    Bytes both(std::max(z.size(), size) + z.size());
    const auto z_at = data.ConsumeIntegralInRange<std::size_t>(0, both.size() - z.size());
    const auto out_at = data.ConsumeIntegralInRange<std::size_t>(0, both.size() - size);
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
    const auto first = data.ConsumeIntegral<std::uint32_t>();
    const auto count = data.ConsumeIntegralInRange<std::uint32_t>(1, 20);
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        sm3::CounterMessage message = test::counted(z);
        out.resize(32 * std::size_t{count});
        sm3::counter_digests(*kernels, message, first, out.data(), out.size());
        for (std::uint32_t i = 0; i < count; ++i) {
            Bytes single = z;
            single.resize(z.size() + 4);
            store_be32(&single[z.size()], first + i);
            require(equal({&out[32 * std::size_t{i}], 32}, reference(single)), "digests of counted messages");
        }
    }
}

}  // namespace
}  // namespace ulmaro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    using namespace ulmaro::fuzz;
    Data data(input, size);
    const bool derives = data.ConsumeBool();
    const Bytes message = take_message(data, derives ? 200 : 4000);
    if (derives) {
        check_kdf(data, message);
        return 0;
    }
    const auto expected = reference(message);
    check_at_once(data, message, expected);
    check_kernels(data, message, expected);
    check_stream(data, message, expected);
    return 0;
}
