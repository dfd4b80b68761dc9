// Key pairs, signatures and ciphertexts by both engines on all kinds of curves, against the standard's steps on GMP
// integers: results, every output byte, what is printed, and how many random bytes are drawn. OpenSSL hashes.
#include <climits>
#include <functional>
#include <optional>

#include "fuzz/groups.hpp"
#include "support/guarded.hpp"
#include "support/openssl.hpp"
#include "support/printed.hpp"
#include "support/refusal.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::fuzz {
namespace {

constexpr std::size_t header_bytes = sizeof(Ulmaro_ECC_CIPHER_BLOB);

/// Keys, signatures and records are byte strings.
template <class Record>
Record* as(unsigned char* bytes) {
    return reinterpret_cast<Record*>(bytes);
}
template <class Record>
const Record* as(const Bytes& bytes) {
    return reinterpret_cast<const Record*>(bytes.data());
}

/// What the library drew since the last draw_next().
Bytes drawn;

void draw_next(std::initializer_list<Integer> scalars) {
    auto& random = reset_random();
    for (const Integer& k : scalars) random.next_scalar(be32(k));
    std::srand(1);
    drawn.clear();
    random.drawn = &drawn;
}

/// [s]G + [t]P for a key off the curve: between points of different curves the order of additions matters, and it is
/// EC_POINTs_mul's.
Point exported_sum(const Group& of, const Integer& s, const Integer& t, const Point& P) {
    ec_group_st grp = of.grp;
    ec_point_st sum = {}, Q = {of.form(P.x), of.form(P.y), grp.mont_one, 1};
    bignum_st k = of.scalar(s), l = of.scalar(t), x, y;
    EC_POINTs_mul(&grp, &sum, &grp.generator, &k, &Q, &l);
    ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &sum, &x, &y);
    return {value_of(x), value_of(y), ec_GFp_simple_is_at_infinity(&grp, &sum) != 0};
}

/// GM/T 0003 as the library's header describes it, on the random bytes that the library drew.
class Model {
public:
    explicit Model(const Group& of) : group_(of), n_(of.n) {}
    ~Model() { require(at_ == drawn.size(), "as many draws as the scheme asks for"); }

    bool usable() const { return group_.prepared() && (n_ >> 224) != 0; }

    /// A 64-byte x || y as the library takes it. Coordinates count modulo p.
    Point point_of(std::span<const unsigned char> xy) const {
        const Integer most = power_of_two(static_cast<unsigned>(32 * group_.grp.prime_top));
        const Point raw = test::point_of(xy);
        return {mod(mod(raw.x, most), group_.curve.p), mod(mod(raw.y, most), group_.curve.p)};
    }

    bool draw(Integer& k) {
        while (usable() && draws_++ < 256) {
            require(at_ + 32 <= drawn.size(), "a draw");
            k = test::value(std::span<const unsigned char>(drawn).subspan(at_, 32));
            at_ += 32;
            Integer top = k >> 224;
            while (top >= n_ >> 224) top /= 2;
            k = mod(k, power_of_two(224)) + (top << 224);
            if (k != 0) return true;
        }
        return false;
    }

    /// r || s, or zeros.
    Bytes sign(const Integer& e, const Integer& d) {
        const Integer inverted = inverse(d + 1, n_);
        for (Integer k; d > 0 && d < n_ - 1 && draw(k);) {
            const Integer r = mod(e + group_.multiple(k).x, n_), s = mod(inverted * (k - r * d), n_);
            if (r != 0 && mod(r + k, n_) != 0 && s != 0) return joined({be32(r), be32(s)});
        }
        return Bytes(64);
    }

    /// The result and what is printed, as one string.
    std::string verify(const Integer& e, const Point& P, const Integer& r, const Integer& s) const {
        const auto order = [](const Integer& a, const Integer& b) { return std::to_string(sgn(Integer(a - b))); };
        if (r >= n_) return "0 r>=n ret = " + order(r, n_) + "\n";
        if (s >= n_) return "0 s>=n ret = " + order(s, n_) + "\n";
        const Integer t = mod(r + s, n_);
        if (!usable() || r == 0 || s == 0 || t == 0) return "0 ";
        const bool on_curve = group_.contains(P);
        const Point sum =
            on_curve && group_.contains(group_.G) ? group_.multiple(s, t, P) : exported_sum(group_, s, t, P);
        if (sum.infinite) return "0 ";
        const Integer R = mod(e + sum.x, n_);
        return r != R ? "0 cmp different! ret= " + order(r, R) + "\n" : on_curve ? "1 " : "0 ";
    }

    Bytes encrypt(const Bytes& message, const Point& P) {
        const auto size = static_cast<std::uint32_t>(message.size());
        for (Integer k; draw(k);) {
            const Point shared = group_.curve.multiple(k, P);
            Bytes cipher = openssl_kdf(xy_of(shared), size);
            if (shared.x == 0 || (size != 0 && is_zero(cipher))) continue;
            for (std::size_t i = 0; i < size; ++i) cipher[i] ^= message[i];
            return joined({xy_of(group_.multiple(k)), digest(shared, message), snapshot(size), cipher});
        }
        return joined({Bytes(96), snapshot(size), Bytes(size)});
    }

    /// plain is unchanged if nothing is written.
    std::string decrypt(const Bytes& record, const Integer& d, Bytes& plain) const {
        std::uint32_t size = 0;
        std::memcpy(&size, &record[96], 4);
        if (size > 0x7fffffff - 64) return "0 sum_t==0\n";
        const Point C1 = point_of(std::span(record).first(64));
        if (is_zero(std::span(record).first(64))) return "0 BN_is_zero failed!\n";
        if (!usable() || !group_.contains(C1)) return size == 0 ? "0 sum_t==0\n" : "0 char_equal!=0\n";
        const Point shared = group_.curve.multiple(d, C1);
        if (shared.x == 0 || shared.y == 0) return "0 BN_is_zero failed!\n";
        const Bytes stream = openssl_kdf(xy_of(shared), size);
        if (is_zero(stream)) return "0 sum_t==0\n";
        for (std::size_t i = 0; i < size; ++i) plain[i] = stream[i] ^ record[header_bytes + i];
        return equal(digest(shared, plain), std::span(record).subspan(64, 32)) ? "1 " : "0 char_equal!=0\n";
    }

private:
    static Bytes digest(const Point& shared, const Bytes& message) {
        return openssl_sm3(joined({be32(shared.x), message, be32(shared.y)}));
    }

    const Group& group_;
    const Integer& n_;
    std::size_t at_ = 0;
    int draws_ = 0;
};

std::string outcome(const std::function<int()>& call) {
    int result = -1;
    const std::string text = printed_by([&] {
        soil_stack();
        result = call();
    });
    return std::to_string(result) + " " + text;
}

void quietly(const std::function<int()>& call) { require(outcome(call) == "0 ", "0, and nothing printed"); }

/// A good curve with some fields replaced, and with any coefficients that its base point satisfies.
ECCParameter_st take_block(Data& data) {
    ECCParameter_st param = parameters(data.one_of(known_curves));
    unsigned char* const fields[] = {param.p, param.a, param.Gx, param.Gy, param.n, param.b};
    for (auto times = data.up_to(4); times > 0; --times) {
        unsigned char* const field = data.one_of(fields);
        const Integer good = from_be({field, 32}), low = mod(good, power_of_two(data.between(0U, 256U)));
        std::ranges::copy(be32(data.rarely(4) ? low : take_number(data, good)), field);
    }
    const Integer p = from_be(param.p), x = from_be(param.Gx), y = from_be(param.Gy);
    if (p != 0 && data.flip()) std::ranges::copy(be32(mod(y * y - (x * x + from_be(param.a)) * x, p)), param.b);
    return param;
}

/// A point with this x, if there is one; p is 3 modulo 4 on every named curve except the last.
Point lifted(const Group& group, const Integer& x) {
    const Integer& p = group.curve.p;
    const Integer yy = mod(x * x * x + group.curve.a * x + group.b, p), exponent = (p + 1) / 4;
    Point A = {mod(x, p), 0};
    mpz_powm(A.y.get_mpz_t(), yy.get_mpz_t(), exponent.get_mpz_t(), p.get_mpz_t());
    return A;
}

struct Subject {
    const Group& group;
    bool exact;  // modulo a composite number multiples have no meaning
    bool sound;  // the order is prime and is every point's
    Integer d;
    Point P;
};

/// The signature with these scalars drawn first; into memory of its own or over its inputs.
Bytes sign(const Subject& x, const Bytes& e, const Integer& d, std::initializer_list<Integer> scalars, bool over) {
    Bytes memory = joined({e, be32(d), Bytes(over ? 0 : 64)});
    unsigned char *const digest = memory.data(), *const made = digest + memory.size() - 64;
    draw_next(scalars);
    const auto* const key = as<ECC_PRIVATE_KEY>(digest + 32);
    quietly([&] { return SM2_ECDSA_Signature(&x.group.grp, digest, key, as<ECC_SIGNATURE>(made)); });
    const Bytes signature(made, made + 64);
    require(!x.exact || signature == Model(x.group).sign(from_be(e), d), "the signature of these draws");
    return signature;
}

void verify(const Subject& x, const Bytes& e, const Bytes& pub, const Bytes& signature) {
    draw_next({});
    const std::string got = outcome([&] {
        return SM2_ECDSA_Verification(&x.group.grp, e.data(), as<ECC_PUBLIC_KEY>(pub), as<ECC_SIGNATURE>(signature));
    });
    const Model model(x.group);
    const auto [r, s, unused] = point_of(signature);
    require(x.exact ? got == model.verify(from_be(e), model.point_of(pub), r, s) : got[0] <= '1', "a verification");
}

void flip_a_bit(Data& data, Bytes& bytes) {
    bytes[data.up_to(bytes.size() - 1)] ^= static_cast<unsigned char>(1U << data.up_to(7));
}

void check_signature(Data& data, const Subject& x) {
    const Integer &n = x.group.n, k = take_number(data, n), any = take_number(data, n);
    const Integer d = data.rarely(4)
                          ? mod(data.one_of({Integer(0), n, Integer(n - 1), Integer(n - 2), any}), power_of_two(256))
                          : x.d;
    if (inverse(d + 1, n) == 0 && d + 1 < n) return;  // uses up all draws
    const Integer x1 = x.group.multiple(k).x;
    // If k is drawn unchanged, these make r, r + k and s zero.
    const Integer digests[] = {any, mod(-x1, n), mod(-k - x1, n), mod(k * inverse(d, n) - x1, n)};
    Bytes e = be32(data.flip() ? any : data.one_of(digests)), pub = xy_of(x.P);
    Bytes signature = sign(x, e, d, {k}, data.flip());

    // This one; any pair; halves that are zero, make t zero or are close to n; an infinite sum. Digests off by what a
    // sloppy comparison would ignore, and digests above n.
    if (x.sound && data.flip()) {
        const auto kind = data.up_to(4);
        Integer r = mod(take_number(data, n), n), s = mod(take_number(data, n), n);
        if (kind == 0) s = mod(-r, n);
        if (kind == 1) s = mod(-r * x.d * inverse(x.d + 1, n), n);
        if (kind == 2) (data.flip() ? r : s) = 0;
        if (kind == 3) (data.flip() ? r : s) = n + data.between(-2, 2);
        const Integer beside[] = {0, 0, 1, -1, power_of_two(256), x.group.curve.p};
        Integer digest = mod(r - x.group.multiple(s, mod(r + s, n), x.P).x - data.one_of(beside), n);
        if (digest + n < power_of_two(256) && data.flip()) digest += n;
        e = be32(digest);
        signature = joined({be32(r), be32(s)});
    }
    Bytes* const parts[] = {&e, &pub, &signature};
    if (data.rarely(3)) flip_a_bit(data, *data.one_of(parts));
    const Point key = point_of(pub);
    if (x.sound && !x.group.contains(key) && key.x < x.group.curve.p && key.y < x.group.curve.p && data.flip()) {
        const auto [r, s, unused] = point_of(signature);
        e = be32(mod(r - exported_sum(x.group, s, mod(r + s, n), key).x, n));  // fits, yet is refused
    }
    verify(x, e, pub, signature);
}

/// The record made with these scalars drawn first, of a message anywhere in its memory except over the length.
Bytes encrypt(const Subject& x, const Bytes& message, const Bytes& pub, std::initializer_list<Integer> scalars,
              std::size_t at, std::size_t shift) {
    const std::size_t size = header_bytes + message.size();
    Guarded<unsigned char> memory(shift + size + message.size());
    unsigned char* const record = memory.data() + shift;
    if (at < header_bytes && at + message.size() > 96) at = size;
    std::ranges::copy(message, record + at);
    draw_next(scalars);
    auto* const blob = as<Ulmaro_ECC_CIPHER_BLOB>(record);
    quietly(
        [&] { return SM2_ECES_Encryption(&x.group.grp, record + at, length(message), as<ECC_PUBLIC_KEY>(pub), blob); });
    const Bytes made(record, record + size);
    if (!x.exact) return made;
    Model model(x.group);
    require(made == model.encrypt(message, model.point_of(pub)), "the record of these draws");
    return made;
}

/// The message is written anywhere over the record or behind it.
void decrypt(const Subject& x, const Bytes& record, const Integer& d, std::size_t at) {
    std::uint32_t claimed = 0;
    std::memcpy(&claimed, &record[96], 4);
    const std::size_t room = record.size() - header_bytes, size = std::min<std::size_t>(claimed, room);
    Bytes memory = joined({record, Bytes(room, 0xc5)}), plain(&memory[0] + at, &memory[0] + at + size);
    const Bytes key = be32(d);
    draw_next({});
    const std::string got = outcome([&] {
        return SM2_ECES_Decryption(&x.group.grp, as<Ulmaro_ECC_CIPHER_BLOB>(memory.data()), as<ECC_PRIVATE_KEY>(key),
                                   memory.data() + at);
    });
    if (!x.exact) return;
    require(got == Model(x.group).decrypt(record, d, plain), "a decryption");
    require(equal(std::span(memory).subspan(at, size), plain), "the message");
}

void check_ciphertext(Data& data, const Subject& x) {
    const Integer &n = x.group.n, &p = x.group.curve.p, k = take_number(data, n);
    // The key; any point, which is accepted; one that leads to x2 = 0.
    Point P = x.P;
    const auto kind = data.up_to(3);
    if (kind == 0) P = {take_number(data, p), take_number(data, p)};
    if (kind == 1 && x.sound) P = x.group.curve.multiple(inverse(k, n), lifted(x.group, 0));
    const Bytes message = take_message(data, data.flip() ? 2 : 300);
    if (!x.sound && x.group.prepared() && x.group.curve.multiple(k, P).x == 0) return;  // may use up all draws
    Bytes record = encrypt(x, message, xy_of(P), {k}, data.up_to(header_bytes + message.size()), data.up_to(3));

    // Damaged, or with another C1, other coordinates of the same C1, another length or another key.
    Integer d = x.d;
    if (data.flip()) flip_a_bit(data, record);
    const Integer same = from_be(std::span(record).first(32)) + p;
    if (data.flip() && same < power_of_two(256)) std::ranges::copy(be32(same), record.begin());
    if (data.rarely(4)) {
        const Integer any = take_number(data, p);
        std::ranges::copy(xy_of(x.sound && data.flip() ? lifted(x.group, any) : x.group.multiple(any)), record.begin());
    }
    const Integer keys[] = {0, n, 1, take_number(data, n)};
    if (data.rarely(4)) d = data.one_of(keys);
    const std::uint32_t impossible[] = {0x7fffffc0U, 0x7fffffffU, 0x80000000U, 0xffffffc0U, 0xffffffffU};
    std::uint32_t size = data.rarely(8)   ? data.one_of(impossible)
                         : data.rarely(4) ? data.between(0U, static_cast<std::uint32_t>(message.size()))
                                          : static_cast<std::uint32_t>(message.size());
    std::memcpy(&record[96], &size, 4);
    decrypt(x, record, d, data.flip() ? record.size() : data.up_to(record.size()));
}

/// The routines on a curve block, for any curve and any point.
void check_equation_and_identity(Data& data, const Subject& x) {
    const ECCParameter_st& param = x.group.param;
    Bytes xy = xy_of(x.P);
    if (data.flip()) xy = data.take(64);
    const auto* key = as<ECC_PUBLIC_KEY>(xy);
    const Integer p = from_be(param.p), u = from_be(key->x), v = from_be(key->y);
    const bool holds = p != 0 && mod(u * u * u + from_be(param.a) * u + from_be(param.b) - v * v, p) == 0;
    require(SM2_POINT_is_on_curve(&param, key) == (holds ? 1 : 0), "SM2_POINT_is_on_curve");
    const Bytes id = from_hex("008031323334353637383132333435363738");
    unsigned char z[32];
    require(SM3_algrithm_userid_hash(key, &param, z) == 0, "a Z returns");
    require(equal(z, openssl_sm3(joined({id, param.a, param.b, param.Gx, param.Gy, xy}))), "Z");
}

/// The contents of a prepared group.
void check_group(const Group& group) {
    const ec_group_st& grp = group.grp;
    ec_group_st expected = {};
    const Integer p = from_be(group.param.p), n = from_be(group.param.n);
    expected.prime = record_of<bignum_st>(p);
    expected.order = record_of<bignum_st>(n);
    for (int i = 0; i < 8; ++i) {
        if (expected.prime.words[i] != 0) expected.prime_top = i + 1;
        if (expected.order.words[i] != 0) expected.order_top = i + 1;
    }
    if (group.prepared()) {
        const auto form = [&](const unsigned char(&field)[32]) {  // words above the prime's are unchanged
            const Integer all = from_be(field), low = mod(all, group.R);
            return record_of<bignum_st>(all - low + mod(low * group.R, p));
        };
        expected.nprime = static_cast<unsigned int>(mod(-inverse(p, power_of_two(32)), power_of_two(32)).get_ui());
        const bignum_st rr = record_of<bignum_st>(mod(group.R * group.R, p));
        std::copy_n(rr.words, 8, expected.rr);
        expected.a_mont = form(group.param.a), expected.b_mont = form(group.param.b);
        expected.generator.X = form(group.param.Gx), expected.generator.Y = form(group.param.Gy);
        expected.mont_one = expected.generator.Z = record_of<bignum_st>(mod(group.R, p));
        expected.generator.z_is_one = grp.generator.z_is_one;
    }
    require(std::memcmp(&grp, &expected, sizeof grp) == 0, "a prepared group");
}

}  // namespace

void run(Data& data) {
    std::optional<Group> own;
    Group* group = data.flip() ? &data.one_of(std::span(groups()).first(7)) : &groups()[0];
    const bool sound = !data.rarely(3);
    if (!sound) group = &own.emplace(take_block(data));
    check_group(*group);
    const bool exact = !group->prepared() || is_prime(group->curve.p);
    Bytes pub(64, 0xa5), key(32, 0xa5);
    auto* const made = as<ECC_PUBLIC_KEY>(pub.data());
    draw_next({take_number(data, group->n), take_number(data, group->n)});
    quietly([&] { return SM2_ECC_GenerateKeyPair(&group->grp, made, as<ECC_PRIVATE_KEY>(key.data())); });
    Subject x = {*group, exact, sound, 0, {0, 0}};
    if (Model model(*group); model.draw(x.d)) x.P = exact ? group->multiple(x.d) : point_of(pub);
    require(from_be(key) == x.d && pub == xy_of(x.P), "the key pair is d, [d]G");
    if (exact && group->prepared()) {
        const Integer k = take_number(data, group->n);
        bignum_st scalar = record_of<bignum_st>(k);
        scalar.words[8] = scalar.words[9] = 0xffffffff;
        quietly([&] { return ECC_CalcPubKeyByPriKey(&group->grp, made, &scalar); });
        const Integer seen = mod(k, power_of_two(static_cast<unsigned>(32 * group->grp.order_top)));
        require(pub == xy_of(group->multiple(seen)), "ECC_CalcPubKeyByPriKey is [k]G");
    }
    check_equation_and_identity(data, x);
    data.flip() ? check_signature(data, x) : check_ciphertext(data, x);
}

namespace {

void check_rare_draws(const Group& sound) {
    const Subject x = {sound, true, true, 7, sound.multiple(7)};
    const Bytes pub = xy_of(x.P);
    for (const Bytes& half : {be32(sound.n), be32(sound.n - 1)}) {
        verify(x, be32(3), pub, joined({half, be32(5)}));
        verify(x, be32(3), pub, joined({be32(5), half}));
    }
    // A key stream of one byte, which is zero.
    Integer k = 1;
    while (openssl_kdf(xy_of(sound.multiple(7 * k)), 1)[0] != 0) ++k;
    encrypt(x, {'m'}, pub, {k, 1}, header_bytes, 0);
    Bytes record = encrypt(x, {'m', 'n'}, pub, {k}, header_bytes, 0);
    decrypt(x, record, 7, header_bytes);
    record[95] ^= 1;
    decrypt(x, record, 7, header_bytes);
    for (const Integer& times : {Integer(1), inverse(7, sound.n)}) {  // x of C1, or of the shared point, is zero
        const Bytes C1 = xy_of(sound.curve.multiple(times, lifted(sound, 0)));
        decrypt(x, joined({C1, std::span(record).subspan(64)}), 7, header_bytes);
    }
    record[96] = 1;
    decrypt(x, record, 7, header_bytes);

    // All 256 draws are used up by a point of order 2, by orders modulo which 6 has no inverse, and by zeros.
    encrypt(x, {'m'}, Bytes(64), {1}, header_bytes, 0);
    for (const unsigned less : {1U, 2U, 4U, 6U}) {
        Group other = sound;
        other.n -= less;
        other.grp.order.words[0] -= less;
        sign({other, true, false, 5, x.P}, be32(3), 5, {1}, false);
    }
    draw_next({});
    replaced_random.script.assign(256 * 32, 0x100);
    Bytes keys(96, 0xa5);
    SM2_ECC_GenerateKeyPair(&sound.grp, as<ECC_PUBLIC_KEY>(&keys[0]), as<ECC_PRIVATE_KEY>(&keys[64]));
    require(drawn.size() == 256 * 32 && is_zero(keys), "no key");
}

/// A sum whose x is near the order, and so near zero modulo it, with digests on both sides of the order.
void check_sum_beside_the_order(const Group& sound) {
    const Integer r = 2, s = 5;
    for (int j = -20; j < 20; ++j) {
        const Point sum = lifted(sound, sound.n + j), rest = sound.curve.sum(sum, sound.multiple(sound.n - s));
        if (!sound.contains(sum)) continue;
        const Point P = sound.curve.multiple(inverse(r + s, sound.n), rest);
        for (Integer e = mod(r - sum.x, sound.n); e < power_of_two(256); e += sound.n) {
            verify({sound, true, true, 7, P}, be32(e), xy_of(P), joined({be32(r), be32(s)}));
        }
    }
}

void check_refusals(const Group& sound) {
    const Bytes pub = xy_of(sound.G);
    const auto* key = as<ECC_PUBLIC_KEY>(pub);
    draw_next({});
    for (const int len : {-1, INT_MIN, INT_MAX, INT_MAX - 63}) {
        Guarded<unsigned char> out(header_bytes);
        auto* record = as<Ulmaro_ECC_CIPHER_BLOB>(out.data());
        require(refused([&] { SM2_ECES_Encryption(&sound.grp, untouchable(), len, key, record); }), "a wrong length");
        require(out.untouched() && drawn.empty(), "a refusal writes nothing and draws nothing");
    }
    const auto* no_group = untouchable<ec_group_st>();
    require(SM2_ECES_Encryption(no_group, untouchable(), -1, untouchable<ECC_PUBLIC_KEY>(), nullptr) == 0, "no record");
    unsigned char z[32] = {1};
    require(SM3_algrithm_userid_hash(nullptr, &sound.param, z) == -1 &&
                SM3_algrithm_userid_hash(key, nullptr, z) == -1 &&
                SM3_algrithm_userid_hash(key, &sound.param, nullptr) == -1 && z[0] == 1,
            "null pointers");
}

/// Of the exported group, with a newline; and of the recommended curve.
void check_keys(const Group& sound) {
    ::group = sound.grp;
    draw_next({7});
    Guarded<unsigned char> pub(64), priv(32);
    require(outcome([&] { return ECC_ProduceKey(-1, pub.data(), priv.data()); }) == "0 \n", "ECC_ProduceKey");
    require(equal(pub.span(), xy_of(sound.multiple(7))) && equal(priv.span(), be32(7)), "the key that it makes");

    // The clock is read at every preparation, even of nothing.
    draw_next({});
    prepare(recommended_curve);
    replaced_random.now = 0x1234567890;
    prepare(ECCParameter_st{});
    replaced_random.now = 77;
    const bignum_st d = {{3}};
    require(SM2_CalcPubKeyByPriKey(as<ECC_PUBLIC_KEY>(pub.data()), &d) == 0, "a public key on the recommended curve");
    require(equal(pub.span(), xy_of(groups()[0].multiple(3))), "SM2_CalcPubKeyByPriKey");
    require(replaced_random.seeds == std::vector<unsigned int>{1, 1000, 0x34567890, 77} && drawn.empty(), "seeds");
}

}  // namespace

void run_edges() {
    for (const std::size_t which : {0U, 6U}) {
        check_rare_draws(groups()[which]);
        check_sum_beside_the_order(groups()[which]);
    }
    check_refusals(groups()[0]);
    check_keys(groups()[1]);
}

}  // namespace ulmaro::fuzz
