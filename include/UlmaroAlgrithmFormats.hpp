/**
 * @file UlmaroAlgrithmFormats.hpp
 * @brief Keys, signatures and ciphertexts as other programs write them: DER and PEM; on top of UlmaroAlgrithm.hpp.
 *
 * Reading is strict: DER must be DER, with nothing behind it, and what is read is checked: a point is on the curve, a
 * private scalar in range, and a public key next to a private one belongs to it. All refusals are thrown as
 * ::ulmaro::algrithm::Error. Private keys pass only through memory that is wiped, and through code whose time and
 * addresses depend on their length alone. Encrypted keys are not read here; the tool reads them.
 */
#ifndef ULMARO_ALGRITHM_FORMATS_HPP
#define ULMARO_ALGRITHM_FORMATS_HPP

#include <memory>

#include "UlmaroAlgrithm.hpp"
#include "UlmaroAlgrithmInternals.hpp"

namespace ulmaro::algrithm {

/// Bytes on the heap that are wiped before they are released. Can be moved, but not copied; the size can only shrink.
class SecretBytes {
public:
    /// Uninitialised bytes.
    explicit SecretBytes(std::size_t size)
        : data_(std::make_unique_for_overwrite<unsigned char[]>(size)), capacity_(size), size_(size) {}
    /// A copy.
    [[nodiscard]] static SecretBytes copy_of(View bytes) {
        SecretBytes copy(bytes.size());
        std::ranges::copy(bytes, copy.data());
        return copy;
    }
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    /// Leaves the other empty.
    SecretBytes(SecretBytes&& other) noexcept
        : data_(std::move(other.data_)),
          capacity_(std::exchange(other.capacity_, 0)),
          size_(std::exchange(other.size_, 0)) {}
    /// Swaps.
    SecretBytes& operator=(SecretBytes&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~SecretBytes() {
        if (data_) explicit_bzero(data_.get(), capacity_);
    }

    [[nodiscard]] unsigned char* data() noexcept { return data_.get(); }              ///< The first byte.
    [[nodiscard]] const unsigned char* data() const noexcept { return data_.get(); }  ///< The first byte.
    [[nodiscard]] std::size_t size() const noexcept { return size_; }                 ///< How many there are.
    /// Forgets all bytes but the first `size`, which are still wiped at the end.
    void shrink(std::size_t size) noexcept { size_ = std::min(size, size_); }
    [[nodiscard]] std::span<unsigned char> span() noexcept { return {data_.get(), size_}; }  ///< All of them.
    [[nodiscard]] View span() const noexcept { return {data_.get(), size_}; }                ///< All of them.

private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t capacity_;
    std::size_t size_;
};

/// Walking over DER and building it: for structures that are not here. Tags are single bytes.
namespace der {

inline constexpr int integer_tag = 0x02;                                  ///< INTEGER
inline constexpr int bit_string_tag = 0x03;                               ///< BIT STRING
inline constexpr int octet_string_tag = 0x04;                             ///< OCTET STRING
inline constexpr int null_tag = 0x05;                                     ///< NULL
inline constexpr int oid_tag = 0x06;                                      ///< OBJECT IDENTIFIER
inline constexpr int sequence_tag = 0x30;                                 ///< SEQUENCE
inline constexpr int set_tag = 0x31;                                      ///< SET
constexpr int context_tag(int number) noexcept { return 0xa0 | number; }  ///< [number], constructed

/// A number of 256 bits, big-endian.
using U256 = std::array<unsigned char, 32>;

/// Walks over the elements of one level. Every step throws an Error when the next element is not the expected one or
/// its length is not in the shortest form.
class Reader {
public:
    /// The elements in `bytes`, which must outlive the reader and everything that it returns.
    explicit Reader(View bytes) noexcept : rest_(bytes) {}

    /// Whether all elements have been taken.
    [[nodiscard]] bool done() const noexcept { return rest_.empty(); }
    /// Whether there is a next element, and it has this tag.
    [[nodiscard]] bool next_is(int tag) const noexcept { return !rest_.empty() && rest_.front() == tag; }

    /// Contents of the next element, which must have this tag.
    View take(int tag) {
        if (!next_is(tag)) throw Error("not the expected DER");
        std::size_t header = 2, length = byte(1);
        if (length >= 0x80) {
            header += length - 0x80;
            if (length == 0x80 || header > 6) throw Error("not the expected DER");
            length = 0;
            for (std::size_t i = 2; i < header; ++i) length = length << 8 | byte(i);
            if (length < 0x80 || byte(2) == 0) throw Error("not DER: a length is not in its shortest form");
        }
        if (rest_.size() - header < length) throw Error("not the expected DER");
        const View contents = rest_.subspan(header, length);
        rest_ = rest_.subspan(header + length);
        return contents;
    }
    /// Skips the next element, whatever its tag, but not one of several bytes.
    void skip() {
        if (done() || rest_.front() == 0 || (rest_.front() & 0x1f) == 0x1f) throw Error("not the expected DER");
        take(rest_.front());
    }
    /// A NULL.
    void null() {
        if (!take(null_tag).empty()) throw Error("not the expected DER");
    }
    /// The inside of the next element, a SEQUENCE unless the tag says otherwise.
    [[nodiscard]] Reader enter(int tag = sequence_tag) { return Reader(take(tag)); }
    /// A non-negative INTEGER in its shortest form, at most 256 bits.
    U256 integer() {
        View bytes = take(integer_tag);
        if (bytes.empty() || bytes[0] >= 0x80) throw Error("not the expected DER: a number is negative or empty");
        if (bytes.size() > 1 && bytes[0] == 0) {
            if (bytes[1] < 0x80) throw Error("not DER: a number is not in its shortest form");
            bytes = bytes.subspan(1);
        }
        U256 value{};
        if (bytes.size() > value.size()) throw Error("a number has more than 256 bits");
        std::ranges::copy(bytes, value.end() - static_cast<std::ptrdiff_t>(bytes.size()));
        return value;
    }
    /// A non-negative INTEGER below 2^31.
    unsigned small_integer() {
        const U256 value = integer();
        if (!detail::all_zero(View(value).first(28)) || value[28] >= 0x80) throw Error("a number is too large");
        unsigned small = 0;
        for (std::size_t i = 28; i < 32; ++i) small = small << 8 | value[i];
        return small;
    }
    /// The whole bytes of a BIT STRING, whose tag may be an implicit one.
    View bits(int tag = bit_string_tag) {
        const View contents = take(tag);
        if (contents.empty() || contents[0] != 0) throw Error("a bit string does not consist of whole bytes");
        return contents.subspan(1);
    }
    /// The bytes of an OBJECT IDENTIFIER, each of its numbers complete and in the shortest form.
    View oid() {
        const View contents = take(oid_tag);
        bool starts = true;
        for (const unsigned char b : contents) {
            if (starts && b == 0x80) throw Error("not DER: a number is not in its shortest form");
            starts = b < 0x80;
        }
        if (contents.empty() || !starts) throw Error("not the expected DER: an incomplete object identifier");
        return contents;
    }
    /// Throws when something follows.
    void finish() const {
        if (!done()) throw Error("trailing bytes after the data");
    }

private:
    [[nodiscard]] std::size_t byte(std::size_t at) const {
        if (at >= rest_.size()) throw Error("not the expected DER");
        return rest_[at];
    }
    View rest_;
};

/// Builds DER backwards, last element first. wrap() closes a container with the mark() taken before its contents.
/// Throws an Error when the capacity is exceeded.
class Writer {
public:
    /// For at most `capacity` bytes, in memory that is wiped.
    explicit Writer(std::size_t capacity) : own_(capacity), buffer_(own_.span()), at_(capacity) {}
    /// In memory of the caller's, from its end on; not wiped.
    explicit Writer(std::span<unsigned char> memory) : own_(0), buffer_(memory), at_(memory.size()) {}

    /// How many bytes there are so far.
    [[nodiscard]] std::size_t mark() const noexcept { return buffer_.size() - at_; }
    /// Makes what was written since `mark_before` the contents of an element.
    void wrap(int tag, std::size_t mark_before) {
        const std::size_t length = mark() - mark_before;
        if (length < 0x80) {
            put(length);
        } else {
            const std::size_t before = mark();
            for (std::size_t rest = length; rest != 0; rest >>= 8) put(rest & 0xff);
            put(0x80 + mark() - before);
        }
        put(static_cast<unsigned>(tag));
    }
    /// Bytes as they are.
    void raw(View bytes) {
        if (bytes.size() > at_) throw Error("the result does not fit its buffer");
        at_ -= bytes.size();
        std::ranges::copy(bytes, buffer_.data() + at_);
    }
    /// An element.
    void element(int tag, View contents) {
        const std::size_t before = mark();
        raw(contents);
        wrap(tag, before);
    }
    /// A public number of 32 bytes, big-endian.
    void integer(std::span<const unsigned char, 32> value) {
        const std::size_t before = mark();
        const auto first = std::find_if(value.begin(), value.end() - 1, [](unsigned char b) { return b != 0; });
        raw(std::span(first, value.end()));
        if (*first >= 0x80) put(0);
        wrap(integer_tag, before);
    }
    /// A number below 2^31.
    void small_integer(unsigned value) {
        U256 bytes{};
        for (std::size_t i = 0; i < 4; ++i) bytes[31 - i] = static_cast<unsigned char>(value >> 8 * i);
        integer(bytes);
    }
    /// A BIT STRING of whole bytes.
    void bits(View bytes) {
        const std::size_t before = mark();
        raw(bytes);
        put(0);
        wrap(bit_string_tag, before);
    }
    /// An OBJECT IDENTIFIER, encoded already.
    void oid(View encoded) { element(oid_tag, encoded); }
    /// A NULL.
    void null() { element(null_tag, {}); }

    /// What was written, as long as the writer lives.
    [[nodiscard]] View bytes() const noexcept { return buffer_.subspan(at_); }
    /// The same, to keep.
    [[nodiscard]] Bytes copy() const { return {bytes().begin(), bytes().end()}; }

private:
    void put(std::size_t byte) {
        const auto b = static_cast<unsigned char>(byte);
        raw(View(&b, 1));
    }

    SecretBytes own_;
    std::span<unsigned char> buffer_;  // stays where it is when the writer is moved
    std::size_t at_;
};

}  // namespace der

/// @cond
namespace detail {

/// All ones if low <= x <= high, for numbers below 2^30.
constexpr unsigned in_range(unsigned x, unsigned low, unsigned high) noexcept {
    return ~(0U - ((x - low) >> 31)) & ~(0U - ((high - x) >> 31));
}

/// The character of 6 bits in base64, without a branch or an index on them.
constexpr unsigned char base64_character(unsigned x) noexcept {
    return static_cast<unsigned char>((in_range(x, 0, 25) & (x + 'A')) | (in_range(x, 26, 51) & (x - 26 + 'a')) |
                                      (in_range(x, 52, 61) & (x - 52 + '0')) | (in_range(x, 62, 62) & '+') |
                                      (in_range(x, 63, 63) & '/'));
}

/// The 6 bits of a character, likewise; 0 for others, for which `strange` becomes nonzero.
constexpr unsigned base64_value(unsigned char character, unsigned& strange) noexcept {
    const unsigned c = character;
    const unsigned upper = in_range(c, 'A', 'Z'), lower = in_range(c, 'a', 'z'), digit = in_range(c, '0', '9'),
                   plus = in_range(c, '+', '+'), slash = in_range(c, '/', '/');
    strange |= ~(upper | lower | digit | plus | slash);
    return (upper & (c - 'A')) | (lower & (c - 'a' + 26)) | (digit & (c - '0' + 52)) | (plus & 62) | (slash & 63);
}

}  // namespace detail
/// @endcond

/// The bytes of base64 (RFC 4648 clause 4) with white space anywhere. @throws Error when it is not that.
[[nodiscard]] inline SecretBytes from_base64(std::string_view text) {
    SecretBytes bytes(text.size() / 4 * 3 + 3);
    std::size_t size = 0, padding = 0;
    unsigned group = 0, characters = 0, strange = 0;
    for (const char c : text) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) continue;
        if (c == '=') {
            ++padding;
        } else {
            strange |= padding == 0 ? 0U : 1U;
        }
        group = group << 6 | (c == '=' ? 0U : detail::base64_value(static_cast<unsigned char>(c), strange));
        if (++characters % 4 != 0) continue;
        for (int shift = 16; shift >= 0; shift -= 8) bytes.data()[size++] = static_cast<unsigned char>(group >> shift);
        group = 0;
    }
    if (strange != 0 || characters % 4 != 0 || padding > 2) throw Error("not base64");
    for (std::size_t i = 0; i < padding; ++i) strange |= bytes.data()[--size];
    if (strange != 0) throw Error("not base64: bits behind the last byte");
    bytes.shrink(size);
    return bytes;
}

/// A PEM text (RFC 7468), which ends with a line feed. Private keys: wiped like all SecretBytes.
[[nodiscard]] inline SecretBytes to_pem(std::string_view label, View der) {
    const std::string begin = "-----BEGIN " + std::string(label) + "-----\n";
    const std::string end = "-----END " + std::string(label) + "-----\n";
    const std::size_t characters = (der.size() + 2) / 3 * 4;
    SecretBytes text(begin.size() + characters + (characters + 63) / 64 + end.size());
    unsigned char* to = std::ranges::copy(begin, text.data()).out;
    for (std::size_t at = 0; at < der.size(); at += 3) {
        const std::size_t n = std::min<std::size_t>(3, der.size() - at);
        unsigned group = 0;
        for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < n ? der[at + i] : 0U);
        for (std::size_t i = 0; i < 4; ++i) {
            *to++ = i > n ? '=' : detail::base64_character(group >> (18 - 6 * i) & 63);
        }
        if (at % 48 == 45 || at + 3 >= der.size()) *to++ = '\n';
    }
    std::ranges::copy(end, to);
    return text;
}

/// A block of a PEM text.
struct PemBlock {
    std::string_view label;  ///< between "-----BEGIN " and "-----"
    std::string_view body;   ///< the lines between the first and the last
    std::size_t end;         ///< where in the text to go on looking
};

/// The next block of a PEM text from a position on; everything outside of blocks is skipped. None when there is none.
/// @throws Error when a block does not end, or with another label.
[[nodiscard]] inline std::optional<PemBlock> next_pem(std::string_view text, std::size_t from = 0) {
    constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----";
    const auto find_line = [text](std::string_view words, std::size_t at) {
        for (; (at = text.find(words, at)) != std::string_view::npos; ++at) {
            if (at == 0 || text[at - 1] == '\n') break;
        }
        return at;
    };
    const auto line_at = [text](std::size_t at) {
        const std::string_view line = text.substr(at, text.find('\n', at) - at);
        return line.substr(0, line.find_last_not_of(" \t\r") + 1);
    };
    for (std::size_t at = from; (at = find_line(begin, at)) != std::string_view::npos; ++at) {
        const std::string_view first = line_at(at);
        if (!first.ends_with(dashes) || first.size() < begin.size() + dashes.size()) continue;
        const std::string_view label = first.substr(begin.size(), first.size() - begin.size() - dashes.size());
        const std::size_t last = find_line(end, at);
        if (last == std::string_view::npos || line_at(last) != "-----END " + std::string(label) + "-----") {
            throw Error("damaged PEM");
        }
        const std::size_t body = std::min(text.find('\n', at) + 1, last);
        return PemBlock{label, text.substr(body, last - body), last + line_at(last).size()};
    }
    return std::nullopt;
}

/// The bytes in a block. @throws Error when they are not base64.
[[nodiscard]] inline SecretBytes pem_contents(const PemBlock& block) {
    auto bytes = attempt([&] { return from_base64(block.body); });
    if (bytes) return std::move(*bytes);
    throw Error(block.body.find(':') == std::string_view::npos
                    ? "damaged PEM"
                    : "PEM with headers, which only keys encrypted in an old way have");
}

/// 04 || x || y.
[[nodiscard]] inline std::array<unsigned char, 65> uncompressed(const PublicKey& point) noexcept {
    std::array<unsigned char, 65> bytes{4};
    std::ranges::copy(point.bytes(), bytes.begin() + 1);
    return bytes;
}

/// @cond
namespace detail {

/// y of the point of the recommended curve with this x and this lowest bit of y: x^3 - 3x + b has the root
/// (x^3 - 3x + b)^((p + 1) / 4), since p is 3 modulo 4. Not a point when there is none; contains() tells.
inline PublicKey decompress(std::span<const unsigned char, 32> x, unsigned odd) {
    constexpr int n = 8;
    using Words = std::array<unsigned int, n + 1>;  // little-endian, and a word that sums carry into
    ECCParameter_st curve;
    SM2_Get_Paramter(&curve, 0);
    const auto load = [](std::span<const unsigned char, 32> bytes) {
        Words words{};
        for (std::size_t i = 0; i < 32; ++i) words[7 - i / 4] = words[7 - i / 4] << 8 | bytes[i];
        return words;
    };
    Words p = load(curve.p), xx = load(x), a = load(curve.a), b = load(curve.b), rr{}, root{}, power{};
    if (std::lexicographical_compare(x.begin(), x.end(), std::begin(curve.p), std::end(curve.p)) == false) {
        throw Error("a public key that is not on the curve");
    }
    unsigned int nprime = 0;
    int top = 0;
    BN_MONT_CTX_set(p.data(), n, &nprime, rr.data());
    const auto mul = [&](Words& r, Words u, Words v) {
        BN_mod_mul_montgomery(r.data(), u.data(), v.data(), p.data(), n, nprime);
    };
    for (Words* value : {&xx, &a, &b}) mul(*value, *value, rr);
    mul(power, xx, xx);
    BN_mod_add(power.data(), power.data(), a.data(), p.data(), n);
    mul(power, power, xx);
    BN_mod_add(power.data(), power.data(), b.data(), p.data(), n);
    root = power;
    Words exponent = p;  // p + 1: the two lowest words of p are all ones, the next is even
    exponent[0] = exponent[1] = 0;
    ++exponent[2];
    for (unsigned bit = 254; bit >= 2; --bit) {  // the topmost is done, the lowest two are divided away
        mul(root, root, root);
        if ((exponent[bit / 32] >> (bit % 32) & 1) != 0) mul(root, root, power);
    }
    BN_mod_mul_montgomery_one(root.data(), root.data(), p.data(), n, nprime);
    if ((root[0] & 1) != odd) {
        Words zero{};
        BN_mod_sub(root.data(), &top, zero.data(), root.data(), p.data(), n);
    }
    std::array<unsigned char, 64> point;
    std::ranges::copy(x, point.begin());
    for (std::size_t i = 0; i < 32; ++i)
        point[32 + i] = static_cast<unsigned char>(root[7 - i / 4] >> (24 - i % 4 * 8));
    return PublicKey(point);
}

}  // namespace detail
/// @endcond

/// A point of the recommended curve from 04 || x || y, or compressed from 02 or 03 || x, or from x || y.
/// @throws Error when it is something else, or not on the curve.
[[nodiscard]] inline PublicKey read_point(const Curve& curve, View bytes) {
    std::optional<PublicKey> point;
    if (bytes.size() == 33 && (bytes[0] == 2 || bytes[0] == 3)) {
        point = detail::decompress(bytes.subspan<1, 32>(), bytes[0] & 1U);
    } else {
        if (bytes.size() == 65 && bytes[0] == 4) bytes = bytes.subspan(1);
        if (bytes.size() != 64) throw Error("a public key that is neither 04 || x || y nor compressed");
        point = PublicKey(bytes.first<64>());
    }
    if (!curve.contains(*point)) throw Error("a public key that is not on the curve");
    return *point;
}

/// A private key with the public key that belongs to it, from 32 bytes. Constant time. @throws Error when it is not
/// between 1 and n - 2, the range of GM/T 0003.1.
[[nodiscard]] inline KeyPair read_scalar(const Curve& curve, View d) {
    if (d.size() != 32) throw Error("a private key that is not 32 bytes");
    unsigned borrow = 0, bits = 0;
    for (std::size_t i = 32; i-- > 0;) {  // d - (n - 1) is negative; n is odd
        const unsigned top = curve.parameters().n[i] - (i == 31 ? 1U : 0U);
        borrow = ((0U + d[i] - top - borrow) >> 8) & 1U;
        bits |= d[i];
    }
    if ((borrow & ~((bits - 1U) >> 31)) == 0) throw Error("a private key out of range");
    PrivateKey key(d.first<32>());
    const PublicKey point = curve.public_key(key);
    return {std::move(key), point};
}

/// @cond
namespace detail {

inline constexpr std::string_view ec_public_key_oid("\x2A\x86\x48\xCE\x3D\x02\x01", 7);
/// The curve; the same number, and three below it for single uses, also names the algorithm in some keys.
inline constexpr std::string_view sm2_oid("\x2A\x81\x1C\xCF\x55\x01\x82\x2D", 8);

inline std::string_view text_of(View bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline void read_curve(der::Reader& from) {
    if (from.next_is(der::sequence_tag))
        throw Error("a key with explicit curve parameters; only the named curve is supported");
    if (text_of(from.take(der::oid_tag)) != sm2_oid) throw Error("a key of another curve");
}

inline void read_algorithm(der::Reader algorithm) {
    const std::string_view oid = text_of(algorithm.take(der::oid_tag));
    const bool implied = oid == sm2_oid || (oid.size() == sm2_oid.size() + 1 && oid.starts_with(sm2_oid) &&
                                            oid.back() >= 1 && oid.back() <= 3);
    if (!implied && oid != ec_public_key_oid) throw Error("a key of another algorithm");
    if (implied && algorithm.next_is(der::null_tag)) {
        algorithm.null();
    } else if (!implied || !algorithm.done()) {
        read_curve(algorithm);
    }
    algorithm.finish();
}

inline void write_algorithm(der::Writer& out) {
    const std::size_t before = out.mark();
    out.oid(sm2_oid);
    out.oid(ec_public_key_oid);
    out.wrap(der::sequence_tag, before);
}

/// The record x || y is a point too, but not in DER.
inline PublicKey read_encoded_point(const Curve& curve, View bytes) {
    return read_point(curve, bytes.size() == 64 ? View() : bytes);
}

inline void compare_public(const Curve& curve, const KeyPair& key, View bytes) {
    if (read_encoded_point(curve, bytes) != key.public_key) {
        throw Error("the public key does not belong to the private key");
    }
}

/// d of a key in DER. Some keys lack the leading zero bytes that the standard requires, and others have more.
inline KeyPair read_padded_scalar(const Curve& curve, View d) {
    Wiped<std::array<unsigned char, 32>> padded;
    const std::size_t n = std::min<std::size_t>(d.size(), 32);
    if (!all_zero(d.first(d.size() - n))) throw Error("a private key out of range");
    std::ranges::copy(d.last(n), padded.value.end() - static_cast<std::ptrdiff_t>(n));
    return read_scalar(curve, padded.value);
}

/// ECPrivateKey. The curve may be missing where PKCS#8 has named it before.
inline KeyPair read_sec1(const Curve& curve, der::Reader ec, bool curve_known) {
    if (ec.small_integer() != 1) throw Error("a key of an unknown version");
    const View d = ec.take(der::octet_string_tag);
    if (ec.next_is(der::context_tag(0))) {
        der::Reader parameters = ec.enter(der::context_tag(0));
        read_curve(parameters);
        parameters.finish();
    } else if (!curve_known) {
        throw Error("a key without a curve");
    }
    KeyPair key = read_padded_scalar(curve, d);
    if (ec.next_is(der::context_tag(1))) {
        der::Reader inner = ec.enter(der::context_tag(1));
        compare_public(curve, key, inner.bits());
        inner.finish();
    }
    ec.finish();
    return key;
}

/// SET OF Attribute (RFC 5280 A.1), ignored here: each an OBJECT IDENTIFIER and a set of values.
inline void read_attributes(der::Reader attributes) {
    while (!attributes.done()) {
        der::Reader attribute = attributes.enter();
        attribute.oid();
        for (der::Reader values = attribute.enter(der::set_tag); !values.done();) values.skip();
        attribute.finish();
    }
}

/// PrivateKeyInfo (RFC 5208), version 0, and OneAsymmetricKey (RFC 5958), version 1, which may name the public key.
inline KeyPair read_pkcs8(const Curve& curve, der::Reader info) {
    constexpr int implicit_public_key = 0x81;  // [1] IMPLICIT BIT STRING
    const unsigned version = info.small_integer();
    if (version > 1) throw Error("a key of an unknown version");
    read_algorithm(info.enter());
    der::Reader wrapped(info.take(der::octet_string_tag));
    KeyPair key = read_sec1(curve, wrapped.enter(), true);
    wrapped.finish();
    if (info.next_is(der::context_tag(0))) read_attributes(info.enter(der::context_tag(0)));
    if (version == 1 && info.next_is(implicit_public_key)) compare_public(curve, key, info.bits(implicit_public_key));
    info.finish();
    return key;
}

inline PublicKey read_public_key_info(const Curve& curve, der::Reader info) {
    read_algorithm(info.enter());
    const PublicKey point = read_encoded_point(curve, info.bits());
    info.finish();
    return point;
}

}  // namespace detail
/// @endcond

/// What a DER text is, by its first elements.
enum class KeyKind {
    pkcs8,        ///< a private key: PKCS#8 of either version
    sec1,         ///< a private key: ECPrivateKey (RFC 5915)
    encrypted,    ///< a private key: EncryptedPrivateKeyInfo (RFC 5208)
    public_key,   ///< SubjectPublicKeyInfo (RFC 5280)
    certificate,  ///< an X.509 certificate (RFC 5280)
    request,      ///< a request for one, PKCS#10 (RFC 2986)
};

/// @throws Error when it is none of them.
[[nodiscard]] inline KeyKind kind_of_key(View der) {
    der::Reader top(der);
    der::Reader inside = top.enter();
    top.finish();
    if (inside.next_is(der::integer_tag)) {
        inside.integer();
        return inside.next_is(der::sequence_tag) ? KeyKind::pkcs8 : KeyKind::sec1;
    }
    der::Reader first = inside.enter();
    if (inside.next_is(der::octet_string_tag)) return KeyKind::encrypted;
    if (!inside.next_is(der::sequence_tag)) return KeyKind::public_key;
    // Signed structures: the contents, then the algorithm and the signature. The contents of a request are a number and
    // two sequences; those of a certificate have more, and after version 1 begin otherwise.
    if (!first.next_is(der::integer_tag)) return KeyKind::certificate;
    first.skip();
    int sequences = 0;
    for (; first.next_is(der::sequence_tag); first.skip()) ++sequences;
    return sequences == 2 ? KeyKind::request : KeyKind::certificate;
}

/// A private key in PKCS#8 (RFC 5208, RFC 5958) or SEC1 (RFC 5915). @throws Error also when it is encrypted.
[[nodiscard]] inline KeyPair private_key_from_der(const Curve& curve, View der) {
    const KeyKind kind = kind_of_key(der);
    if (kind == KeyKind::encrypted) throw Error("the private key is encrypted");
    if (kind != KeyKind::pkcs8 && kind != KeyKind::sec1) throw Error("not a private key");
    const der::Reader inside = der::Reader(der).enter();
    return kind == KeyKind::pkcs8 ? detail::read_pkcs8(curve, inside) : detail::read_sec1(curve, inside, false);
}

/// A public key in a SubjectPublicKeyInfo; or that of the subject of an X.509 certificate or PKCS#10 request, in which
/// nothing else is judged: neither signature, nor names, nor dates.
[[nodiscard]] inline PublicKey public_key_from_der(const Curve& curve, View der) {
    const KeyKind kind = kind_of_key(der);
    der::Reader inside = der::Reader(der).enter();
    if (kind == KeyKind::public_key) return detail::read_public_key_info(curve, inside);
    if (kind != KeyKind::certificate && kind != KeyKind::request) throw Error("not a public key");
    der::Reader contents = inside.enter();
    inside.take(der::sequence_tag);  // the algorithm and the signature
    inside.bits();
    inside.finish();
    if (kind == KeyKind::request) {
        contents.small_integer();
    } else {
        if (contents.next_is(der::context_tag(0))) contents.skip();
        contents.take(der::integer_tag);   // serial number
        contents.take(der::sequence_tag);  // signature algorithm
        contents.take(der::sequence_tag);  // issuer
        contents.take(der::sequence_tag);  // validity
    }
    contents.take(der::sequence_tag);  // subject
    return detail::read_public_key_info(curve, contents.enter());
}

/// PKCS#8 with the public key inside, as openssl writes it.
[[nodiscard]] inline SecretBytes private_key_to_der(const PrivateKey& key, const PublicKey& point) {
    der::Writer out(160);
    out.bits(uncompressed(point));
    out.wrap(der::context_tag(1), 0);
    out.element(der::octet_string_tag, key.bytes());
    out.small_integer(1);
    out.wrap(der::sequence_tag, 0);
    out.wrap(der::octet_string_tag, 0);
    detail::write_algorithm(out);
    out.small_integer(0);
    out.wrap(der::sequence_tag, 0);
    return SecretBytes::copy_of(out.bytes());
}

/// SubjectPublicKeyInfo.
[[nodiscard]] inline Bytes public_key_to_der(const PublicKey& key) {
    der::Writer out(96);
    out.bits(uncompressed(key));
    detail::write_algorithm(out);
    out.wrap(der::sequence_tag, 0);
    return out.copy();
}

/// SEQUENCE { r, s }; GM/T 0009 clause 7.3.
[[nodiscard]] inline Bytes signature_to_der(const Signature& signature) {
    der::Writer out(80);
    out.integer(signature.bytes().last<32>());
    out.integer(signature.bytes().first<32>());
    out.wrap(der::sequence_tag, 0);
    return out.copy();
}

/// The inverse.
[[nodiscard]] inline Signature signature_from_der(View der) {
    der::Reader top(der);
    der::Reader pair = top.enter();
    top.finish();
    std::array<unsigned char, 64> record;
    std::ranges::copy(pair.integer(), record.begin());
    std::ranges::copy(pair.integer(), record.begin() + 32);
    pair.finish();
    return Signature(record);
}

/// SEQUENCE { x, y, C3, C2 }; GM/T 0009 clause 7.2.
[[nodiscard]] inline Bytes ciphertext_to_der(const Ciphertext& ciphertext) {
    der::Writer out(128 + ciphertext.message_size());
    out.element(der::octet_string_tag, ciphertext.c2());
    out.element(der::octet_string_tag, ciphertext.c3());
    out.integer(ciphertext.c1().last<32>());
    out.integer(ciphertext.c1().first<32>());
    out.wrap(der::sequence_tag, 0);
    return out.copy();
}

/// The inverse.
[[nodiscard]] inline Ciphertext ciphertext_from_der(View der) {
    der::Reader top(der);
    der::Reader parts = top.enter();
    top.finish();
    std::array<unsigned char, 64> point;
    std::ranges::copy(parts.integer(), point.begin());
    std::ranges::copy(parts.integer(), point.begin() + 32);
    const View hash = parts.take(der::octet_string_tag);
    if (hash.size() != 32) throw Error("a ciphertext whose hash is not 32 bytes");
    const View sealed = parts.take(der::octet_string_tag);
    parts.finish();
    if (sealed.empty()) throw Error("a ciphertext of an empty message");
    return Ciphertext::from_parts(point, hash.first<32>(), sealed);
}

/// "PRIVATE KEY": PKCS#8 in PEM.
[[nodiscard]] inline SecretBytes private_key_to_pem(const KeyPair& key) {
    return to_pem("PRIVATE KEY", private_key_to_der(key.private_key, key.public_key).span());
}

/// "PUBLIC KEY": SubjectPublicKeyInfo in PEM.
[[nodiscard]] inline std::string public_key_to_pem(const PublicKey& key) {
    return std::string(detail::text_of(to_pem("PUBLIC KEY", public_key_to_der(key)).span()));
}

/// The first private key of a PEM text; blocks of other kinds before it are skipped. @throws Error when there is none.
[[nodiscard]] inline KeyPair private_key_from_pem(const Curve& curve, std::string_view text) {
    std::size_t at = 0;
    while (const auto block = next_pem(text, at)) {
        if (block->label.ends_with("PRIVATE KEY")) {
            return private_key_from_der(curve, pem_contents(*block).span());
        }
        at = block->end;
    }
    throw Error("no private key in this PEM text");
}

/// The first public key of a PEM text, that of a certificate or a request too; other blocks are skipped. @throws Error
/// when there is none.
[[nodiscard]] inline PublicKey public_key_from_pem(const Curve& curve, std::string_view text) {
    std::size_t at = 0;
    while (const auto block = next_pem(text, at)) {
        if (block->label == "PUBLIC KEY" || block->label.ends_with("CERTIFICATE") ||
            block->label.ends_with("CERTIFICATE REQUEST")) {
            return public_key_from_der(curve, pem_contents(*block).span());
        }
        at = block->end;
    }
    throw Error("no public key in this PEM text");
}

}  // namespace ulmaro::algrithm

#endif
