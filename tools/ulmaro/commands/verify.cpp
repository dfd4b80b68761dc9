#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t largest_signature = 4096;

struct Options {
    KeyOptions key;
    MessageOptions message;
    std::string signature;
    SignatureFormat format = SignatureFormat::der;
    bool json = false;
};

/// Nothing when it is none; then puts the reason into why.
std::optional<Signature> parse(const SecretBuffer& bytes, SignatureFormat format, std::string& why) {
    return algrithm::attempt(
        [&] {
            if (bytes.size() > largest_signature) throw FormatError("too long for a signature");
            return read_signature(bytes.span(), format);
        },
        &why);
}

/// After a failure: under which other format or digest the signature is valid, if that is cheap to find: the message is
/// read again, but only from a regular file.
std::string what_fits(const Options& o, const SecretBuffer& bytes, const Digest& e, const PublicKey& key) {
    std::vector<std::pair<std::string, Digest>> digests{{"", e}};
    std::error_code ignored;  // a pipe has no second reading, and opening it may wait for ever
    if (!o.message.digest && o.message.input != "-" && std::filesystem::is_regular_file(o.message.input, ignored)) {
        const auto add = [&](const char* words, auto&&... id) {
            Input message(o.message.input);
            Sm3 hash;
            (hash.update(identity_digest(id, key).bytes()), ...);
            absorb(hash, message, false);
            digests.emplace_back(words, hash.finish());
        };
        add(" with --id ''", std::optional<std::string>(""));
        if (o.message.identity) add(" without --id", std::optional<std::string>());
        add(" for the digest of the message alone, without Z: see --digest");
    }
    for (const auto& [name, format] : signature_format_names) {
        if (format == SignatureFormat::hex) continue;  // read as raw too
        std::string why;
        const std::optional<Signature> signature = parse(bytes, format, why);
        if (!signature) continue;
        const std::string with = format == o.format ? "it is valid" : "it is valid with --format " + name;
        for (const auto& [words, digest] : digests) {
            if (verify(digest, key, *signature)) return with + words;
        }
    }
    return "";
}

void run(const Options& o, ExitCodes& exit) {
    exit.failure = exit_trouble;
    require_one_stdin({o.key.file, o.signature, message_input(o.message)});
    Key key;
    load_key(o.key, key);
    Input file(o.signature);
    SecretBuffer bytes(largest_signature + 1);
    bytes.shrink(file.read(bytes.span()));
    std::string why;
    const std::optional<Signature> signature = parse(bytes, o.format, why);
    const Digest e = digest_to_sign(o.message, key.point);
    if (signature && verify(e, key.point, *signature)) {
        std::puts(o.json ? "{\"valid\": true}" : "The signature is valid.");
        return;
    }
    const std::string fits = what_fits(o, bytes, e, key.point);
    const std::string reason =
        (signature ? "the signature is not valid" : file.name() + ": " + why) + (fits.empty() ? "" : "; " + fits);
    complain(reason);
    if (o.json) std::printf("{\"valid\": false, \"reason\": %s}\n", json_string(reason).c_str());
    exit.status = exit_no;
}

}  // namespace

void add_verify(CLI::App& app, ExitCodes& exit) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "verify", "Verify an SM2 signature", [o, &exit] { run(*o, exit); });
    add_key_options(sub, o->key, "The signer's public key, or private key");
    add_message_options(sub, o->message);
    add_digest_option(sub, o->message);
    cli::option(sub, "-s,--sig,--signature", o->signature, "The signature", cli::Need::required);
    cli::choice(sub, "-f,--format", o->format, signature_format_names, "The default is der");
    add_json_option(sub, o->json);
    cli::footer(
        sub,
        "Exit codes: 0 the signature is valid; 1 it is not, or the file holds none; 2 it could not be checked: a file\n"
        "cannot be read, the key is damaged, wrong usage.");
}

}  // namespace ulmaro::tool
