// The recommended curve's multiplications against OpenSSL's generic curve code, every kernel, on random scalars and
// points and on sparse and dense scalars.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <memory>

#include "sm2p256/kernels.hpp"
#include "support/numbers256.hpp"

namespace ulmaro::test {
namespace {

using namespace sm2p256;
using F = PortableField;

class Oracle {
public:
    /// [s]G + [t]p, zeros for infinity; without p [s]G.
    Affine multiply(const U256& s, const Affine* p = nullptr, const U256& t = {}) {
        if (p != nullptr) {
            load(x_.get(), fe_residue(p->x));
            load(y_.get(), fe_residue(p->y));
            EC_POINT_set_affine_coordinates(group_.get(), point_.get(), x_.get(), y_.get(), context_.get());
            load(t_.get(), t);
        }
        load(s_.get(), s);
        EC_POINT_mul(group_.get(), result_.get(), s_.get(), p == nullptr ? nullptr : point_.get(),
                     p == nullptr ? nullptr : t_.get(), context_.get());
        if (EC_POINT_is_at_infinity(group_.get(), result_.get())) return {};
        EC_POINT_get_affine_coordinates(group_.get(), result_.get(), x_.get(), y_.get(), context_.get());
        return {fe_from(store(x_.get())), fe_from(store(y_.get()))};
    }

private:
    template <auto Free>
    struct Deleter {
        template <typename T>
        void operator()(T* p) const {
            Free(p);
        }
    };
    using Number = std::unique_ptr<BIGNUM, Deleter<BN_free>>;
    using Point = std::unique_ptr<EC_POINT, Deleter<EC_POINT_free>>;

    static void load(BIGNUM* r, const U256& a) { BN_bin2bn(be(a).data(), 32, r); }
    static U256 store(const BIGNUM* a) {
        Bytes bytes(32);
        BN_bn2binpad(a, bytes.data(), 32);
        return number(bytes);
    }

    std::unique_ptr<EC_GROUP, Deleter<EC_GROUP_free>> group_{EC_GROUP_new_by_curve_name(NID_sm2)};
    std::unique_ptr<BN_CTX, Deleter<BN_CTX_free>> context_{BN_CTX_new()};
    Point point_{EC_POINT_new(group_.get())}, result_{EC_POINT_new(group_.get())};
    Number x_{BN_new()}, y_{BN_new()}, s_{BN_new()}, t_{BN_new()};
};

/// Random, or with few bits set, or with few bits clear.
U256 scalar(Random& random) {
    if (random.up_to(3) != 0) return random256(random);
    U256 r = {};
    for (int i = 0; i < 4; ++i) {
        const std::size_t bit = random.up_to(255);
        r.w[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
    if (random.up_to(1) != 0) {
        for (auto& w : r.w) w = ~w;
    }
    return r;
}

TEST(Sm2p256Openssl, EveryKernelAgrees) {
    Random random;
    Oracle oracle;
    for (int i = 0; i < 150; ++i) {
        const U256 s = scalar(random), t = scalar(random);
        const Affine p = oracle.multiply(scalar(random));
        const Affine base = oracle.multiply(s), point = oracle.multiply({}, &p, t), both = oracle.multiply(s, &p, t);
        for (const Kernels* kernel : supported_kernels()) {
            Affine r;
            kernel->multiply_base(r, s);
            EXPECT_EQ(snapshot(r), snapshot(base)) << kernel->name << ' ' << to_hex(be(s));
            kernel->multiply_point(r, p, t);
            EXPECT_EQ(snapshot(r), snapshot(point)) << kernel->name << ' ' << to_hex(be(t));
            to_affine<F>(r, kernel->multiply_add_vartime(s, p, t));
            EXPECT_EQ(snapshot(r), snapshot(both)) << kernel->name << ' ' << to_hex(be(s)) << ' ' << to_hex(be(t));
        }
    }
}

}  // namespace
}  // namespace ulmaro::test
