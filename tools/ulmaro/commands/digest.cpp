#include <cstdio>
#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    KeyOptions key;
    MessageOptions message;
    bool json = false;
};

}  // namespace

void add_digest(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "digest", "Print Z and e, the digests behind a signature", [o] {
        require_one_stdin({o->key.file, message_input(o->message)});
        Key key;
        load_key(o->key, key);
        const Digest e = digest_to_sign(o->message, key.point);
        const std::string z = to_hex(identity_digest(o->message.identity, key.point).bytes());
        std::printf(o->json ? "{\"z\": \"%s\", \"e\": \"%s\"}\n" : "Z = %s\ne = %s\n", z.c_str(),
                    to_hex(e.bytes()).c_str());
    });
    add_key_options(sub, o->key, "The signer's public key, or private key");
    add_message_options(sub, o->message);
    add_json_option(sub, o->json);
    cli::footer(sub, "Z = SM3(identity, curve, public key) and e = SM3(Z || message). 'sign --digest' takes e.");
}

}  // namespace ulmaro::tool
