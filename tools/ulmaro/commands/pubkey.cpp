#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    KeyOptions key;
    std::string output = "-";
    KeyFormat format = KeyFormat::pem;
    bool force = false;
};

}  // namespace

void add_pubkey(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "pubkey", "Print the public key of a private key", [o] {
        Key key;
        load_key(o->key, key);
        keep_input(o->output, {o->key.passphrase_file.value_or(""), key.secret ? o->key.file : ""});
        write_whole(o->output, write_public_key(key.point, o->format).span(), Access::usual,
                    existing_key(o->output, o->key.file, o->force));
    });
    add_key_options(sub, o->key, "The private key");
    cli::option(sub, "-o,--out,--output", o->output, "Output (default: standard output)");
    cli::choice(sub, "-f,--format", o->format, key_format_names, "The default is pem");
    cli::flag(sub, "--force", o->force, "Replace another existing file than the input");
}

}  // namespace ulmaro::tool
