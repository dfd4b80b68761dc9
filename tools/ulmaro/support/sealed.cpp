#include "support/sealed.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "support/error.hpp"
#include "support/progress.hpp"

namespace ulmaro::tool {
namespace {

using algrithm::HmacSm3;
using algrithm::Sm4;
using algrithm::View;
using namespace std::string_view_literals;

constexpr std::string_view magic = "\x89ULMARO\n\x1a\x01"sv;  // as PNG begins: text-mode damage shows; then the version
enum class Protection : unsigned char { key = 1, passphrase = 2 };

constexpr std::size_t key_bytes = 32;
constexpr std::size_t salt_bytes = 16;
constexpr std::size_t piece_bytes = std::size_t{64} << 10;
constexpr std::size_t tag_bytes = 32;
constexpr std::uint32_t new_iterations = 1000000;    // about half a second
constexpr std::uint32_t most_iterations = 10000000;  // a hostile file must not keep the machine busy for hours
constexpr std::string_view encryption_key_label = "ulmaro sealed file, encryption"sv;
constexpr std::string_view tag_key_label = "ulmaro sealed file, authentication"sv;

template <std::size_t Size>
std::array<unsigned char, Size> big_endian(std::uint64_t value) {
    std::array<unsigned char, Size> bytes;
    for (std::size_t i = Size; i-- > 0; value >>= 8) bytes[i] = static_cast<unsigned char>(value);
    return bytes;
}

/// The header, all of which enters into the keys: magic, protection, its length, and the length's bytes.
algrithm::Bytes header(Protection protection, View data) {
    algrithm::Bytes bytes(magic.begin(), magic.end());
    bytes.push_back(static_cast<unsigned char>(protection));
    bytes.push_back(static_cast<unsigned char>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

SecretBuffer derived(View file_key, std::string_view label, View header_bytes) {
    SecretBuffer key(key_bytes);
    HmacSm3(file_key).update(label).update(header_bytes).finish(key.span().first<key_bytes>());
    return key;
}

/// The two keys of a file, and its pieces in turn.
class Pieces {
public:
    Pieces(View file_key, View header_bytes)
        : cipher_(derived(file_key, encryption_key_label, header_bytes).span().first<Sm4::block_size>()),
          mac_(derived(file_key, tag_key_label, header_bytes).span()) {}

    /// Encrypts the piece whose turn it is, in place, and returns its tag.
    Digest encrypt(std::span<unsigned char> piece, bool last) {
        crypt(piece);
        const Digest tag = absorb(piece, last).finish();
        ++number_;
        return tag;
    }
    /// Decrypts it in place if its tag is right; else leaves it as it is and returns false.
    bool decrypt(std::span<unsigned char> piece, View tag, bool last) {
        if (!absorb(piece, last).verify(tag)) return false;
        crypt(piece);
        ++number_;
        return true;
    }

private:
    void crypt(std::span<unsigned char> piece) const {
        Sm4::Iv counter{};
        std::ranges::copy(big_endian<8>(number_), counter.begin());
        cipher_.ctr(counter, piece, piece);
    }
    HmacSm3& absorb(View ciphertext, bool last) {
        return mac_.update(big_endian<8>(number_)).update(big_endian<1>(last ? 1 : 0)).update(ciphertext);
    }

    Sm4 cipher_;
    HmacSm3 mac_;
    std::uint64_t number_ = 0;
};

void seal(View file_key, View header_bytes, Input& input, Output& output, bool show_progress) {
    output.write(header_bytes);
    Pieces pieces(file_key, header_bytes);
    Progress progress(input.size(), show_progress);
    SecretBuffer piece(piece_bytes), next(piece_bytes);
    std::size_t n = input.read(piece.span());
    for (bool last = false; !last;) {
        const std::size_t following = n < piece_bytes ? 0 : input.read(next.span());
        last = following == 0;
        const auto bytes = piece.span().first(n);
        const Digest tag = pieces.encrypt(bytes, last);
        output.write(bytes);
        output.write(tag.bytes());
        progress.advance(n);
        std::swap(piece, next);
        n = following;
    }
}

SecretBuffer key_from_passphrase(View passphrase, View salt, std::uint32_t iterations) {
    SecretBuffer key(key_bytes);
    algrithm::derive_key_from_passphrase(passphrase, salt, iterations, key.span());
    return key;
}

SecretBuffer open_with_key(const Opening& opening, View data) {
    Key key;
    opening.load_key(key);
    const Ciphertext ciphertext = algrithm::ciphertext_from_der(data);
    if (ciphertext.message_size() != key_bytes) throw FormatError("not the key of a sealed file");
    return decrypt(ciphertext, *key.secret);
}

SecretBuffer open_with_passphrase(const Opening& opening, View data) {
    if (data.size() != salt_bytes + 4) throw FormatError("damaged: a passphrase with other parameters");
    std::uint32_t iterations = 0;
    for (const unsigned char byte : data.last(4)) iterations = iterations << 8 | byte;
    if (iterations == 0 || iterations > most_iterations) {
        throw FormatError("an unreasonable number of iterations");
    }
    return key_from_passphrase(opening.ask_passphrase().span(), data.first(salt_bytes), iterations);
}

/// Reads the header and finds the file's key.
SecretBuffer read_header(const Opening& opening, Input& input, algrithm::Bytes& header_bytes) {
    std::array<unsigned char, magic.size() + 2> start;
    if (input.read(start) != start.size() || !std::ranges::equal(View(start).first(magic.size()), View(magic))) {
        throw FormatError("not a sealed file of this version");
    }
    algrithm::Bytes data(start.back());
    if (input.read(data) != data.size()) throw FormatError("cut off in its header");
    const auto protection = static_cast<Protection>(start[magic.size()]);
    header_bytes = header(protection, data);
    if (protection == Protection::key) return open_with_key(opening, data);
    if (protection == Protection::passphrase) return open_with_passphrase(opening, data);
    throw FormatError("protected in an unknown way");
}

}  // namespace

void seal_for_key(const PublicKey& recipient, Input& input, Output& output, bool show_progress) {
    SecretBuffer file_key(key_bytes);
    algrithm::random_bytes(file_key.span());
    const algrithm::Bytes sealed_key = algrithm::ciphertext_to_der(curve().encrypt(recipient, file_key.span()));
    seal(file_key.span(), header(Protection::key, sealed_key), input, output, show_progress);
}

void seal_under_passphrase(View passphrase, Input& input, Output& output, bool show_progress) {
    algrithm::Bytes data(salt_bytes);
    algrithm::random_bytes(data);
    const SecretBuffer file_key = key_from_passphrase(passphrase, data, new_iterations);
    const auto iterations = big_endian<4>(new_iterations);
    data.insert(data.end(), iterations.begin(), iterations.end());
    seal(file_key.span(), header(Protection::passphrase, data), input, output, show_progress);
}

void open_sealed(const Opening& opening, Input& input, Output& output, bool show_progress) {
    algrithm::Bytes header_bytes;
    const SecretBuffer file_key = read_header(opening, input, header_bytes);
    Pieces pieces(file_key.span(), header_bytes);
    Progress progress(input.size(), show_progress);
    SecretBuffer piece(piece_bytes + tag_bytes), next(piece_bytes + tag_bytes);
    std::size_t n = input.read(piece.span());
    for (bool first = true, last = false; !last; first = false) {
        const std::size_t following = n < piece.size() ? 0 : input.read(next.span());
        last = following == 0;
        // Only an empty file has an empty piece: no content has two forms.
        if (n < tag_bytes + (first ? 0 : 1)) throw Failure(input.name() + ": cut off");
        const auto bytes = piece.span().first(n - tag_bytes);
        if (!pieces.decrypt(bytes, View(piece.span()).subspan(n - tag_bytes, tag_bytes), last)) {
            throw Failure(input.name() + (first ? ": the key or passphrase is wrong, or the file is damaged"
                                                : ": damaged or cut off"));
        }
        output.write(bytes);
        progress.advance(n);
        std::swap(piece, next);
        n = following;
    }
}

}  // namespace ulmaro::tool
