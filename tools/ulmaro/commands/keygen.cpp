#include <memory>
#include <utility>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/passphrase.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    std::string output;
    std::optional<std::string> public_output;
    KeyFormat format = KeyFormat::pem;
    bool passphrase = false;
    std::optional<std::string> passphrase_file;
    std::optional<SealingCipher> cipher;
    bool force = false;
};

void run(const Options& o) {
    const bool encrypt = o.passphrase || o.passphrase_file;
    require_passphrase_for(o.cipher, encrypt);
    if (encrypt && (o.format == KeyFormat::hex || o.format == KeyFormat::raw)) {
        throw UsageError("a passphrase needs --format pem or der");
    }
    for (const std::string& output : {o.output, o.public_output.value_or("-")}) {
        keep_input(output, {o.passphrase_file.value_or("")});
    }
    const Existing existing = o.force ? Existing::replaced : Existing::refused;
    Output private_file(o.output, Access::key, existing);
    std::optional<Output> public_file;
    if (o.public_output) public_file.emplace(*o.public_output, Access::usual, existing);
    if (public_file && private_file.meets(*public_file)) throw Failure("both keys would be written to one file");

    SecretBuffer passphrase(0);
    if (encrypt) passphrase = read_passphrase(o.passphrase_file, "Passphrase for the new key", true);
    algrithm::KeyPair pair = curve().generate();
    const Key key{pair.public_key, std::move(pair.private_key)};
    // Both are written before either appears, so that a full disk leaves neither; and the private key appears first.
    private_file.write(
        write_private_key(key, o.format, passphrase.span(), o.cipher.value_or(SealingCipher::aes)).span());
    if (public_file) public_file->write(write_public_key(key.point, o.format).span());
    private_file.commit();
    if (public_file) public_file->commit();
}

}  // namespace

void add_keygen(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "keygen", "Make an SM2 key pair", [o] { run(*o); });
    cli::option(sub, "-o,--out,--output", o->output, "The private key, readable only by its owner",
                cli::Need::required);
    cli::option(sub, "--pub", o->public_output, "The public key");
    cli::choice(sub, "-f,--format", o->format, key_format_names, "The default is pem");
    cli::flag(sub, "-p,--passphrase", o->passphrase, "Encrypt the private key; asks for the passphrase");
    cli::option(sub, "--passphrase-file", o->passphrase_file, "Encrypt it under the first line of this file");
    add_cipher_option(sub, o->cipher);
    cli::flag(sub, "--force", o->force, "Replace existing files");
}

}  // namespace ulmaro::tool
