// SM3 and the key derivation function: digests against OpenSSL's for every split, place and kernel, every byte of
// contexts against the standard's steps. Buffers end where memory ends.
#include <climits>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/bytes.hpp"
#include "fuzz/fuzz.hpp"
#include "sm3/counter_digests.hpp"
#include "sm3/kernels.hpp"
#include "sm3/rounds.hpp"
#include "support/guarded.hpp"
#include "support/openssl.hpp"
#include "support/refusal.hpp"
#include "support/sm3_reference.hpp"

namespace ulmaro::fuzz {
namespace {

using Buffer = Guarded<unsigned char>;

SM3_CTX initial() {
    SM3_CTX ctx = {};
    std::ranges::copy(sm3_iv, ctx.V);
    for (int j = 0; j < 64; ++j) ctx.T[j] = j < 16 ? 0x79cc4519 : 0x7a879d8a;
    return ctx;
}

/// V after one more block, with these constants.
void compress(unsigned int (&V)[8], std::span<const unsigned char> block, std::span<const unsigned int> constants) {
    std::ranges::copy(sm3_compress(std::to_array(V), sm3_expand(be_words(block)), constants), V);
}

Bytes pending(const SM3_CTX& ctx) { return {ctx.block, ctx.block + static_cast<unsigned int>(ctx.num) % 64}; }

/// What SM3_Update leaves once it has counted the message. Streams use the standard's constants, whatever the context
/// holds.
void absorb(SM3_CTX& ctx, std::span<const unsigned char> message) {
    static const SM3_CTX standard = initial();
    Bytes all = pending(ctx);
    all.insert(all.end(), message.begin(), message.end());
    std::size_t at = 0;
    for (; at + 64 <= all.size(); at += 64) compress(ctx.V, std::span(all).subspan(at, 64), standard.T);
    ctx.num = static_cast<int>(all.size() - at);
    all.resize(at + 64);
    std::copy_n(all.end() - 64, 64, ctx.block);
}

/// What follows a message of `total` bytes whose last `size` are pending. The length field holds 32 bits.
Bytes padding(std::size_t size, std::uint32_t total) {
    Bytes bytes = {0x80};
    while ((size + bytes.size()) % 64 != 56) bytes.push_back(0);
    bytes.resize(bytes.size() + 8);
    store_be32(&bytes[bytes.size() - 4], total * 8);
    return bytes;
}

/// What SM3_Final leaves and returns: pending bytes stay.
Bytes expect_final(SM3_CTX& ctx) {
    SM3_CTX end = ctx;
    absorb(end, padding(pending(ctx).size(), ctx.total_len));
    std::copy_n(end.V, 8, ctx.V);
    return be_bytes(ctx.V);
}

/// Calls in any order on one context, which may never have been set up.
void check_context(Data& data) {
    Guarded<SM3_CTX> place(1);
    SM3_CTX& ctx = *place.data();
    SM3_Init(&ctx);
    SM3_CTX expected = initial();
    require(std::memcmp(&ctx, &expected, sizeof ctx) == 0, "a context is set up in every byte");
    if (data.flip()) ctx.total_len = data.any<std::uint32_t>();
    if (data.flip()) std::memcpy(ctx.V, data.take(32).data(), 32);
    if (data.flip()) ctx.T[data.up_to(63)] = data.any<std::uint32_t>();
    if (data.rarely(4)) ctx.num = 64 * data.between(-3, 3) + data.between(0, 63);
    if (data.rarely(4)) std::memcpy(ctx.block, data.take(64).data(), 64);
    for (auto calls = data.between(1, 6); calls > 0; --calls) {
        expected = ctx;
        switch (data.up_to(5)) {
            case 0:
            case 1: {
                const Bytes message = take_message(data, data.flip() ? 70 : 300);
                expected.total_len += static_cast<unsigned int>(message.size());
                absorb(expected, message);
                SM3_Update(&ctx, Buffer(message).data(), length(message));
                break;
            }
            case 2: {  // inside the context, as it is once the length has been counted
                const std::size_t size = 1 + data.up_to(sizeof ctx - 1), at = data.up_to(sizeof ctx - size);
                expected.total_len += static_cast<unsigned int>(size);
                const Bytes message = snapshot(expected);
                absorb(expected, std::span(message).subspan(at, size));
                SM3_Update(&ctx, object_bytes(ctx).data() + at, static_cast<int>(size));
                break;
            }
            case 3: {
                const Bytes digest = expect_final(expected);
                Buffer apart(32);
                const bool inside = data.flip();
                if (inside) std::ranges::copy(digest, expected.block);
                unsigned char* const out = inside ? ctx.block : apart.data();
                SM3_Final(&ctx, out);
                require(equal({out, 32}, digest) && (inside || apart.intact()), "the digest of a context");
                break;
            }
            case 4: {  // one block, and rounds on expansions of no block, with the context's constants
                const Bytes block = data.take(64);
                compress(expected.V, block, expected.T);
                const auto words = be_words(block);
                SM3_OPERAAT(&ctx, Guarded<unsigned int>(std::span<const unsigned int>(words)).data());
                Sm3Schedule s;
                for (unsigned int& w : s.w) w = data.any<std::uint32_t>();
                for (unsigned int& w : s.w_prime) w = data.any<std::uint32_t>();
                Words8 v = std::to_array(ctx.V), out = v;
                const Words8 result = sm3_compress(v, s, ctx.T);
                CF_FUNCTION(&ctx, nullptr, (data.flip() ? out : v).data(), s.w.data(), s.w_prime.data(), out.data());
                require(out == result, "CF_FUNCTION");
                break;
            }
            default: {
                const int negative = data.between(INT_MIN, -1);
                require(refused([&] { SM3_Update(&ctx, untouchable(), negative); }), "a negative length is refused");
            }
        }
        require(std::memcmp(&ctx, &expected, sizeof ctx) == 0 && place.intact(), "a context");
    }
}

/// The input alone, at null if empty, and then with the output anywhere over it.
template <class Call>
void check_places(Data& data, const Bytes& input, const Bytes& expected, const char* what, Call&& call) {
    const std::size_t size = expected.size(), at = data.up_to(input.size() + size);
    Buffer in(input), out(size);
    call(input.empty() ? nullptr : in.data(), out.data());
    require(equal(out.span(), expected) && out.intact() && equal(in.span(), input), what);
    Bytes over(size + input.size() + size);
    std::ranges::copy(input, over.data() + size);
    call(over.data() + size, over.data() + at);
    require(equal({over.data() + at, size}, expected), what);
}

/// In one call, and the padded message in two calls to each kernel.
void check_digest(Data& data, const Bytes& message) {
    const Bytes expected = openssl_sm3(message);
    check_places(data, message, expected, "SM3_HASH",
                 [&](unsigned char* in, unsigned char* out) { SM3_HASH(in, length(message), out); });
    Bytes whole = message, end = padding(message.size(), static_cast<std::uint32_t>(message.size()));
    whole.insert(whole.end(), end.begin(), end.end());
    Buffer blocks(whole);
    const std::size_t count = whole.size() / 64, first = data.up_to(count);
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        std::uint32_t v[8];
        std::copy_n(sm3::initial_value, 8, v);
        kernels->compress(v, blocks.data(), first);
        kernels->compress(v, blocks.data() + 64 * first, count - first);
        require(equal(be_bytes(v), expected), kernels->name);
    }
}

/// z || counter, with noise for the counter's bytes.
sm3::CounterMessage counted(const Bytes& z) {
    sm3::CounterMessage m{};
    std::ranges::copy(sm3::initial_value, m.v);
    sm3::portable_kernels.compress(m.v, z.data(), z.size() / 64);
    Bytes end(z.end() - static_cast<std::ptrdiff_t>(z.size() % 64), z.end());
    m.counter_offset = end.size();
    end.resize(end.size() + 4, 0xa5);
    const Bytes more = padding(end.size(), static_cast<std::uint32_t>(z.size() + 4));
    end.insert(end.end(), more.begin(), more.end());
    m.blocks = end.size() / 64;
    std::ranges::copy(end, m.bytes);
    return m;
}

void check_counted(const sm3::Kernels& kernels, const Bytes& z, std::uint32_t first, const Bytes& expected) {
    sm3::CounterMessage message = counted(z);
    Buffer out(expected.size());
    sm3::counter_digests(kernels, message, first, out.data(), expected.size());
    require(equal(out.span(), expected) && out.intact(), kernels.name);
}

void check_derivation(Data& data, const Bytes& z, std::size_t size) {
    const Bytes expected = openssl_kdf(z, size);
    check_places(data, z, expected, "SM2_KDF_ALGRITRHM", [&](unsigned char* in, unsigned char* out) {
        SM2_KDF_ALGRITRHM(in, length(z), static_cast<int>(size), out);
    });
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        check_counted(*kernels, z, 1, expected);
        const auto first = data.any<std::uint32_t>();
        check_counted(*kernels, z, first, openssl_kdf(z, 32 * data.up_to(20), first));
    }
}

void check_refusals() {
    for (const int len : {-1, -3, -4, -9, -10, -64, INT_MIN}) {
        require(refused([&] { SM3_HASH(untouchable(), len, untouchable()); }), "a negative length");
        for (const int wanted : {0, 1, 32, 100}) {
            require(refused([&] { SM2_KDF_ALGRITRHM(untouchable(), len, wanted, untouchable()); }), "a negative z");
        }
        SM2_KDF_ALGRITRHM(untouchable(), 0, len, untouchable());
        SM2_KDF_ALGRITRHM(Buffer(Bytes(64)).data(), 64, len, untouchable());
    }
}

}  // namespace

void run(Data& data) {
    const auto kind = data.up_to(2);
    if (kind == 0) return check_context(data);
    if (kind == 1) return check_digest(data, take_message(data, 4000));
    const auto size = data.up_to(32 * 3 * sm3::max_lanes + 31);
    check_derivation(data, take_message(data, 200), size);
}

void run_edges() {
    constexpr struct {
        const char* unit;
        int times;
        const char* digest;
    } vectors[] = {
#include "vectors/sm3.inc"
    };
    Data none({});
    for (const auto& vector : vectors) {
        Bytes message;
        for (int i = 0; i < vector.times; ++i) message.insert(message.end(), vector.unit, std::strchr(vector.unit, 0));
        check_digest(none, message);
        require(to_hex(openssl_sm3(message)) == vector.digest, vector.unit);
    }
    check_refusals();
    check_derivation(none, {}, 0);
    require(&sm3::active_kernels() == sm3::supported_kernels().front(), "the best kernel is used");
    require(sm3::supported_kernels().back() == &sm3::portable_kernels, "the portable kernel is always there");

    for (std::size_t size = 0; size <= 64 * 20; size += size < 200 ? 1 : 64) check_digest(none, pattern(size));
    for (const sm3::Kernels* kernels : sm3::supported_kernels()) {
        for (std::size_t size = 0; size <= 130; ++size) {
            const Bytes stream = openssl_kdf(pattern(size), 32 * (3 * kernels->lanes + 2));
            for (std::size_t cut = 0; cut <= stream.size(); cut += cut % 32 == 1 ? 30 : 1) {
                check_counted(*kernels, pattern(size), 1, Bytes(stream.data(), stream.data() + cut));
            }
        }
        // More groups than one expansion serves; counters that carry or wrap in every lane.
        const std::size_t lanes = kernels->lanes;
        for (const std::size_t size : {0U, 30U, 50U, 61U, 62U, 63U, 64U}) {
            const Bytes z = pattern(size);
            check_counted(*kernels, z, 1, openssl_kdf(z, 32 * lanes * (2 * lanes + 3)));
            for (std::uint32_t lane = 0; lane < lanes; ++lane) {
                for (const std::uint32_t at : {0x00ffffe0 + lane, 0xffffffe0 + lane}) {
                    check_counted(*kernels, z, at, openssl_kdf(z, 32 * (3 * lanes + 2), at));
                }
            }
        }
    }
}

}  // namespace ulmaro::fuzz
