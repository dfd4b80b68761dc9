// No call leaves a secret, or a value derived from one, on the stack it used or in heap memory it freed; for what the
// scan can see, support/remains.hpp. Nor does a call use more stack than is promised, or than is wiped. This applies to
// optimised code: without optimisation, every value of an expression has a place on the stack.
//
// With ULMARO_TEST_PORTABLE in the environment the program runs as on a processor without extensions.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/cpu.hpp"
#include "base/wipe.hpp"
#include "ec/limbs.hpp"
#include "ecp256/multiply.hpp"
#include "sm2p256/kernels.hpp"
#include "sm2p256/multiply.hpp"
#include "sm3/counter_digests.hpp"
#include "sm3/kernels.hpp"
#include "sm4/kernels.hpp"
#include "sm4/kernels/basis.hpp"
#include "support/entry_points.hpp"
#include "support/remains.hpp"
#include "support/replaced_random.hpp"
#include "support/sm3_reference.hpp"

using namespace ulmaro::test;

// The library's query; the linker redirects it here.
extern "C" const ulmaro::CpuFeatures* __real__ZN6ulmaro12cpu_featuresEv() noexcept;
extern "C" const ulmaro::CpuFeatures* __wrap__ZN6ulmaro12cpu_featuresEv() noexcept {
    static constexpr ulmaro::CpuFeatures none;
    return std::getenv("ULMARO_TEST_PORTABLE") == nullptr ? __real__ZN6ulmaro12cpu_featuresEv() : &none;
}

namespace {

class Wiping : public testing::Test {
protected:
    void SetUp() override {
#ifndef __OPTIMIZE__
        GTEST_SKIP() << "not optimised";
#endif
    }
};

void expect_wiped(const Secrets& secrets, const std::string& call, const std::function<void()>& run) {
    EXPECT_EQ(secrets.found_in(remains_of(run)), "") << call;
}

/// No frame reaches deeper than what is wiped, except a wipe's own.
void expect_wiped_depth(const char* call, const std::function<void()>& run) {
    const StackUse use = stack_used_by(run);
    if (use.wiped != 0) {
        EXPECT_LE(use.changed, use.wiped + 16) << call;
    }
}

// The tests below that disable wipes show that the scanner sees the stack.
TEST_F(Wiping, ScannerFindsFreedMemory) {
    const Bytes secret = random_looking(32, 1);
    Secrets secrets;
    secrets.add("secret", secret);
    const auto leave = [&] {
        const Bytes copy(secret.rbegin(), secret.rend());
        __asm__ volatile("" : : "r"(copy.data()) : "memory");
    };
    EXPECT_NE(secrets.found_in(remains_of(leave)), "");
}

/// A record of words or limbs from big-endian bytes.
template <class Number>
Number number(std::span<const unsigned char> be) {
    Number r = {};
    std::reverse_copy(be.begin(), be.end(), object_bytes(r).begin());
    return r;
}

// Keys, signatures and ciphertexts on the recommended curve, by its own engine and by the one for any curve.
TEST_F(Wiping, Sm2) {
    using namespace ulmaro::sm2p256;
    // Both below the order.
    const Bytes d_bytes = from_hex("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8");
    const Bytes k_bytes = from_hex("59276e27d506861a16680f3ad9c02dccef3cc1fa3cdbe4ce6d54b80deac1bc21");
    const Scalar d = scalar_from(number<U256>(d_bytes)), k = scalar_from(number<U256>(k_bytes));
    for (const bool special : {true, false}) {
        ec_group_st grp = prepare(recommended_curve), general = grp;
        general.generator.z_is_one = 2;  // another non-zero byte sends a group to the general engine
        if (!special) grp = general;
        ECC_PUBLIC_KEY pub, again;
        ECC_PRIVATE_KEY key, other;
        reset_random().next_scalar(d_bytes);
        SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
        Secrets secrets;
        const auto expect = [&](const char* call, const std::function<void()>& run) {
            const auto with_draw = [&] { reset_random().next_scalar(k_bytes), run(); };
            EXPECT_NE(secrets.found_in(remains_without_wiping(with_draw)), "") << call << " leaves nothing to wipe";
            expect_wiped(secrets, call, with_draw);
        };
        // The number, and its Montgomery form modulo n.
        const auto add = [&](const char* name, const Scalar& form) {
            secrets.add(name, snapshot(form));
            secrets.add(name, snapshot(scalar_residue(form)));
        };
        add("d", d);
        add("k", k);
        // What multiplications select: multiples of G for [k]G, odd multiples of another point on either engine. The
        // first of those is the point.
        U256 odd;
        make_odd(odd, scalar_residue(k));
        secrets.add("k made odd", object_bytes(odd));
        for (int i = 0; i < comb_windows; ++i) {
            secrets.add("multiple of G", snapshot(comb(i)[choice(bits(odd, 6 * i + 1, 6), 6).index]));
        }
        secrets.add("multiple of G", snapshot(comb_top[bits(odd, 6 * comb_windows + 1, 3)]));
        const auto add_multiples = [&](std::span<const unsigned char> xy) {
            const Fe x = fe_from(number<U256>(xy.first(32))), y = fe_from(number<U256>(xy.subspan(32, 32)));
            const ulmaro::ecp256::Curve curve = ulmaro::ec::curve_of(grp);
            Affine own[16];
            ulmaro::ecp256::Multiple any[16];
            fill_odd_multiples<PortableField>(own, Affine{x, y});
            fill_odd_multiples(ulmaro::u256::PortableResidues(curve.p), curve, any,
                               {std::bit_cast<U256>(x), std::bit_cast<U256>(y)});
            secrets.add("multiple of a point", object_bytes(own).subspan(sizeof own[0]));
            secrets.add("multiple of a point", object_bytes(any).subspan(sizeof any[0]));
        };
        expect("key pair", [&] { SM2_ECC_GenerateKeyPair(&grp, &again, &other); });
        const auto scalar = number<bignum_st>(d_bytes);
        expect("public key", [&] { ECC_CalcPubKeyByPriKey(&grp, &again, &scalar); });
        EXPECT_EQ(snapshot(again), snapshot(pub));

        // s = (1 + d)^-1 (r + k) - r = (1 + d)^-1 (k - r d)
        const Bytes e = random_looking(32, 3);
        ECC_SIGNATURE signature;
        const auto sign = [&] { SM2_ECDSA_Signature(&grp, e.data(), &key, &signature); };
        reset_random().next_scalar(k_bytes), sign();
        const Scalar r = scalar_from(number<U256>(signature.r)), d_plus_1 = scalar_add(d, scalar_one);
        add("1 + d", d_plus_1);
        add("1 / (1 + d)", scalar_invert(d_plus_1));
        add("r + k", scalar_add(r, k));
        add("r d", scalar_mul(r, d));
        add("k - r d", scalar_sub(k, scalar_mul(r, d)));
        expect("signature", sign);

        const Bytes message = random_looking(301, 5);
        Bytes record(100 + message.size()), plain(message.size()), stream = message;
        auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
        const auto encrypt = [&] { SM2_ECES_Encryption(&grp, message.data(), 301, &pub, blob); };
        const auto decrypt = [&] { static_cast<void>(SM2_ECES_Decryption(&grp, blob, &key, plain.data())); };
        reset_random().next_scalar(k_bytes), encrypt();
        add_multiples(object_bytes(pub));
        add_multiples(record);
        for (std::size_t i = 0; i < stream.size(); ++i) stream[i] ^= record[100 + i];
        secrets.add("message", message);
        secrets.add("key stream", stream);
        // The shared point is [d]C1; the general engine computes it in either case.
        ec_point_st c1 = general.generator, shared = {};
        bignum_st ks = number<bignum_st>(k_bytes), ds = scalar, x, y;
        EC_POINTs_mul(&general, &c1, &general.generator, &ks, nullptr, nullptr);
        EC_POINTs_mul(&general, &shared, &c1, &ds, nullptr, nullptr);
        ec_GFp_simple_point_get_affine_coordinates_GFp(&general, &shared, &x, &y);
        for (bignum_st& coordinate : {std::ref(x), std::ref(y)}) {
            Bytes be(object_bytes(coordinate).rend() - 32, object_bytes(coordinate).rend());
            secrets.add("shared point", be);
            secrets.add("shared point", snapshot(fe_from(number<U256>(be))));
        }
        expect("encryption", encrypt);
        expect("decryption", decrypt);
        EXPECT_EQ(plain, message);
        std::ranges::copy(message, record.begin() + 100);
        expect("encryption in place", [&] { SM2_ECES_Encryption(&grp, record.data() + 100, 301, &pub, blob); });
        record[64] ^= 1;
        expect("refusal", decrypt);
    }
}

/// A message from the start of a block, the words its whole blocks expand to, and the values in between.
void add_message(Secrets& secrets, const std::string& name, const Bytes& message) {
    secrets.add(name, message);
    SM3_CTX ctx;
    SM3_Init(&ctx);
    for (std::size_t at = 0; at + 64 <= message.size(); at += 64) {
        auto schedule = sm3_expand(be_words(std::span(message).subspan(at, 64)));
        secrets.add(name + " expanded", object_bytes(schedule.w));
        SM3_Update(&ctx, message.data() + at, 64);
        secrets.add(name + " chained", object_bytes(ctx.V));
    }
}

TEST_F(Wiping, Sm3Kernels) {
    const Bytes data = random_looking(320, 8);
    for (const auto* kernel : ulmaro::sm3::supported_kernels()) {
        Secrets secrets;
        add_message(secrets, "data", data);
        std::uint32_t v[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        expect_wiped(secrets, kernel->name, [&] { kernel->compress(v, data.data(), 5); });
        ulmaro::sm3::CounterMessage message = {};
        std::copy_n(data.begin(), 100, message.bytes);
        message.blocks = 2;
        message.counter_offset = 100;
        Bytes out(3000);
        const auto derive = [&] { mark_stack(), counter_digests(*kernel, message, 1, out.data(), out.size()); };
        derive();
        secrets.add("derived", out);
        EXPECT_NE(secrets.found_in(remains_without_wiping(derive)), "") << "what is wiped would be found";
        expect_wiped(secrets, kernel->name, derive);
        expect_wiped_depth(kernel->name, derive);
    }
}

/// Key, schedule, and message.
struct Sm4Secrets {
    explicit Sm4Secrets(std::size_t size) : Sm4Secrets(random_looking(16, 9), random_looking(size, 10)) {}
    Sm4Secrets(const Bytes& raw_key, const Bytes& content) : key(raw_key), message(content) {
        secrets.add("key", key.bytes);
        secrets.add("schedule", object_bytes(key.schedule));
        unsigned int backward[32];
        std::reverse_copy(std::begin(key.schedule), std::end(key.schedule), backward);
        secrets.add("schedule", object_bytes(backward));
        secrets.add("message", message);
        const auto in_basis = [](const ulmaro::sm4::basis::ByteMap& map, std::span<const unsigned char> bytes) {
            Bytes mapped;
            for (const unsigned char b : bytes) mapped.push_back(map(b));
            return mapped;
        };
        using namespace ulmaro::sm4::basis;
        for (const auto& [text, round_key] : {std::pair(enter, enter_key), {nibbles::enter, nibbles::enter_key}}) {
            secrets.add("message in a basis", in_basis(text, message));
            secrets.add("schedule in a basis", in_basis(round_key, object_bytes(key.schedule)));
            secrets.add("schedule in a basis", in_basis(round_key, object_bytes(backward)));
        }
        // A vector for each byte of a word: as four blocks are loaded, and as sixteen are transposed.
        const auto add_bytes = [this](std::size_t first, std::size_t high, std::size_t low) {
            Bytes bytes;
            for (std::size_t i = 0; i < 16; ++i) bytes.push_back(message[first + i / 4 * high + i % 4 * low]);
            secrets.add("message by bytes", bytes);
        };
        for (std::size_t i = 0; i + 256 <= message.size(); ++i) {
            if (i % 64 < 4) add_bytes(i, 16, 4);
            if (i % 256 < 16) add_bytes(i, 16, 64);
        }
    }

    /// What the block cipher makes of a ciphertext of the message in CBC mode.
    void add_unchained(std::span<const unsigned char> cipher, std::span<const unsigned char> iv) {
        Bytes blocks(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(cipher.size()));
        for (std::size_t i = 0; i < blocks.size(); ++i) blocks[i] ^= i < 16 ? iv[i] : cipher[i - 16];
        secrets.add("message before it is chained", blocks);
    }

    Sm4Key key;
    Bytes message;
    Secrets secrets;
};

TEST_F(Wiping, Sm4Kernels) {
    Sm4Secrets s(16 * 70);
    const Bytes iv = random_looking(16, 11);
    for (const auto* kernel : ulmaro::sm4::supported_kernels()) {
        std::vector<std::uint32_t> mk = be_words(s.key.bytes), rk(32);
        expect_wiped(s.secrets, kernel->name, [&] { kernel->expand_key(mk.data(), rk.data()); });
        Bytes cipher(s.message.size()), plain(s.message.size());
        kernel->cbc_encrypt(s.message.data(), cipher.data(), 70, rk.data(), iv.data());
        s.add_unchained(cipher, iv);
        for (const std::size_t blocks : {1U, 2U, 5U, 9U, 17U, 35U, 70U}) {
            const unsigned char *in = s.message.data(), *sealed = cipher.data();
            const std::function<void()> calls[] = {
                [&] { mark_stack(), kernel->encrypt_blocks(in, cipher.data(), blocks, rk.data()); },
                [&] { mark_stack(), kernel->decrypt_blocks(sealed, plain.data(), blocks, rk.data()); },
                [&] { mark_stack(), kernel->cbc_encrypt(in, cipher.data(), blocks, rk.data(), iv.data()); },
                [&] { mark_stack(), kernel->cbc_decrypt(sealed, plain.data(), blocks, rk.data(), iv.data()); }};
            for (const std::function<void()>& call : calls) {
                SCOPED_TRACE(std::to_string(&call - calls) + " of " + std::to_string(blocks) + " blocks");
                expect_wiped(s.secrets, kernel->name, call);
                expect_wiped_depth(kernel->name, call);
            }
        }
    }
}

// The single-block and word routines.
TEST_F(Wiping, Sm4Words) {
    Sm4Secrets s(64);
    std::vector<unsigned int> in = be_words(s.message), cipher(16), iv(4, 7), out(16);
    auto* rk = s.key.schedule;
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"ECB_EN_MOD", [&] { mark_stack(), ECB_EN_MOD(in.data(), rk, cipher.data()); }},
        {"ECB_DE_MOD", [&] { mark_stack(), ECB_DE_MOD(cipher.data(), rk, out.data()); }},
        {"CBC_EN_MOD", [&] { mark_stack(), CBC_EN_MOD(in.data(), 16, rk, iv.data(), cipher.data()); }},
        {"CBC_DE_MOD", [&] { mark_stack(), CBC_DE_MOD(cipher.data(), 16, rk, iv.data(), out.data()); }}};
    for (const auto& [name, call] : calls) {
        call();
        s.add_unchained(be_bytes(cipher), be_bytes(iv));
        expect_wiped(s.secrets, name, call);
    }
    EXPECT_EQ(out, in);
}

// What an application-supplied SM1 expands a key to.
const Bytes sm1_schedule = random_looking(ULMARO_SM1_SCHEDULE_BYTES, 12);

// Of hashes, derivations and ciphers, the input and what a derivation or a decryption makes of it are secret.
TEST_F(Wiping, EveryEntryPointUsesLittleStack) {
    reset_random().seeds.reserve(1000);  // not the call's
    const KindsOfGroups groups;
    EntryPoints all(groups);
    const Bytes text(all.text.begin(), all.text.begin() + 16 * 70);
    for (const EntryPoints::Call& call : all.calls) {
        const auto run = [&] {
            if ((call.traits & EntryPoints::ciphers) != 0) std::ranges::copy(text, all.output.begin());
            mark_stack(), call.run();
        };
        const StackUse use = stack_used_by(run);
        EXPECT_LT(std::max(use.changed, use.wiped) + 256, 12U << 10) << call.name;  // a wipe has a frame too
        if ((call.traits & EntryPoints::wipes) != 0) expect_wiped_depth(call.name, run);
        Secrets secrets;
        if ((call.traits & EntryPoints::hides) != 0 && call.grp == nullptr) {
            const Bytes output(all.output.begin(), all.output.begin() + 16 * 70);
            const bool decrypts = std::strstr(call.name, "decryption") != nullptr;
            secrets = Sm4Secrets(all.sm4.bytes, decrypts ? output : text).secrets;
            if (!decrypts) add_message(secrets, "text", text);
            if (std::strstr(call.name, "KDF") != nullptr) secrets.add("derived", output);
        }
        secrets.add("SM1 schedule", sm1_schedule);
        expect_wiped(secrets, call.name, run);
    }
}

TEST_F(Wiping, DivisionAndInverse) {
    bignum_st a = {}, d = {}, q, r;
    std::memcpy(a.words, random_looking(32, 13).data(), 32);
    std::memcpy(d.words, random_looking(32, 14).data(), 32);
    a.words[7] = 0xfeedf00d, d.words[7] = 0x8badf00d, d.words[0] |= 1;
    int q_top, r_top;
    const auto divide = [&] { mark_stack(), BN_div(q.words, &q_top, r.words, &r_top, a.words, 8, d.words, 8); };
    const auto invert = [&] { mark_stack(), BN_mod_inverse(r.words, &r_top, a.words, 8, d.words, 8); };
    Secrets secrets;
    secrets.add("divisor", object_bytes(d).first(32));
    for (const std::function<void()>& call : {std::function<void()>(divide), std::function<void()>(invert)}) {
        call();
        secrets.add("result", object_bytes(r).first(32));
        expect_wiped(secrets, "division or inverse", call);
        expect_wiped_depth("division or inverse", call);
    }
}

}  // namespace

extern "C" int __wrap_KEY_INIT(const unsigned char*, int, unsigned int* encrypt, int, unsigned int* decrypt, int) {
    for (unsigned int* schedule : {encrypt, decrypt})
        std::ranges::copy(sm1_schedule, reinterpret_cast<Byte*>(schedule));
    return 1;
}
