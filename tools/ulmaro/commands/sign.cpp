#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    KeyOptions key;
    MessageOptions message;
    std::string output = "-";
    SignatureFormat format = SignatureFormat::der;
};

}  // namespace

void add_sign(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "sign", "Sign a file with SM2", [o] {
        require_one_stdin({o->key.file, message_input(o->message)});
        keep_input(o->output, {o->key.file, o->key.passphrase_file.value_or(""), message_input(o->message)});
        Key key;
        load_private_key(o->key, key);
        const Signature signature = curve().sign_digest(*key.secret, digest_to_sign(o->message, key.point));
        write_whole(o->output, write_signature(signature, o->format).span());
    });
    add_key_options(sub, o->key, "The private key");
    add_message_options(sub, o->message);
    add_digest_option(sub, o->message);
    cli::option(sub, "-o,--out,--output", o->output, "The signature (default: standard output)");
    cli::choice(sub, "-f,--format", o->format, signature_format_names, "The default is der");
}

}  // namespace ulmaro::tool
