#include "commands/options.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/passphrase.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t largest_key_file = 64U << 10;

const std::map<std::string, SealingCipher> sealing_cipher_names{{"aes", SealingCipher::aes},
                                                                {"sm4", SealingCipher::sm4}};

}  // namespace

const std::map<std::string, KeyFormat> key_format_names{
    {"pem", KeyFormat::pem}, {"der", KeyFormat::der}, {"hex", KeyFormat::hex}, {"raw", KeyFormat::raw}};
const std::map<std::string, SignatureFormat> signature_format_names{
    {"der", SignatureFormat::der}, {"raw", SignatureFormat::raw}, {"hex", SignatureFormat::hex}};
const std::map<std::string, CiphertextFormat> ciphertext_format_names{{"der", CiphertextFormat::der},
                                                                      {"raw", CiphertextFormat::record},
                                                                      {"c1c3c2", CiphertextFormat::c1c3c2},
                                                                      {"c1c2c3", CiphertextFormat::c1c2c3},
                                                                      {"c1c3c2-bare", CiphertextFormat::c1c3c2_bare},
                                                                      {"c1c2c3-bare", CiphertextFormat::c1c2c3_bare}};

void require_one_stdin(std::initializer_list<std::string> inputs) {
    if (std::ranges::count(inputs, "-") > 1) throw UsageError("only one input can come from standard input");
}

bool would_replace(const std::string& output, const std::string& input) {
    struct stat out {};
    struct stat in {};
    if (output == "-" || ::stat(output.c_str(), &out) != 0 || !S_ISREG(out.st_mode)) return false;
    const int result = input == "-" ? ::fstat(STDIN_FILENO, &in) : ::stat(input.c_str(), &in);
    return result == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

void keep_input(const std::string& output, std::initializer_list<std::string> inputs) {
    for (const std::string& input : inputs) {
        if (would_replace(output, input)) throw Failure(output + ": also an input, which would be lost");
    }
}

Existing existing_key(const std::string& output, const std::string& input, bool force) {
    return force || would_replace(output, input) ? Existing::replaced : Existing::refused;
}

void add_key_options(CLI::App& sub, KeyOptions& options, const std::string& help) {
    cli::option(sub, "-k,--key", options.file, help, cli::Need::required);
    cli::option(sub, "--passphrase-file", options.passphrase_file, "File whose first line is the key's passphrase");
}

void add_cipher_option(CLI::App& sub, std::optional<SealingCipher>& cipher) {
    cli::choice(sub, "--cipher", cipher, sealing_cipher_names,
                "For an encrypted key: aes (AES-256, the default) or sm4 (with HMAC-SM3; not for OpenSSL 3.0)");
}

void require_passphrase_for(const std::optional<SealingCipher>& cipher, bool passphrase) {
    if (cipher && !passphrase) throw UsageError("--cipher is for an encrypted key: a passphrase is required");
}

void add_json_option(CLI::App& sub, bool& json) { cli::flag(sub, "--json", json, "Print JSON, one object per line"); }

void load_key(const KeyOptions& options, Key& key) {
    require_one_stdin({options.file, options.passphrase_file.value_or("")});
    Input input(options.file);
    const SecretBuffer content = input.read_all(largest_key_file);
    const auto ask = [&] { return read_passphrase(options.passphrase_file, "Passphrase of " + input.name(), false); };
    try {
        read_key(content.span(), ask, key);
    } catch (const FormatError& error) {
        throw Failure(input.name() + ": " + error.what());
    }
}

void load_private_key(const KeyOptions& options, Key& key) {
    load_key(options, key);
    if (!key.secret) throw Failure(options.file + ": a public key, but a private one is needed");
}

void add_message_options(CLI::App& sub, MessageOptions& options) {
    cli::option(sub, "-i,--in,--input", options.input, "The message (default: standard input)");
    cli::option(sub, "--id", options.identity, "User identity (default: '1234567812345678')");
    cli::flag(sub, "--no-progress", options.no_progress, "Show no progress bar");
}

void add_digest_option(CLI::App& sub, MessageOptions& options) {
    cli::option(sub, "--digest", options.digest, "Use this e, 64 digits, instead of a message; it is not hashed again");
    cli::exclude(sub, "--digest", {"--input", "--id"});
}

std::string message_input(const MessageOptions& options) { return options.digest ? "" : options.input; }

Digest digest_to_sign(const MessageOptions& options, const PublicKey& point) {
    if (options.digest) {
        std::array<unsigned char, 32> e;
        if (!from_hex(*options.digest, e)) throw Failure("the digest must be 32 bytes, 64 hexadecimal digits");
        return Digest(e);
    }
    Input input(options.input);
    return message_digest(identity_digest(options.identity, point), input, !options.no_progress);
}

}  // namespace ulmaro::tool
