#include "support/sm2.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "support/error.hpp"
#include "support/fd.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t max_identity = 8191;  // its length in bits is kept in 16 bits

/// Keeps the library's diagnostics off standard output while it lives: the tool reports errors in its own words on
/// standard error, and standard output may be carrying data.
class QuietLibrary {
public:
    QuietLibrary() {
        std::fflush(stdout);
        const Fd null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        saved_ = Fd(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
        if (null.valid() && saved_.valid()) ::dup2(null.get(), STDOUT_FILENO);
    }
    ~QuietLibrary() {
        std::fflush(stdout);
        if (saved_.valid()) ::dup2(saved_.get(), STDOUT_FILENO);
    }
    QuietLibrary(const QuietLibrary&) = delete;
    QuietLibrary& operator=(const QuietLibrary&) = delete;

private:
    Fd saved_;
};

}  // namespace

const algrithm::Curve& curve() {
    static const algrithm::Curve instance;
    return instance;
}

Digest identity_digest(const std::optional<std::string>& identity, const PublicKey& key) {
    if (!identity) return curve().identity_digest(key);
    if (identity->size() > max_identity) throw Failure("the user identity has more than 8191 bytes");
    return curve().identity_digest(key, *identity);
}

Digest message_digest(const Digest& z, Input& message, bool show_progress) {
    Sm3 hash;
    hash.update(z.bytes());
    absorb(hash, message, show_progress);
    return hash.finish();
}

bool verify(const Digest& e, const PublicKey& key, const Signature& signature) {
    const QuietLibrary quiet;
    return curve().verify_digest(key, e, signature);
}

SecretBuffer decrypt(const Ciphertext& ciphertext, const PrivateKey& key) {
    SecretBuffer message(ciphertext.message_size());
    const QuietLibrary quiet;
    try {
        curve().decrypt(key, ciphertext, message.span());
    } catch (const algrithm::Error&) {
        throw Failure("decryption failed: the key is wrong or the ciphertext is damaged");
    }
    return message;
}

}  // namespace ulmaro::tool
