// No call leaves a secret, or what it derived from one, in the stack that it used or in heap memory that it freed.
// What is seen and what is not: support/remains.hpp. The statement is about optimised code: without optimisation every
// value of an expression has a place on the stack.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"
#include "sm2p256/scalar.hpp"
#include "sm3/counter_digests.hpp"
#include "sm3/kernels.hpp"
#include "sm4/kernels.hpp"
#include "support/curves.hpp"
#include "support/printed.hpp"
#include "support/remains.hpp"
#include "support/replaced_random.hpp"
#include "support/sm4_modes.hpp"

using namespace ulmaro::test;

namespace {

class Wiping : public testing::Test {
protected:
    void SetUp() override {
#ifndef __OPTIMIZE__
        GTEST_SKIP() << "not optimised";
#endif
    }
};

/// Bytes that look like nothing else.
Bytes random_looking(std::size_t size, std::uint64_t seed) {
    Bytes bytes(size);
    std::uint64_t state = seed * 0x9e3779b97f4a7c15U + 1;
    for (unsigned char& b : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        b = static_cast<unsigned char>(state >> 56);
    }
    return bytes;
}

// The scanner sees what is left on purpose, and does not see what is wiped.
TEST_F(Wiping, ScannerFindsRemains) {
    const Bytes secret = random_looking(32, 1);
    Secrets secrets;
    secrets.add("secret", secret);
    const auto leave_on_stack = [&](bool wipe) {
        volatile unsigned char copy[32];
        std::reverse_copy(secret.begin(), secret.end(), copy);
        if (wipe) ulmaro::secure_wipe(const_cast<unsigned char*>(copy), sizeof copy);
    };
    EXPECT_NE(secrets.found_in(remains_of([&] { leave_on_stack(false); })), "");
    EXPECT_EQ(secrets.found_in(remains_of([&] { leave_on_stack(true); })), "");
    EXPECT_NE(secrets.found_in(remains_of([&] {
        const Bytes copy = secret;
        __asm__ volatile("" : : "r"(copy.data()) : "memory");
    })),
              "");
}

class WipingSm2 : public Wiping, public testing::WithParamInterface<bool> {
protected:
    WipingSm2() : grp_(prepare(kRecommended)) {
        // Another byte for the same truth sends a group to the general engine.
        if (GetParam()) grp_.generator.z_is_one = 2;
        std::memcpy(key_.d, d_.data(), 32);
        reset_random().next_scalar(d_);
        SM2_ECC_GenerateKeyPair(&grp_, &pub_, &key_);
        add_scalar("d", d_);
        add_scalar("k", k_);
    }

    /// The number, and its Montgomery form modulo n.
    ulmaro::sm2p256::Scalar add_scalar(const char* name, std::span<const unsigned char> be) {
        ulmaro::sm2p256::U256 plain;
        for (std::size_t i = 0; i < 32; ++i) object_bytes(plain)[i] = be[31 - i];
        const auto scalar = ulmaro::sm2p256::scalar_from(plain);
        add_scalar(name, scalar);
        return scalar;
    }
    void add_scalar(const char* name, const ulmaro::sm2p256::Scalar& scalar) {
        auto plain = ulmaro::sm2p256::scalar_residue(scalar);
        auto form = scalar;
        secrets_.add(name, object_bytes(plain));
        secrets_.add(name, object_bytes(form));
    }

    void expect_wiped(const char* call, const std::function<void()>& run) {
        reset_random().next_scalar(k_);
        EXPECT_EQ(secrets_.found_in(remains_of(run)), "") << call;
    }

    // Both below the order.
    const Bytes d_ = from_hex("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8");
    const Bytes k_ = from_hex("59276e27d506861a16680f3ad9c02dccef3cc1fa3cdbe4ce6d54b80deac1bc21");
    ec_group_st grp_;
    ECC_PUBLIC_KEY pub_;
    ECC_PRIVATE_KEY key_;
    Secrets secrets_;
};

INSTANTIATE_TEST_SUITE_P(Engines, WipingSm2, testing::Bool(),
                         [](const auto& engine) { return engine.param ? "general" : "recommended"; });

TEST_P(WipingSm2, Keys) {
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    expect_wiped("key pair", [&] { SM2_ECC_GenerateKeyPair(&grp_, &pub, &key); });
    bignum_st scalar = {};
    for (std::size_t i = 0; i < 32; ++i) object_bytes(scalar)[i] = d_[31 - i];
    expect_wiped("public key", [&] { ECC_CalcPubKeyByPriKey(&grp_, &pub, &scalar); });
    EXPECT_EQ(snapshot(pub), snapshot(pub_));
}

TEST_P(WipingSm2, Signature) {
    using namespace ulmaro::sm2p256;
    const Bytes e = random_looking(32, 3);
    ECC_SIGNATURE signature;
    reset_random().next_scalar(k_);
    SM2_ECDSA_Signature(&grp_, e.data(), &key_, &signature);
    // s = (1 + d)^-1 (r + k) - r = (1 + d)^-1 (k - r d)
    const Scalar d = add_scalar("d", d_), k = add_scalar("k", k_);
    U256 r_plain;
    for (std::size_t i = 0; i < 32; ++i) object_bytes(r_plain)[i] = signature.r[31 - i];
    const Scalar r = scalar_from(r_plain);
    add_scalar("1 + d", scalar_add(d, scalar_one));
    add_scalar("1 / (1 + d)", scalar_invert(scalar_add(d, scalar_one)));
    add_scalar("r + k", scalar_add(r, k));
    add_scalar("r d", scalar_mul(r, d));
    add_scalar("k - r d", scalar_sub(k, scalar_mul(r, d)));
    expect_wiped("signature", [&] { SM2_ECDSA_Signature(&grp_, e.data(), &key_, &signature); });
}

TEST_P(WipingSm2, Encryption) {
    constexpr int length = 301;
    const Bytes message = random_looking(length, 5);
    Bytes record(100 + length), plain(length);
    auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    reset_random().next_scalar(k_);
    SM2_ECES_Encryption(&grp_, message.data(), length, &pub_, blob);

    Bytes stream = message;
    for (std::size_t i = 0; i < stream.size(); ++i) stream[i] ^= record[100 + i];
    secrets_.add("message", message);
    secrets_.add("key stream", stream);
    // The shared point is [d]C1; its scalar multiplication is the general engine's in either case.
    ec_group_st general = grp_;
    general.generator.z_is_one = 2;
    ec_point_st c1 = general.generator, shared = {};
    bignum_st k = {}, d = {}, x, y;
    for (std::size_t i = 0; i < 32; ++i) object_bytes(k)[i] = k_[31 - i], object_bytes(d)[i] = d_[31 - i];
    EC_POINTs_mul(&general, &c1, &general.generator, &k, nullptr, nullptr);
    EC_POINTs_mul(&general, &shared, &c1, &d, nullptr, nullptr);
    ec_GFp_simple_point_get_affine_coordinates_GFp(&general, &shared, &x, &y);
    secrets_.add("x2", object_bytes(x).first(32));
    secrets_.add("y2", object_bytes(y).first(32));

    expect_wiped("encryption", [&] { SM2_ECES_Encryption(&grp_, message.data(), length, &pub_, blob); });
    expect_wiped("decryption", [&] { static_cast<void>(SM2_ECES_Decryption(&grp_, blob, &key_, plain.data())); });
    EXPECT_EQ(plain, message);
    std::copy(message.begin(), message.end(), record.begin() + 100);
    expect_wiped("encryption in place", [&] { SM2_ECES_Encryption(&grp_, record.data() + 100, length, &pub_, blob); });
    record[64] ^= 1;
    expect_wiped("refusal", [&] { static_cast<void>(SM2_ECES_Decryption(&grp_, blob, &key_, plain.data())); });
}

TEST_F(Wiping, HashAndKeyDerivation) {
    for (const std::size_t size : {20U, 64U, 100U, 300U}) {
        const Bytes z = random_looking(size, 7);
        const int len = static_cast<int>(size);
        Secrets secrets;
        secrets.add("input", z);
        unsigned char digest[32];
        SM3_CTX ctx;
        SM3_Init(&ctx);
        EXPECT_EQ(secrets.found_in(remains_of([&] { SM3_HASH(z.data(), len, digest); })), "") << "hash " << size;
        for (int pending = 0; pending < 2; ++pending)
            EXPECT_EQ(secrets.found_in(remains_of([&] { SM3_Update(&ctx, z.data(), len); })), "")
                << "update " << size << " " << pending;
        EXPECT_EQ(secrets.found_in(remains_of([&] { SM3_Final(&ctx, digest); })), "") << "final " << size;
        for (const int wanted : {20, 32, 100, 3000}) {
            Bytes out(static_cast<std::size_t>(wanted));
            SM2_KDF_ALGRITRHM(z.data(), len, wanted, out.data());
            Secrets both = secrets;
            both.add("derived", out);
            EXPECT_EQ(both.found_in(remains_of([&] { SM2_KDF_ALGRITRHM(z.data(), len, wanted, out.data()); })), "")
                << "derivation " << size << " " << wanted;
        }
    }
}

TEST_F(Wiping, Sm3Kernels) {
    const Bytes data = random_looking(320, 8);
    for (const auto* kernel : ulmaro::sm3::supported_kernels()) {
        Secrets secrets;
        secrets.add("data", data);
        std::uint32_t v[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(secrets.found_in(remains_of([&] { kernel->compress(v, data.data(), 5); })), "") << kernel->name;
        ulmaro::sm3::CounterMessage message = {};
        std::copy_n(data.begin(), 100, message.bytes);
        message.blocks = 2;
        message.counter_offset = 100;
        Bytes out(3000);
        EXPECT_EQ(secrets.found_in(remains_of([&] { counter_digests(*kernel, message, 1, out.data(), out.size()); })),
                  "")
            << kernel->name;
    }
}

/// Key, schedule, and message.
struct Sm4Secrets {
    explicit Sm4Secrets(std::size_t size) : key(random_looking(16, 9)), message(random_looking(size, 10)) {
        secrets.add("key", key.bytes);
        secrets.add("schedule", object_bytes(key.schedule));
        unsigned int backward[32];
        std::reverse_copy(std::begin(key.schedule), std::end(key.schedule), backward);
        secrets.add("schedule", object_bytes(backward));
        secrets.add("message", message);
    }

    Sm4Key key;
    Bytes message;
    Secrets secrets;
};

TEST_F(Wiping, Sm4) {
    Sm4Secrets s(16 * 70);
    unsigned int rk[32];
    EXPECT_EQ(s.secrets.found_in(remains_of([&] { SM4_KEY_INIT(s.key.bytes.data(), 16, rk, 32); })), "") << "key";
    Bytes iv = random_looking(16, 11);
    for (const Sm4Mode& mode : kSm4Modes) {
        for (const std::size_t blocks : {1U, 2U, 7U, 35U, 69U}) {
            const int len = static_cast<int>(16 * blocks);
            for (const std::size_t shift : {std::size_t{0}, std::size_t{1}}) {
                // The output of a decryption is the message.
                Bytes in = s.message;
                if (mode.decrypts) {
                    const Sm4Mode& forth = *(&mode - 1);
                    forth.run(s.message.data(), len, s.key.for_mode(forth), iv.data(), in.data());
                }
                Bytes buffer = in;
                buffer.resize(in.size() + 1);
                EXPECT_EQ(s.secrets.found_in(remains_of([&] {
                    mode.run(buffer.data(), len, s.key.for_mode(mode), iv.data(), buffer.data() + shift);
                })),
                          "")
                    << mode.name << " " << blocks << " blocks, output " << shift << " above";
            }
        }
    }
}

TEST_F(Wiping, Sm4Kernels) {
    Sm4Secrets s(16 * 70);
    const Bytes iv = random_looking(16, 11);
    for (const auto* kernel : ulmaro::sm4::supported_kernels()) {
        std::vector<std::uint32_t> mk = be_words(s.key.bytes), rk(32);
        EXPECT_EQ(s.secrets.found_in(remains_of([&] { kernel->expand_key(mk.data(), rk.data()); })), "")
            << kernel->name;
        Bytes cipher(s.message.size()), plain(s.message.size());
        for (const std::size_t blocks : {1U, 2U, 5U, 9U, 17U, 35U, 70U}) {
            const auto expect_wiped = [&](const char* mode, const std::function<void()>& run) {
                EXPECT_EQ(s.secrets.found_in(remains_of(run)), "") << kernel->name << " " << mode << " " << blocks;
            };
            const unsigned char* in = s.message.data();
            expect_wiped("ECB encryption", [&] { kernel->encrypt_blocks(in, cipher.data(), blocks, rk.data()); });
            expect_wiped("ECB decryption",
                         [&] { kernel->decrypt_blocks(cipher.data(), plain.data(), blocks, rk.data()); });
            expect_wiped("CBC encryption",
                         [&] { kernel->cbc_encrypt(in, cipher.data(), blocks, rk.data(), iv.data()); });
            expect_wiped("CBC decryption",
                         [&] { kernel->cbc_decrypt(cipher.data(), plain.data(), blocks, rk.data(), iv.data()); });
        }
    }
}

// The routines of one block and of words.
TEST_F(Wiping, Sm4Words) {
    Sm4Secrets s(64);
    std::vector<unsigned int> in = be_words(s.message), out(16), iv(4, 7);
    auto* rk = s.key.schedule;
    const auto expect_wiped = [&](const char* call, const std::function<void()>& run) {
        EXPECT_EQ(s.secrets.found_in(remains_of(run)), "") << call;
    };
    expect_wiped("ECB_EN_MOD", [&] { ECB_EN_MOD(in.data(), rk, out.data()); });
    expect_wiped("ECB_DE_MOD", [&] { ECB_DE_MOD(out.data(), rk, out.data()); });
    expect_wiped("CBC_EN_MOD", [&] { CBC_EN_MOD(in.data(), 16, rk, iv.data(), out.data()); });
    expect_wiped("CBC_DE_MOD", [&] { CBC_DE_MOD(out.data(), 16, rk, iv.data(), out.data()); });
    EXPECT_EQ(out, in);
}

}  // namespace
