#include "support/passphrase.hpp"

#include <algorithm>

#include "support/error.hpp"
#include "support/input.hpp"
#include "support/terminal.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t most_bytes = 1023;  // what openssl reads of a longer line

SecretBuffer first_line(const std::string& path) {
    Input file(path);
    SecretBuffer line(most_bytes + 1);
    std::size_t n = 0;
    // Byte by byte: the writer of a pipe may not close it after the line.
    while (file.read(line.span().subspan(n, 1)) == 1 && line.data()[n] != '\n') {
        if (++n > most_bytes) throw Failure(file.name() + ": the passphrase has more than 1023 bytes");
    }
    line.shrink(n);
    return line;
}

}  // namespace

SecretBuffer read_passphrase(const std::optional<std::string>& file, const std::string& prompt, bool twice) {
    SecretBuffer passphrase = file ? first_line(*file) : ask_terminal(prompt, most_bytes);
    if (passphrase.size() == 0) throw Failure("the passphrase is empty");
    if (std::ranges::count(passphrase.span(), 0) != 0) {
        throw Failure(file.value_or("terminal") + ": a NUL byte in the passphrase");
    }
    if (!file && twice && !std::ranges::equal(passphrase.span(), ask_terminal(prompt + " again", most_bytes).span())) {
        throw Failure("the passphrases differ");
    }
    return passphrase;
}

}  // namespace ulmaro::tool
