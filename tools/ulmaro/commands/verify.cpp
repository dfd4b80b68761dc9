#include <array>
#include <cstdio>
#include <memory>
#include <optional>

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
};

/// Nothing when the file can be read but holds no signature; says so.
std::optional<Signature> load_signature(const Options& o) {
    Input input(o.signature);
    std::array<unsigned char, largest_signature + 1> bytes;
    const std::size_t n = input.read(bytes);
    try {
        if (n > largest_signature) throw FormatError("too long for a signature");
        return read_signature(std::span(bytes).first(n), o.format);
    } catch (const FormatError& error) {
        complain(input.name() + ": " + error.what());
        return std::nullopt;
    }
}

void run(const Options& o, ExitCodes& exit) {
    exit.failure = exit_trouble;
    require_one_stdin({o.key.file, o.signature, message_input(o.message)});
    Key key;
    load_key(o.key, key);
    const std::optional<Signature> signature = load_signature(o);
    const Digest e = digest_to_sign(o.message, key.point);
    if (signature && verify(e, key.point, *signature)) {
        std::puts("The signature is valid.");
        return;
    }
    if (signature) complain("the signature is not valid");
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
    cli::footer(
        sub,
        "Exit codes: 0 the signature is valid; 1 it is not, or the file holds none; 2 it could not be checked: a file\n"
        "cannot be read, the key is damaged, wrong usage.");
}

}  // namespace ulmaro::tool
