#include <cstdio>
#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t kLargestSignature = 4096;

struct Options {
    KeyOptions key;
    MessageOptions message;
    std::string signature;
    SignatureFormat format = SignatureFormat::der;
};

ECC_SIGNATURE load_signature(const Options& o) {
    Input input(o.signature);
    const SecretBuffer bytes = input.read_all(kLargestSignature);
    try {
        return read_signature(bytes.span(), o.format);
    } catch (const FormatError& error) {
        throw Failure(input.name() + ": " + error.what());
    }
}

}  // namespace

void add_verify(CLI::App& app, int& status) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "verify", "Verify an SM2 signature: exit code 0 valid, 1 not", [o, &status] {
        require_one_stdin({o->key.file, o->signature, message_input(o->message)});
        Key key;
        load_key(o->key, key);
        const ECC_SIGNATURE signature = load_signature(*o);
        if (verify(digest_to_sign(o->message, key.point), key.point, signature)) {
            std::puts("The signature is valid.");
        } else {
            std::fputs("ulmaro: the signature is not valid\n", stderr);
            status = kExitFailure;
        }
    });
    add_key_options(sub, o->key, "The signer's public key, or private key");
    add_message_options(sub, o->message);
    add_digest_option(sub, o->message);
    cli::option(sub, "-s,--sig,--signature", o->signature, "The signature", cli::Need::required);
    cli::choice(sub, "-f,--format", o->format, kSignatureFormats, "The default is der");
}

}  // namespace ulmaro::tool
