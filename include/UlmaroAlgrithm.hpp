/**
 * @file UlmaroAlgrithm.hpp
 * @brief SM2, SM3 and SM4 for C++20: a header on top of the C entry points, in namespace ulmaro::algrithm.
 *
 * Header-only; link either library. Byte strings are spans on the way in and arrays or vectors on the way out; keys,
 * signatures, digests and ciphertexts have types of their own, so that one cannot be passed for another.
 *
 * - **Errors** are all thrown as ::ulmaro::algrithm::Error: an impossible length, a key or curve that allows no
 *   operation, a ciphertext or a padding that is refused. They are exceptions because constructors can fail, because
 *   the C entry points already report lack of memory (`std::bad_alloc`) that way, and because a refusal that nobody
 *   checks must not pass for success. Whether a signature is valid is an answer, not an error: a `bool`. Code that must
 *   not see an exception calls through attempt().
 * - **Secrets**: private keys, SM3 streams and SM4 schedules are wiped when they are destroyed or moved from. Byte
 *   strings that a call returns are the caller's to wipe.
 * - **After a move**, a private key is zero, which every call refuses; an SM3 stream is empty; a ciphertext is 100 zero
 *   bytes, which nobody can decrypt; an SM4 key and a stream under HMAC throw an Error when they are used.
 * - **Threads**: every object may be read by any number of threads at once, and written by one. The plain library
 *   draws from the C library's `rand`, which the process shares, and seeds it whenever a Curve is made or
 *   Curve::public_key() is called.
 * - **Standard output**: a refused signature or ciphertext prints one line there, as the C entry points do.
 */
#ifndef ULMARO_ALGRITHM_HPP
#define ULMARO_ALGRITHM_HPP

#if __cplusplus < 202002L
#error "UlmaroAlgrithm.hpp needs C++20: -std=c++20"
#endif

#include <errno.h>
#include <string.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "UlmaroAlgrithm.h"

namespace ulmaro::algrithm {

/// @cond
namespace detail {

template <class From, class To>
concept Gives = std::convertible_to<const From&, To>;

}  // namespace detail
/// @endcond

/// A byte string of the caller's, read only; as short-lived as a span. Spans, arrays and vectors of `unsigned char` or
/// `std::byte`, strings and string literals (without their NUL) convert to it. An array of `char` is taken for a text
/// too, which ends at its first NUL.
class View : public std::span<const unsigned char> {
public:
    /// No bytes.
    constexpr View() noexcept = default;
    View(std::nullptr_t) = delete;
    /// `size` bytes from `data` on.
    constexpr View(const unsigned char* data, std::size_t size) noexcept : span(data, size) {}
    // NOLINTBEGIN(google-explicit-constructor): views are made on the way in, where a call is written.
    /// Bytes.
    template <detail::Gives<std::span<const unsigned char>> Range>
    constexpr View(const Range& bytes) noexcept : span(std::span<const unsigned char>(bytes)) {}
    /// The same as `std::byte`.
    template <detail::Gives<std::span<const std::byte>> Range>
    View(const Range& bytes) noexcept : View(of(std::span<const std::byte>(bytes))) {}
    /// The bytes of a text.
    template <detail::Gives<std::string_view> Text>
    View(const Text& text) noexcept : View(of(std::string_view(text))) {}
    // NOLINTEND(google-explicit-constructor)

private:
    template <class Source>
    static View of(const Source& source) noexcept {
        return {reinterpret_cast<const unsigned char*>(source.data()), source.size()};
    }
};
/// A byte string that a call returns.
using Bytes = std::vector<unsigned char>;

/// Every failure of this header; `what()` says in words which one.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @cond
// The loader merges inline functions of the same name. Where two shared objects in a process are built for different
// libraries, they must not share this class, whose members draw: its name says which library it calls.
#ifdef ULMARO_HARDENED
inline namespace hardened {
class Curve;
}
#else
class Curve;
#endif
/// @endcond

/// The bytes of a text, which must outlive the view.
inline View bytes_of(std::string_view text) noexcept { return text; }

/// The user identity where no other is agreed on; GM/T 0009.
inline constexpr std::string_view default_user_id = "1234567812345678";

/// The longest message that SM2 encrypts here, in bytes. C3 is the digest of the message and 64 more bytes, and the C
/// entry points make the standard's digest only below 2^29 bytes.
inline constexpr std::size_t max_message_size = (std::size_t{1} << 29) - 65;

/// The result of work(), or none when it threw an Error, whose words are then put into `why` if that is given. For code
/// that handles no exceptions: `if (const auto key = attempt([&] { return curve.generate(); })) ...`. Work that
/// returns nothing gives whether it was done. Work that returns a bool gives that bool, and false for an Error: so
/// `if (attempt([&] { return curve.verify(...); }))` is true for a valid signature alone. Lack of memory still throws.
/// A program built without exceptions at all uses the C header.
template <class Work>
[[nodiscard]] auto attempt(Work&& work, std::string* why = nullptr) {
    using Result = std::invoke_result_t<Work>;
    constexpr bool returns = !std::is_void_v<Result> && !std::is_same_v<Result, bool>;
    try {
        if constexpr (std::is_same_v<Result, bool>) {
            return std::forward<Work>(work)();
        } else if constexpr (returns) {
            return std::optional<Result>(std::forward<Work>(work)());
        } else {
            std::forward<Work>(work)();
            return true;
        }
    } catch (const Error& error) {
        if (why != nullptr) *why = error.what();
        if constexpr (returns) {
            return std::optional<Result>();
        } else {
            return false;
        }
    }
}

/// @cond
namespace detail {

inline void require(bool condition, const char* otherwise) {
    if (!condition) throw Error(otherwise);
}

/// A record that is wiped when destroyed.
template <class Record>
struct Wiped {
    static_assert(std::is_trivially_copyable_v<Record>);
    Record value{};
    Wiped() noexcept = default;
    Wiped(const Wiped&) = default;
    Wiped& operator=(const Wiped&) = default;
    Wiped(Wiped&& other) noexcept : value(other.value) { other.wipe(); }
    Wiped& operator=(Wiped&& other) noexcept {
        if (this != &other) {
            value = other.value;
            other.wipe();
        }
        return *this;
    }
    ~Wiped() { wipe(); }
    void wipe() noexcept {
        void* record = &value;
        asm("" : "+r"(record));  // g++ 12 takes it for the record's first member, and warns
        explicit_bzero(record, sizeof value);
    }
};

/// The C entry points count in `int`. A multiple of every block size, far below the largest `int` and yet long enough
/// to cost nothing.
inline constexpr std::size_t piece = std::size_t{1} << 20;

/// Calls work(offset, length) for pieces of a byte string that an `int` can count.
template <class Work>
void in_pieces(std::size_t size, Work&& work) {
    for (std::size_t at = 0; at < size; at += piece) work(at, static_cast<int>(std::min(piece, size - at)));
}

inline std::uint64_t load_be64(const unsigned char* from) noexcept {
    std::uint64_t value;
    memcpy(&value, from, sizeof value);
    return __builtin_bswap64(value);
}

inline void store_be64(unsigned char* to, std::uint64_t value) noexcept {
    value = __builtin_bswap64(value);
    memcpy(to, &value, sizeof value);
}

/// to = a + b over GF(2), for n bytes; to may be a.
inline void add_bytes(unsigned char* to, const unsigned char* a, const unsigned char* b, std::size_t n) noexcept {
    std::size_t i = 0;
    for (; n - i >= 8; i += 8) {
        std::uint64_t x, y;
        memcpy(&x, a + i, 8);
        memcpy(&y, b + i, 8);
        x ^= y;
        memcpy(to + i, &x, 8);
    }
    for (; i < n; ++i) to[i] = a[i] ^ b[i];
}

inline bool all_zero(View bytes) noexcept {
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char b) { return b == 0; });
}

}  // namespace detail
/// @endcond

/// A public value of a fixed number of bytes. `Kind` keeps values of the same size apart.
template <std::size_t Size, class Kind>
class Octets {
public:
    /// All bytes zero.
    constexpr Octets() noexcept = default;
    /// From exactly Size bytes.
    constexpr explicit Octets(std::span<const unsigned char, Size> bytes) noexcept {
        std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    }
    /// From a byte string whose length is known only at run time. @throws Error when it is not Size.
    [[nodiscard]] static Octets from(View bytes) {
        detail::require(bytes.size() == Size, "wrong length of a key, signature or digest");
        return Octets(bytes.template first<Size>());
    }
    /// The bytes, as long as the value lives.
    [[nodiscard]] constexpr std::span<const unsigned char, Size> bytes() const noexcept { return bytes_; }
    /// A copy of the bytes.
    [[nodiscard]] constexpr std::array<unsigned char, Size> array() const noexcept { return bytes_; }
    /// Whether all bytes are equal; not for secrets: the time shows where they differ.
    friend bool operator==(const Octets&, const Octets&) = default;

private:
    std::array<unsigned char, Size> bytes_{};
};

/// x and y of an affine point, 32 bytes each, big-endian; the layout of ::ECC_PUBLIC_KEY. No 04 in front.
using PublicKey = Octets<sizeof(ECC_PUBLIC_KEY), struct PublicKeyKind>;
/// r and s, 32 bytes each, big-endian; the layout of ::ECC_SIGNATURE.
using Signature = Octets<sizeof(ECC_SIGNATURE), struct SignatureKind>;
/// An SM3 digest: of any data, or what a signature signs.
using Digest = Octets<32, struct DigestKind>;

/// The private scalar d, 32 bytes big-endian. Can be moved, but not copied; wiped when destroyed.
class PrivateKey {
public:
    /// From the scalar's bytes. The range is not checked here: signing with one that is out of range throws.
    explicit PrivateKey(std::span<const unsigned char, 32> d) noexcept {
        std::copy(d.begin(), d.end(), record_.value.d);
    }
    PrivateKey(const PrivateKey&) = delete;
    PrivateKey& operator=(const PrivateKey&) = delete;
    /// Leaves the other key zero.
    PrivateKey(PrivateKey&&) noexcept = default;
    /// Leaves the other key zero.
    PrivateKey& operator=(PrivateKey&&) noexcept = default;

    /// The scalar's bytes, big-endian.
    [[nodiscard]] std::span<const unsigned char, 32> bytes() const noexcept { return record_.value.d; }
    /// The record that the C entry points take.
    [[nodiscard]] const ECC_PRIVATE_KEY& record() const noexcept { return record_.value; }

private:
    detail::Wiped<ECC_PRIVATE_KEY> record_;
};

/// A private key and the public key that belongs to it.
struct KeyPair {
    PrivateKey private_key;  ///< d
    PublicKey public_key;    ///< d G
};

/// An SM2 ciphertext, held as the record ::Ulmaro_ECC_CIPHER_BLOB.
class Ciphertext {
public:
    /// The order of the parts of a raw ciphertext: C1C3C2 is today's standard, C1C2C3 an older draft's.
    enum class Order { c1c3c2, c1c2c3 };

    /// From a record. @throws Error when the length field is not the number of bytes that follow it.
    [[nodiscard]] static Ciphertext from_record(View record) {
        detail::require(record.size() >= head, "a ciphertext record has at least 100 bytes");
        Ciphertext result(Bytes(record.begin(), record.end()));
        detail::require(result.record().cipher_len == record.size() - head, "a ciphertext record with a wrong length");
        return result;
    }
    /// From 04, C1, C3 and C2 as one byte string, in either order. @throws Error when it is too short, too long, or
    /// does not begin with 04.
    [[nodiscard]] static Ciphertext from_raw(View raw, Order order = Order::c1c3c2) {
        detail::require(raw.size() > 97 && raw.size() - 97 <= INT_MAX && raw[0] == 4, "not a raw ciphertext");
        const bool c3_first = order == Order::c1c3c2;
        const View rest = raw.subspan(65);
        const View c3 = c3_first ? rest.first(32) : rest.last(32);
        return from_parts(raw.subspan<1, 64>(), c3.first<32>(), rest.subspan(c3_first ? 32 : 0, rest.size() - 32));
    }
    /// From its parts: C1 as x and y, the digest C3, and C2, which is as long as the message. For forms that are not
    /// here, such as the SEQUENCE of GM/T 0009. @throws Error when C2 is empty or longer than 2^31 - 1 bytes.
    [[nodiscard]] static Ciphertext from_parts(std::span<const unsigned char, 64> c1,
                                               std::span<const unsigned char, 32> c3, View c2) {
        detail::require(!c2.empty() && c2.size() <= INT_MAX, "SM2 makes no ciphertext of this length");
        Ciphertext result(Bytes(head + c2.size()));
        std::copy(c1.begin(), c1.end(), result.record_.begin());
        std::copy(c3.begin(), c3.end(), result.record_.begin() + 64);
        result.mutable_record()->cipher_len = static_cast<unsigned int>(c2.size());
        std::copy(c2.begin(), c2.end(), result.record_.begin() + head);
        return result;
    }

    /// x and y of the ephemeral point, as long as the ciphertext lives; so are c3() and c2().
    [[nodiscard]] std::span<const unsigned char, 64> c1() const noexcept { return bytes().first<64>(); }
    /// The digest of the message.
    [[nodiscard]] std::span<const unsigned char, 32> c3() const noexcept { return bytes().subspan<64, 32>(); }
    /// The message, masked.
    [[nodiscard]] View c2() const noexcept { return bytes().subspan(head); }
    /// 04, C1, C3 and C2 as one byte string, in either order.
    [[nodiscard]] Bytes raw(Order order = Order::c1c3c2) const {
        const bool c3_first = order == Order::c1c3c2;
        Bytes result(97 + message_size());
        result[0] = 4;
        std::copy(c1().begin(), c1().end(), result.begin() + 1);
        std::copy(c3().begin(), c3().end(), c3_first ? result.begin() + 65 : result.end() - 32);
        std::copy(c2().begin(), c2().end(), result.begin() + (c3_first ? 97 : 65));
        return result;
    }
    /// All bytes of the record.
    [[nodiscard]] View bytes() const noexcept { return record_.empty() ? View(moved_from) : View(record_); }
    /// The record that the C entry points take.
    [[nodiscard]] const Ulmaro_ECC_CIPHER_BLOB& record() const noexcept {
        return *reinterpret_cast<const Ulmaro_ECC_CIPHER_BLOB*>(bytes().data());
    }
    /// Length of the message inside.
    [[nodiscard]] std::size_t message_size() const noexcept { return bytes().size() - head; }
    /// Whether all bytes are equal.
    friend bool operator==(const Ciphertext& a, const Ciphertext& b) noexcept {
        return std::ranges::equal(a.bytes(), b.bytes());
    }

private:
    friend Curve;
    static constexpr std::size_t head = sizeof(Ulmaro_ECC_CIPHER_BLOB);
    alignas(Ulmaro_ECC_CIPHER_BLOB) static constexpr std::array<unsigned char, head> moved_from{};
    explicit Ciphertext(Bytes record) noexcept : record_(std::move(record)) {}
    Ulmaro_ECC_CIPHER_BLOB* mutable_record() noexcept {
        return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record_.data());
    }

    Bytes record_;  // empty when moved from
};

/// An SM3 stream; GM/T 0004. Wiped when destroyed.
class Sm3 {
public:
    /// An empty stream.
    Sm3() noexcept { SM3_Init(&state_.value.context); }
    Sm3(const Sm3&) = default;             ///< Both streams can go on.
    Sm3& operator=(const Sm3&) = default;  ///< Both streams can go on.
    /// Leaves the other stream empty.
    Sm3(Sm3&& other) noexcept : state_(std::move(other.state_)) { other.restart(); }
    /// Leaves the other stream empty.
    Sm3& operator=(Sm3&& other) noexcept {
        if (this != &other) {
            state_ = std::move(other.state_);
            other.restart();
        }
        return *this;
    }

    /// Absorbs bytes, fewer than 2^61 in all.
    Sm3& update(View bytes) {
        detail::in_pieces(bytes.size(), [&](std::size_t at, int size) {
            SM3_Update(&state_.value.context, bytes.data() + at, size);
        });
        state_.value.length += bytes.size();
        return *this;
    }
    /// The digest of what was absorbed; the stream is empty afterwards.
    [[nodiscard]] Digest finish() {
        std::array<unsigned char, 32> digest;
        finish(digest);
        return Digest(digest);
    }
    /// The same into memory of the caller's, for example one that wipes itself.
    void finish(std::span<unsigned char, 32> digest) {
        ulmaro_sm3_finish(&state_.value.context, state_.value.length, digest.data());
        restart();
    }
    /// The digest of one byte string.
    [[nodiscard]] static Digest hash(View bytes) { return Sm3().update(bytes).finish(); }

private:
    friend class HmacSm3;
    void restart() noexcept {
        SM3_Init(&state_.value.context);
        state_.value.length = 0;
    }

    struct State {
        SM3_CTX context;
        std::uint64_t length;
    };
    detail::Wiped<State> state_;
};

/// Whether two byte strings are equal, in a time that depends on nothing but their lengths.
[[nodiscard]] inline bool equal_in_constant_time(View a, View b) noexcept {
    if (a.size() != b.size()) return false;
    unsigned int difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned int>(a[i] ^ b[i]);
        asm("" : "+r"(difference));  // or the compiler may stop at the first difference
    }
    return difference == 0;
}

/// Fills `out` with random bytes of the kernel's generator, whichever library is linked; blocks until that is seeded.
/// @throws Error when the kernel gives none.
inline void random_bytes(std::span<unsigned char> out) {
    while (!out.empty()) {
        const ssize_t n = getrandom(out.data(), out.size(), 0);
        detail::require(n > 0 || (n < 0 && errno == EINTR), "the kernel gives no random bytes");
        if (n > 0) out = out.subspan(static_cast<std::size_t>(n));
    }
}

/// Keys, nonces and salts: `random_bytes<16>()`.
template <std::size_t Size>
[[nodiscard]] std::array<unsigned char, Size> random_bytes() {
    std::array<unsigned char, Size> bytes;
    random_bytes(bytes);
    return bytes;
}

/// A stream under HMAC with SM3, a digest that only holders of the key can make; RFC 2104, GB/T 15852.2. Wiped when
/// destroyed.
class HmacSm3 {
public:
    /// A key of any length; one of 32 bytes is as strong as any longer one.
    explicit HmacSm3(View key) {
        detail::Wiped<std::array<unsigned char, ULMARO_SM3_BLOCK_BYTES>> block;
        if (key.size() > block.value.size()) {
            std::ranges::copy(Sm3::hash(key).bytes(), block.value.begin());
        } else {
            std::ranges::copy(key, block.value.begin());
        }
        for (auto& byte : block.value) byte ^= 0x36;
        inner_.update(block.value);
        for (auto& byte : block.value) byte ^= 0x36 ^ 0x5c;
        outer_.update(block.value);
        stream_ = inner_;
    }

    /// Absorbs bytes, fewer than 2^61 - 64 in all.
    HmacSm3& update(View bytes) {
        stream_.update(bytes);
        return *this;
    }
    /// The tag of what was absorbed. The stream is empty afterwards, with the same key.
    [[nodiscard]] Digest finish() {
        std::array<unsigned char, 32> tag;
        finish(tag);
        return Digest(tag);
    }
    /// The same into memory of the caller's, for example one that wipes itself.
    void finish(std::span<unsigned char, 32> tag) {
        detail::require(outer_.state_.value.length != 0, "this HMAC key has been moved from");
        stream_.finish(tag);
        stream_ = outer_;
        stream_.update(tag).finish(tag);
        stream_ = inner_;
    }
    /// Like finish(), and whether the tag begins with these 16 to 32 bytes: compares in constant time, which `==` does
    /// not. @throws Error when the number of bytes is another.
    [[nodiscard]] bool verify(View tag) {
        detail::require(tag.size() >= 16 && tag.size() <= 32, "an HMAC tag has 16 to 32 bytes");
        return equal_in_constant_time(tag, finish().bytes().first(tag.size()));
    }
    /// The tag of one byte string.
    [[nodiscard]] static Digest tag(View key, View bytes) { return HmacSm3(key).update(bytes).finish(); }

private:
    Sm3 inner_, outer_, stream_;
};

/// Fills `out` with keys from a passphrase: PBKDF2 (RFC 8018 clause 5.2) with HMAC-SM3. Takes as many steps as there
/// are iterations for every 32 bytes, to make guessing expensive; choose at least 100,000, and a random salt of 16
/// bytes.
/// The salt must not overlap `out`. @throws Error when there are no iterations, or `out` has more than 2^32 - 1 times
/// 32 bytes.
inline void derive_key_from_passphrase(View passphrase, View salt, unsigned iterations, std::span<unsigned char> out) {
    detail::require(iterations > 0 && (out.size() + 31) / 32 <= UINT32_MAX, "no key can be derived like this");
    HmacSm3 mac(passphrase);
    for (std::uint32_t block = 1; !out.empty(); ++block) {
        const std::array<unsigned char, 4> number{
            static_cast<unsigned char>(block >> 24), static_cast<unsigned char>(block >> 16),
            static_cast<unsigned char>(block >> 8), static_cast<unsigned char>(block)};
        detail::Wiped<std::array<unsigned char, 32>> step;
        mac.update(salt).update(number).finish(step.value);
        auto sum = step;
        for (unsigned i = 1; i < iterations; ++i) {
            mac.update(step.value).finish(step.value);
            for (std::size_t j = 0; j < 32; ++j) sum.value[j] ^= step.value[j];
        }
        const std::size_t n = std::min<std::size_t>(32, out.size());
        std::copy_n(sum.value.begin(), n, out.begin());
        out = out.subspan(n);
    }
}

/// Fills `out` from a shared secret, which it may overlap; GM/T 0003.4 clause 5.4.3. @throws Error when the secret is
/// longer than 2^29 - 5 bytes, beyond which the C entry point's digests are not the standard's, or `out` than 2^31 - 1.
inline void derive_key(View secret, std::span<unsigned char> out) {
    detail::require(secret.size() < (std::size_t{1} << 29) - 4 && out.size() <= INT_MAX,
                    "too long for the key derivation");
    SM2_KDF_ALGRITRHM(secret.data(), static_cast<int>(secret.size()), static_cast<int>(out.size()), out.data());
}

/// A key, or several in a row, from a shared secret: `derive_key<48>(secret)`.
template <std::size_t Size>
[[nodiscard]] std::array<unsigned char, Size> derive_key(View secret) {
    std::array<unsigned char, Size> key;
    derive_key(secret, key);
    return key;
}

#ifdef ULMARO_HARDENED
inline namespace hardened {
#endif
/// A prepared curve and its operations. Make one and keep it: preparing it is what costs.
class Curve {
public:
    /// The recommended curve of GM/T 0003.5.
    Curve() noexcept {
        SM2_Get_Paramter(&parameters_, 0);
        prepare();
    }
    /// Another curve. @throws Error when p is even, the order is below 2^224 or the base point is not on the curve.
    /// Whether p and n are prime is not checked.
    explicit Curve(const ECCParameter_st& parameters) : parameters_(parameters) {
        ECC_PUBLIC_KEY base;
        std::copy_n(parameters.Gx, 32, base.x);
        std::copy_n(parameters.Gy, 32, base.y);
        detail::require((parameters.p[31] & 1) != 0 && !detail::all_zero(View(parameters.n).first(4)) &&
                            SM2_POINT_is_on_curve(&parameters_, &base) == 1,
                        "not the parameters of a usable curve");
        prepare();
    }

    /// The parameter block.
    [[nodiscard]] const ECCParameter_st& parameters() const noexcept { return parameters_; }

    /// Draws a key pair.
    [[nodiscard]] KeyPair generate() const {
        ECC_PUBLIC_KEY public_key;
        detail::Wiped<ECC_PRIVATE_KEY> private_key;
        SM2_ECC_GenerateKeyPair(&prepared_, &public_key, &private_key.value);
        detail::require(!detail::all_zero(private_key.value.d), "this curve allows no key");
        return {PrivateKey(private_key.value.d), from_record<PublicKey>(public_key)};
    }
    /// The public key of a private one. @throws Error on any curve but the recommended one, for which there is no entry
    /// point, and when d is a multiple of n.
    [[nodiscard]] PublicKey public_key(const PrivateKey& key) const {
        ECCParameter_st recommended;
        SM2_Get_Paramter(&recommended, 0);
        detail::require(memcmp(&recommended, &parameters_, sizeof recommended) == 0,
                        "supported only on the recommended curve");
        detail::Wiped<bignum_st> d;
        for (std::size_t i = 0; i < 32; ++i) {
            d.value.words[7 - i / 4] = d.value.words[7 - i / 4] << 8 | key.bytes()[i];
        }
        ECC_PUBLIC_KEY record;
        SM2_CalcPubKeyByPriKey(&record, &d.value);
        const PublicKey result = from_record<PublicKey>(record);
        detail::require(!detail::all_zero(result.bytes()), "not a private key");
        return result;
    }
    /// Whether a key is a point of the curve with coordinates below p. Check every key from elsewhere.
    [[nodiscard]] bool contains(const PublicKey& key) const {
        const ECC_PUBLIC_KEY record = to_record<ECC_PUBLIC_KEY>(key);
        return memcmp(record.x, parameters_.p, 32) < 0 && memcmp(record.y, parameters_.p, 32) < 0 &&
               SM2_POINT_is_on_curve(&parameters_, &record) == 1;
    }

    /// Z, the digest of a signer's identity, the curve and the public key; GM/T 0003.2 clause 5.5.
    /// @throws Error when the identity has more than 8191 bytes.
    [[nodiscard]] Digest identity_digest(const PublicKey& key, std::string_view user_id = default_user_id) const {
        detail::require(user_id.size() <= 8191, "a user identity has at most 8191 bytes");
        const std::size_t bits = 8 * user_id.size();
        const std::array<unsigned char, 2> length{static_cast<unsigned char>(bits >> 8),
                                                  static_cast<unsigned char>(bits)};
        Sm3 stream;
        stream.update(length).update(bytes_of(user_id)).update(parameters_.a).update(parameters_.b);
        return stream.update(parameters_.Gx).update(parameters_.Gy).update(key.bytes()).finish();
    }
    /// A stream that has absorbed Z: add a message of any length, finish it, and sign or verify the digest.
    [[nodiscard]] Sm3 message_stream(const PublicKey& key, std::string_view user_id = default_user_id) const {
        return Sm3().update(identity_digest(key, user_id).bytes());
    }

    /// Signs a message, Z included. @throws Error when the key is out of range, and like identity_digest().
    [[nodiscard]] Signature sign(const KeyPair& key, View message, std::string_view user_id = default_user_id) const {
        return sign_digest(key.private_key, message_stream(key.public_key, user_id).update(message).finish());
    }
    /// Signs e = SM3(Z || M). A digest of the message alone is not that. @throws Error when the key is out of range.
    [[nodiscard]] Signature sign_digest(const PrivateKey& key, const Digest& e) const {
        ECC_SIGNATURE record;
        SM2_ECDSA_Signature(&prepared_, e.bytes().data(), &key.record(), &record);
        const Signature result = from_record<Signature>(record);
        detail::require(!detail::all_zero(result.bytes()), "this key allows no signature");
        return result;
    }
    /// Whether a signature of a message is valid, Z included; false for a key that the curve does not contain().
    [[nodiscard]] bool verify(const PublicKey& key, View message, const Signature& signature,
                              std::string_view user_id = default_user_id) const {
        return verify_digest(key, message_stream(key, user_id).update(message).finish(), signature);
    }
    /// Whether a signature of e = SM3(Z || M) is valid; false for a key that the curve does not contain().
    [[nodiscard]] bool verify_digest(const PublicKey& key, const Digest& e, const Signature& signature) const {
        if (!contains(key)) return false;
        const ECC_PUBLIC_KEY key_record = to_record<ECC_PUBLIC_KEY>(key);
        const auto record = to_record<ECC_SIGNATURE>(signature);
        return SM2_ECDSA_Verification(&prepared_, e.bytes().data(), &key_record, &record) == 1;
    }

    /// Encrypts a message. @throws Error when it is empty (nobody could decrypt it) or longer than max_message_size, or
    /// when contains() is false for the key.
    [[nodiscard]] Ciphertext encrypt(const PublicKey& key, View message) const {
        detail::require(!message.empty() && message.size() <= max_message_size,
                        "SM2 cannot encrypt a message of this length");
        detail::require(contains(key), "not a public key of this curve");
        const ECC_PUBLIC_KEY record = to_record<ECC_PUBLIC_KEY>(key);
        Ciphertext result(Bytes(Ciphertext::head + message.size()));
        SM2_ECES_Encryption(&prepared_, message.data(), static_cast<int>(message.size()), &record,
                            result.mutable_record());
        detail::require(!detail::all_zero(result.bytes().first(64)), "this key allows no encryption");
        return result;
    }
    /// Decrypts. @throws Error when the ciphertext is not authentic, whatever the reason; no byte of it gets out.
    [[nodiscard]] Bytes decrypt(const PrivateKey& key, const Ciphertext& ciphertext) const {
        Bytes message(ciphertext.message_size());
        decrypt(key, ciphertext, message);
        return message;
    }
    /// The same into memory of the caller's, for example one that wipes itself: Ciphertext::message_size() bytes.
    /// @throws Error also when `message` has another length; it is all zero when the ciphertext was refused.
    void decrypt(const PrivateKey& key, const Ciphertext& ciphertext, std::span<unsigned char> message) const {
        detail::require(message.size() == ciphertext.message_size(), "the message has another length");
        if (SM2_ECES_Decryption(&prepared_, &ciphertext.record(), &key.record(), message.data()) != 1) {
            if (!message.empty()) explicit_bzero(message.data(), message.size());
            throw Error("the ciphertext is refused");
        }
    }

private:
    void prepare() noexcept { SM2_ECC_InitParameter(&parameters_, &prepared_); }

    template <class Value, class Record>
    static Value from_record(const Record& record) noexcept {
        return Value(std::bit_cast<std::array<unsigned char, sizeof(Record)>>(record));
    }
    template <class Record, class Value>
    static Record to_record(const Value& value) noexcept {
        Record record;
        memcpy(&record, value.bytes().data(), sizeof record);
        return record;
    }

    ECCParameter_st parameters_{};
    ec_group_st prepared_{};
};
#ifdef ULMARO_HARDENED
}  // namespace hardened
#endif

/// An SM4 key, expanded once for both directions; GM/T 0002. Wiped when destroyed.
///
/// In all modes `in` and `out` have the same length, and are the same memory or do not overlap.
class Sm4 {
public:
    /// Bytes in a block, a key and an iv.
    static constexpr std::size_t block_size = 16;
    /// The iv of a message; where a call takes it by reference, it becomes the iv of the stream's next piece.
    using Iv = std::array<unsigned char, block_size>;

    /// Expands a key.
    explicit Sm4(std::span<const unsigned char, block_size> key) noexcept {
        SM4_KEY_INIT(key.data(), block_size, schedule_.value.words, ULMARO_SM4_SCHEDULE_WORDS);
        schedule_.value.expanded = true;
    }

    /// ECB. Shows which blocks are equal: for single blocks, hardly ever for messages.
    /// @throws Error when the lengths differ or are not a multiple of 16, as do all modes without padding.
    void ecb_encrypt(View in, std::span<unsigned char> out) const { ecb(SM4_X_ECB_EN_MODE, in, out); }
    /// The inverse of ecb_encrypt().
    void ecb_decrypt(View in, std::span<unsigned char> out) const { ecb(SM4_X_ECB_DE_MODE, in, out); }
    /// CBC without padding. `chain` is the iv before the first piece of a stream and carries over from piece to piece.
    void cbc_encrypt(Iv& chain, View in, std::span<unsigned char> out) const {
        check(in, out);
        detail::in_pieces(in.size(), [&](std::size_t at, int size) {
            SM4_X_CBC_EN_MODE(in.data() + at, size, schedule(), chain.data(), out.data() + at);
            std::copy_n(out.data() + at + size - block_size, block_size, chain.begin());
        });
    }
    /// The inverse of cbc_encrypt(); `chain` likewise.
    void cbc_decrypt(Iv& chain, View in, std::span<unsigned char> out) const {
        check(in, out);
        detail::in_pieces(in.size(), [&](std::size_t at, int size) {
            Iv next;
            std::copy_n(in.data() + at + size - block_size, block_size, next.begin());
            SM4_X_CBC_DE_MODE(in.data() + at, size, schedule(), chain.data(), out.data() + at);
            chain = next;
        });
    }

    /// Counter mode, both directions: adds the encrypted counter blocks to the message, which may have any length.
    /// `counter` is the first of them, a big-endian number that counts modulo 2^128 and carries over from piece to
    /// piece of a stream; all pieces but the last must be whole blocks. Two messages must never meet the same counter
    /// block under the same key: with both, anyone learns their difference. Not authenticated; see HmacSm3.
    ///
    /// For streams that are cut anywhere, `last_block` is given the encrypted counter block of which this piece has
    /// used the first in.size() % 16 bytes, unless that is none. The others are to be added to the message's next
    /// bytes.
    void ctr(Iv& counter, View in, std::span<unsigned char> out, Iv* last_block = nullptr) const {
        detail::require(schedule_.value.expanded, "this SM4 key has been moved from");
        detail::require(in.size() == out.size(), "input and output of different lengths");
        std::uint64_t high = detail::load_be64(counter.data()), low = detail::load_be64(counter.data() + 8);
        struct KeyStream {  // wiped as far as it was used
            alignas(64) unsigned char bytes[256 * block_size];
            std::size_t used = 0;
            ~KeyStream() { explicit_bzero(bytes, used); }
        } stream;
        for (std::size_t at = 0; at < in.size(); at += sizeof stream.bytes) {
            const std::size_t n = std::min(sizeof stream.bytes, in.size() - at);
            const std::size_t padded = (n + block_size - 1) / block_size * block_size;
            for (std::size_t i = 0; i < padded; i += block_size) {
                detail::store_be64(stream.bytes + i, high);
                detail::store_be64(stream.bytes + i + 8, low);
                if (++low == 0) ++high;
            }
            stream.used = std::max(stream.used, padded);
            SM4_X_ECB_EN_MODE(stream.bytes, static_cast<int>(padded), schedule(), stream.bytes);
            detail::add_bytes(out.data() + at, in.data() + at, stream.bytes, n);
            if (last_block != nullptr && n != padded) {
                std::copy_n(stream.bytes + padded - block_size, block_size, last_block->begin());
            }
        }
        detail::store_be64(counter.data(), high);
        detail::store_be64(counter.data() + 8, low);
    }

    /// CBC with PKCS#7 padding: 1 to 16 bytes longer than the message.
    [[nodiscard]] Bytes cbc_encrypt_padded(const Iv& iv, View message) const {
        const std::size_t padding = block_size - message.size() % block_size;
        Bytes result(message.size() + padding, static_cast<unsigned char>(padding));
        std::copy(message.begin(), message.end(), result.begin());
        Iv chain = iv;
        cbc_encrypt(chain, result, result);
        return result;
    }
    /// Decrypts and removes the padding. @throws Error when the length is 0 or not a multiple of 16, and, after all of
    /// it has been decrypted, when the padding is not that of PKCS#7.
    ///
    /// All 16 bytes that may be padding are examined, whatever they hold, without a branch or an index on them, and
    /// every wrong padding throws in the same way. But *that* it was wrong shows, in the exception and in the time it
    /// takes, and so does the length of a message that was accepted. Anyone who can submit many ciphertexts and see
    /// which are refused can use that to decrypt: authenticate the ciphertext first, with a signature or a keyed
    /// digest.
    [[nodiscard]] Bytes cbc_decrypt_padded(const Iv& iv, View ciphertext) const {
        detail::require(!ciphertext.empty(), "an empty ciphertext has no padding");
        Bytes result(ciphertext.size());
        Iv chain = iv;
        cbc_decrypt(chain, ciphertext, result);
        const std::size_t padding = padding_of(std::span(result).last<block_size>());
        if (padding == 0) {
            explicit_bzero(result.data(), result.size());
            throw Error("wrong padding");
        }
        result.erase(result.end() - static_cast<std::ptrdiff_t>(padding), result.end());
        return result;
    }

    /// How many bytes of padding are in the last block of a message, 0 when they are not that of PKCS#7: for streams,
    /// which cbc_decrypt() decrypts piece by piece. Without a branch or an index on the bytes, but see
    /// cbc_decrypt_padded() for what the answer gives away.
    [[nodiscard]] static std::size_t padding_of(std::span<const unsigned char, block_size> block) noexcept {
        const unsigned int padding = block[block_size - 1];
        unsigned int wrong = (padding - 1) >> 4;  // 0 for 1 to 16
        for (unsigned int i = 0; i < block_size; ++i) {
            const unsigned int is_padding = 0 - ((15 - i - padding) >> 31);  // all ones from byte 16 - padding on
            wrong |= is_padding & (block[i] ^ padding);
        }
        return wrong == 0 ? padding : 0;
    }

private:
    struct Schedule {
        unsigned int words[ULMARO_SM4_SCHEDULE_WORDS];
        bool expanded;  // false when moved from
    };
    const unsigned int* schedule() const noexcept { return schedule_.value.words; }

    void check(View in, std::span<unsigned char> out) const {
        detail::require(schedule_.value.expanded, "this SM4 key has been moved from");
        detail::require(in.size() == out.size() && in.size() % block_size == 0,
                        "SM4 works on whole blocks, with input and output of equal length");
    }
    void ecb(decltype(SM4_X_ECB_EN_MODE)* mode, View in, std::span<unsigned char> out) const {
        check(in, out);
        detail::in_pieces(in.size(),
                          [&](std::size_t at, int size) { mode(in.data() + at, size, schedule(), out.data() + at); });
    }

    detail::Wiped<Schedule> schedule_;
};

}  // namespace ulmaro::algrithm

#endif
