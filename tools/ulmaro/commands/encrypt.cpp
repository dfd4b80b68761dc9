#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    KeyOptions key;
    std::string input = "-";
    std::string output = "-";
    CiphertextFormat format = CiphertextFormat::der;
};

SecretBuffer read_message(Input& input) {
    try {
        return input.read_all(algrithm::max_message_size);
    } catch (const Failure& failure) {
        throw Failure(failure.what() + std::string("; 'ulmaro seal' encrypts files of any size"));
    }
}

void run(const Options& o) {
    require_one_stdin({o.key.file, o.input});
    keep_input(o.output, {o.key.file, o.key.passphrase_file.value_or("")});
    Key key;
    load_key(o.key, key);
    Input input(o.input);
    const SecretBuffer message = read_message(input);
    if (message.size() == 0) throw Failure(input.name() + ": empty, and SM2 cannot encrypt an empty message");
    const Ciphertext ciphertext = curve().encrypt(key.point, message.span());
    write_whole(o.output, write_ciphertext(ciphertext, o.format).span());
}

}  // namespace

void add_encrypt(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "encrypt", "Encrypt a file with SM2", [o] { run(*o); });
    add_key_options(sub, o->key, "The receiver's public key, or private key");
    cli::option(sub, "-i,--in,--input", o->input, "The message (default: standard input)");
    cli::option(sub, "-o,--out,--output", o->output, "The ciphertext (default: standard output)");
    cli::choice(sub, "-f,--format", o->format, ciphertext_format_names,
                "The default is der; raw is the library's record");
    cli::footer(
        sub,
        "The message has 1 to " + std::to_string(algrithm::max_message_size) +
            " bytes and is held in memory. For files of any size, and from one byte more on, there is 'ulmaro seal'.");
}

}  // namespace ulmaro::tool
