// Curves of the application's own: valid ones, where the schemes must do what the general routines say, and blocks of
// any bytes, where every call must come back with a result that the header names.
#include "support/curves.hpp"

#include <cstring>
#include <utility>

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/general_curve.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::fuzz {
namespace {

constexpr std::size_t kHeader = sizeof(Ulmaro_ECC_CIPHER_BLOB);

Ulmaro_ECC_CIPHER_BLOB* blob_of(Bytes& record) { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data()); }

bool is_zero(std::span<const unsigned char> bytes) {
    return std::ranges::all_of(bytes, [](unsigned char b) { return b == 0; });
}

/// The block through the registry, whose own arrays may be arguments: the copies are made one after the other.
ECCParameter_st through_registry(Data& data, const ECCParameter_st& wanted) {
    unsigned char* const registry[] = {g_p_256, g_a_256, g_b_256, g_Gx_256, g_Gy_256, g_Gn_256};
    unsigned char expected[6][32];
    const unsigned char* arguments[] = {wanted.p, wanted.a, wanted.b, wanted.Gx, wanted.Gy, wanted.n};
    if (data.ConsumeIntegralInRange(0, 15) == 0) {
        arguments[data.ConsumeIntegralInRange(0, 5)] = registry[data.ConsumeIntegralInRange(0, 5)];
    }
    for (std::size_t i = 0; i < 6; ++i) std::memcpy(expected[i], registry[i], 32);
    const auto missing = data.ConsumeIntegralInRange<std::size_t>(0, 63);
    if (missing < 6) {
        const unsigned char* const kept = std::exchange(arguments[missing], nullptr);
        require(SM2_Set_Custom_Paramter(arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                                        arguments[5]) == -1,
                "a null pointer is refused");
        for (std::size_t i = 0; i < 6; ++i) require(equal({registry[i], 32}, expected[i]), "a refusal changes nothing");
        arguments[missing] = kept;
    }
    for (std::size_t i = 0; i < 6; ++i) {
        const auto* const own = std::ranges::find(registry, arguments[i]);
        std::memcpy(expected[i], own != std::end(registry) ? expected[own - registry] : arguments[i], 32);
    }
    require(SM2_Set_Custom_Paramter(arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                                    arguments[5]) == 0,
            "the registry takes a curve");
    ECCParameter_st param;
    require(SM2_Get_Paramter(&param, 7) == 0, "the registry gives a curve");
    const unsigned char* const given[] = {param.p, param.a, param.b, param.Gx, param.Gy, param.n};
    for (std::size_t i = 0; i < 6; ++i) require(equal({given[i], 32}, expected[i]), "the curve is the one stored");
    return param;
}

bool lies_on(const ECCParameter_st& param, const ECC_PUBLIC_KEY& point) {
    const Integer p = from_be(param.p), x = from_be(point.x), y = from_be(point.y);
    const bool holds = p != 0 && mod(x * x * x + from_be(param.a) * x + from_be(param.b) - y * y, p) == 0;
    require(SM2_POINT_is_on_curve(&param, &point) == (holds ? 1 : 0), "SM2_POINT_is_on_curve");
    return holds;
}

ECC_PUBLIC_KEY key_of(const Bytes& xy) {
    ECC_PUBLIC_KEY key;
    std::memcpy(&key, xy.data(), 64);
    return key;
}

/// A scalar that the library draws as it is: its top word is below the order's.
Integer take_drawable(Data& data, const Integer& n) {
    Integer k = take_number(data, n);
    if ((k >> 224) >= (n >> 224)) k = mod(k, power_of_two(224));
    return k == 0 ? Integer(1) : k;
}

/// The next scalar is k, those after it are always the same.
void draw_next(const Integer& k) {
    test::reset_random().next_scalar(be32(k));
    std::srand(1);
}

/// Any pair under any key, often with the digest that fits: what [s]G + [r + s]P says. own is a number for r.
void check_verification(Data& data, GeneralCurve& curve, const ECC_PUBLIC_KEY& key, const Integer& own) {
    const Integer& n = curve.n;
    const Integer r = data.ConsumeBool() ? own : take_number(data, n);
    const Integer s = data.ConsumeBool() ? take_number(data, n) : mod(-r, n);
    ECC_SIGNATURE signature;
    std::ranges::copy(be32(r), signature.r);
    std::ranges::copy(be32(s), signature.s);
    const Integer t = mod(r + s, n);
    ec_point_st sum = curve.sum(s, test::snapshot(key), t);
    const Integer x = x_of(curve.affine(sum));
    const Integer digest = data.ConsumeBool() ? take_number(data, n) : mod(r - x, n);
    const bool valid = r > 0 && r < n && s > 0 && s < n && t != 0 && mod(digest + x, n) == r &&
                       ec_GFp_simple_is_at_infinity(&curve.grp, &sum) == 0 && lies_on(curve.param, key);
    require(SM2_ECDSA_Verification(&curve.grp, be32(digest).data(), &key, &signature) == (valid ? 1 : 0),
            "validity is the general routines'");
}

// Valid curves.

void check_keys(Data& data, GeneralCurve& curve, const Integer& d) {
    const Integer k = take_number(data, curve.n);
    const bignum_st scalar = words_of(k);
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY priv;
    require(ECC_CalcPubKeyByPriKey(&curve.grp, &pub, &scalar) == 0, "a public key returns");
    require(test::snapshot(pub) == curve.multiply(k), "ECC_CalcPubKeyByPriKey is [k]G");
    draw_next(d);
    SM2_ECC_GenerateKeyPair(&curve.grp, &pub, &priv);
    require(from_be(priv.d) == d && test::snapshot(pub) == curve.multiply(d), "the key pair is d, [d]G");
}

void check_signatures(Data& data, GeneralCurve& curve, const Integer& d, const ECC_PUBLIC_KEY& pub) {
    const Integer& n = curve.n;
    const Integer e = take_number(data, n), k = take_drawable(data, n);
    const Bytes e_bytes = be32(e), d_bytes = be32(d);
    ECC_PRIVATE_KEY priv;
    std::memcpy(&priv, d_bytes.data(), 32);
    ECC_SIGNATURE signature;
    draw_next(k);
    SM2_ECDSA_Signature(&curve.grp, e_bytes.data(), &priv, &signature);
    const Integer r = mod(e + x_of(curve.multiply(k)), n), s = mod(inverse(d + 1, n) * (k - r * d), n);
    const bool serves = d < n - 1 && r != 0 && mod(r + k, n) != 0 && s != 0;
    require(!serves || (from_be(signature.r) == r && from_be(signature.s) == s), "the signature of this k");
    const int own = SM2_ECDSA_Verification(&curve.grp, e_bytes.data(), &pub, &signature);
    require(own == (d < n - 1 ? 1 : 0), "an own signature is valid");

    const Bytes key = data.ConsumeBool() ? test::snapshot(pub) : curve.multiply(take_number(data, n));
    if (!is_zero(key)) check_verification(data, curve, key_of(key), r);
}

void check_ciphertexts(Data& data, GeneralCurve& curve, const Integer& d, const ECC_PUBLIC_KEY& own) {
    const Integer k = take_drawable(data, curve.n);
    // A key off the curve is carried on too, on the curve with the same a that it lies on.
    const bool foreign = data.ConsumeBool();
    ECC_PUBLIC_KEY pub = own;
    if (foreign) {
        std::ranges::copy(be32(take_number(data, curve.p)), pub.x);
        std::ranges::copy(be32(take_number(data, curve.p)), pub.y);
    }
    const Bytes message = take_message(data, 200);
    const Bytes C1 = curve.multiply(k), shared = curve.multiply(k, test::snapshot(pub));
    Bytes stream(message.size());
    SM2_KDF_ALGRITRHM(shared.data(), 64, length(stream), stream.data());
    Bytes record(kHeader + message.size());
    draw_next(k);
    SM2_ECES_Encryption(&curve.grp, message.data(), length(message), &pub, blob_of(record));
    const bool serves = x_of(shared) != 0 && (message.empty() || !is_zero(stream));
    if (serves) {
        for (std::size_t i = 0; i < stream.size(); ++i) stream[i] = static_cast<unsigned char>(stream[i] ^ message[i]);
        Bytes hashed(shared.begin(), shared.begin() + 32), hash(32);
        hashed.insert(hashed.end(), message.begin(), message.end());
        hashed.insert(hashed.end(), shared.begin() + 32, shared.end());
        SM3_HASH(hashed.data(), length(hashed), hash.data());
        require(equal(std::span(record).first(64), C1), "C1 is [k]G");
        require(equal(std::span(record).subspan(64, 32), hash), "C3 is the digest");
        require(equal(std::span(record).subspan(kHeader), stream), "C2 is the message under the key stream");
    }
    if (foreign) return;
    ECC_PRIVATE_KEY priv;
    std::ranges::copy(be32(d), priv.d);
    Bytes plain(message.size());
    const int opened = SM2_ECES_Decryption(&curve.grp, blob_of(record), &priv, plain.data());
    require(opened == (message.empty() ? 0 : 1) && (message.empty() || plain == message), "the message comes back");
}

/// One of five good curves, under another base point of the same order.
void check_valid(Data& data) {
    const test::Curve& model = test::kCurves[data.ConsumeIntegralInRange<std::size_t>(0, std::size(test::kCurves) - 1)];
    ECCParameter_st param = test::parameters(model);
    GeneralCurve curve(param);
    const Integer m = data.ConsumeBool() ? Integer(1) : take_number(data, curve.n);
    const Bytes G = curve.multiply(m);
    if (is_zero(G)) return;
    std::memcpy(param.Gx, G.data(), 32);
    std::memcpy(param.Gy, G.data() + 32, 32);
    GeneralCurve moved(param);
    const Integer d = take_drawable(data, curve.n);
    const Bytes P = moved.multiply(d);
    require(P == curve.multiply(mod(m * d, curve.n)), "[d][m]G = [dm]G");
    const ECC_PUBLIC_KEY pub = key_of(P);
    require(lies_on(param, pub), "multiples lie on the curve");
    check_keys(data, moved, d);
    check_signatures(data, moved, d, pub);
    check_ciphertexts(data, moved, d, pub);
}

// Blocks of any bytes.

/// A good curve with some fields replaced: zero, even, short, composite.
ECCParameter_st take_block(Data& data) {
    ECCParameter_st param =
        test::parameters(test::kCurves[data.ConsumeIntegralInRange<std::size_t>(0, std::size(test::kCurves) - 1)]);
    unsigned char* const fields[] = {param.p, param.a, param.b, param.Gx, param.Gy, param.n};
    for (int times = data.ConsumeIntegralInRange(0, 6); times > 0; --times) {
        unsigned char* const field = fields[data.ConsumeIntegralInRange(0, 5)];
        switch (data.ConsumeIntegralInRange(0, 3)) {
            case 0:
                std::memset(field, 0, data.ConsumeIntegralInRange<std::size_t>(0, 32));
                break;
            case 1:
                field[data.ConsumeIntegralInRange(0, 31)] ^= data.ConsumeIntegral<std::uint8_t>();
                break;
            default:
                std::ranges::copy(be32(take_number(data, from_be({field, 32}))), field);
        }
    }
    return param;
}

/// What a block made: a group, what may be expected of it, and a key pair.
struct Prepared {
    ECCParameter_st param;
    GeneralCurve curve;
    bool prepared, usable;
    bool full;   // with a shorter prime a group holds only the low words of the larger numbers of its block
    bool field;  // modulo a composite number a multiple has no one right value
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY priv;

    explicit Prepared(const ECCParameter_st& block)
        : param(block),
          curve(block),
          prepared(block.p[31] % 2 == 1 && !is_zero(block.n)),
          usable(prepared && !is_zero(std::span(block.n).first(4))),
          full(!is_zero(std::span(block.p).first(4))),
          field(mpz_probab_prime_p(curve.p.get_mpz_t(), 10) != 0) {}
};

/// An operation that rejects every scalar takes all its draws before it gives up: now and then is enough.
bool is_worth_it(Data& data, bool rejects) { return !rejects || data.ConsumeIntegralInRange(0, 63) == 63; }

void check_any_signature(Data& data, Prepared& made) {
    const ec_group_st& grp = made.curve.grp;
    const Integer& n = made.curve.n;
    const Bytes e = take(data, 32);
    const bool rejects = made.usable && inverse(from_be(made.priv.d) + 1, n) == 0;
    if (!is_worth_it(data, rejects || is_zero(e))) return;
    ECC_SIGNATURE signature;
    require(SM2_ECDSA_Signature(&grp, e.data(), &made.priv, &signature) == 0, "a signature returns");
    const Integer r = from_be(signature.r), s = from_be(signature.s);
    require((r == 0 && s == 0) || (made.usable && r > 0 && r < n && s > 0 && s < n),
            "a signature is in its range, or zero");
    const int verified = SM2_ECDSA_Verification(&grp, e.data(), &made.pub, &signature);
    require(verified == 0 || (verified == 1 && r != 0), "a verification returns 0 or 1, and 0 for zeros");

    const ECC_PUBLIC_KEY key = data.ConsumeBool() ? key_of(take(data, 64)) : made.pub;
    const bool on_curve = lies_on(made.param, key);
    const int other = SM2_ECDSA_Verification(&grp, e.data(), &key, &signature);
    require(other == 0 || (other == 1 && made.usable && (on_curve || !made.full)), "a key off the curve");
    if (made.usable && made.full && made.field) check_verification(data, made.curve, key, r);
}

void check_any_ciphertext(Data& data, Prepared& made) {
    const ec_group_st& grp = made.curve.grp;
    const ECC_PUBLIC_KEY key = data.ConsumeBool() ? key_of(take(data, 64)) : made.pub;
    const Bytes message = take_message(data, 100);
    const bool rejects =
        made.prepared && x_of(made.curve.multiply(take_number(data, made.curve.n), test::snapshot(key))) == 0;
    if (!is_worth_it(data, rejects)) return;
    Bytes record(kHeader + message.size(), 0x5a), plain(message.size());
    require(SM2_ECES_Encryption(&grp, message.data(), length(message), &key, blob_of(record)) == 0,
            "encryption returns");
    std::uint32_t claimed = 0;
    std::memcpy(&claimed, &record[96], 4);
    require(claimed == message.size(), "the length of a record");
    require(made.usable || (is_zero(std::span(record).first(96)) && is_zero(std::span(record).subspan(kHeader))),
            "no encryption on an unusable group");
    if (data.ConsumeBool()) std::ranges::copy(take(data, 64), record.begin());
    const int opened = SM2_ECES_Decryption(&grp, blob_of(record), &made.priv, plain.data());
    require(opened == 0 || (opened == 1 && made.usable && !message.empty()), "decryption returns 0 or 1");
}

/// Whatever the other numbers are, over a field the schemes compute what the exported routines compute.
void check_any(Data& data) {
    Prepared made(through_registry(data, take_block(data)));
    ec_group_st grp;
    std::memset(&grp, 0x55, sizeof grp);
    require(SM2_ECC_InitParameter(&made.param, &grp) == 0, "a group returns");
    require(std::memcmp(&grp, &made.curve.grp, sizeof grp) == 0, "a block makes one group");
    require(
        made.prepared || (grp.nprime == 0 && is_zero(test::object_bytes(grp.rr)) &&
                          is_zero(test::object_bytes(grp.generator.X)) && is_zero(test::object_bytes(grp.mont_one))),
        "no Montgomery form");

    draw_next(take_number(data, made.curve.n));
    require(SM2_ECC_GenerateKeyPair(&grp, &made.pub, &made.priv) == 0, "a key pair returns");
    const Integer d = from_be(made.priv.d);
    require(made.usable ? d > 0 && d < made.curve.n : d == 0 && is_zero(test::object_bytes(made.pub)),
            "the private key is in its range");
    require(!made.usable || !made.field || test::snapshot(made.pub) == made.curve.multiply(d),
            "the public key is [d]G");
    lies_on(made.param, made.pub);
    const Integer k = take_number(data, made.curve.n);
    const bignum_st scalar = words_of(k);
    ECC_PUBLIC_KEY multiple;
    ECC_CalcPubKeyByPriKey(&grp, &multiple, &scalar);
    require(!made.prepared || !made.field || test::snapshot(multiple) == made.curve.multiply(k),
            "ECC_CalcPubKeyByPriKey is [k]G");
    if (data.ConsumeBool()) {
        check_any_signature(data, made);
    } else {
        check_any_ciphertext(data, made);
    }
}

}  // namespace
}  // namespace ulmaro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    using namespace ulmaro::fuzz;
    Data data(input, size);
    ulmaro::test::reset_random();
    if (data.ConsumeBool()) {
        check_valid(data);
    } else {
        check_any(data);
    }
    return 0;
}
